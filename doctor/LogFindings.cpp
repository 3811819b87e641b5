#include "doctor/LogFindings.h"

#include "doctor/LogText.h"

#include <algorithm>
#include <array>

namespace doctor {

namespace {

/// The lines that a board that is not heard is sent before its bootloader is awaited.
constexpr qint64 kProbingLines = 10;
/// Probing lines without an answer after which it is no chance.
constexpr qint64 kEnoughProbingLines = 5;
/// A board that takes longer for an answer is silent; the erasing of the images takes 20 s.
constexpr qint64 kLongestAnswer = 2'000;
constexpr qint64 kLongestErasing = 62'000;

/// The system's words, in English, which it uses for its own programs everywhere; any others are
/// quoted.
Finding openFinding(const PortCourse& port)
{
    struct Words
    {
        QLatin1StringView words;
        Cause cause;
    };
    // On Windows access is denied to whom comes second.
    static constexpr auto kWords = std::to_array<Words>({
        {QLatin1StringView("Permission denied"), Cause::PortForbidden},
        {QLatin1StringView("creating lock file"), Cause::PortForbidden},
        {QLatin1StringView("locking the device"), Cause::Held},
        {QLatin1StringView("busy"), Cause::Held},
        {QLatin1StringView("Access is denied"), Cause::Held},
    });
    const auto* const known = std::ranges::find_if(
        kWords, [&](const Words& row) { return port.openError.contains(row.words); });
    return {
        known == kWords.end() ? Cause::PortNotOpened : known->cause, {port.name, port.openError}};
}

bool isSilent(const Course& course, const PortCourse& port)
{
    if (port.unanswered != 1)
        return port.unanswered > 1;
    const qint64 longest = port.stage == Stage::EraseImages ? kLongestErasing : kLongestAnswer;
    return course.end && port.firstUnanswered && *course.end - *port.firstUnanswered > longest;
}

QString sinceText(const PortCourse& port)
{
    return port.firstUnanswered ? "since " + clockText(port.firstUnanswered)
                                : QStringLiteral("up to the log's end");
}

/// Nothing is wrong, but this is not the end of the job.
Finding earlyEnd(const Course& course, const PortCourse& port)
{
    return {course.closed ? Cause::ClosedEarly : Cause::LogEndsEarly,
        {port.name, placeText(course, port)}};
}

Finding probeEnd(const Course& course, const PortCourse& port)
{
    if (!port.boardVersion.isEmpty() && port.sent >= kProbingLines && !course.cut)
        return {Cause::NoBootloader, {port.name}};
    if (port.boardVersion.isEmpty() && port.unusable > 0)
        return {Cause::NotUnderstood, {port.name, port.lastPassedOver}};
    if (port.replies == 0 && port.sent >= kEnoughProbingLines)
        return {Cause::NoAnswer, {port.name}};
    return earlyEnd(course, port);
}

Finding workEnd(const Course& course, const PortCourse& port)
{
    const QString place = placeText(course, port);
    if (!isSilent(course, port) || port.stage == Stage::Finish)
        return earlyEnd(course, port);
    if (port.restarted)
        return {Cause::BoardRestarted, {port.name, place}};
    if (port.unusable > 0)
        return {Cause::NotUnderstood, {port.name, port.lastPassedOver}};
    return {Cause::BoardSilent, {port.name, sinceText(port), place}};
}

/// Where no port was opened, or tried to be.
Finding withoutPort(const Course& course)
{
    if (course.jobs == 0)
        return {Cause::NoJob, {}};
    // The set's version is logged when all ports have been looked at.
    if (course.adapters > 0 || course.releaseSet.isEmpty())
        return {
            Cause::LogEndsEarly, {QStringLiteral("the job"), QStringLiteral("at its beginning")}};
    if (course.otherPorts.isEmpty())
        return {Cause::NoAdapter, {}};
    return {Cause::OtherAdaptersOnly, {course.otherPorts.join(QStringLiteral(", "))}};
}

/// The latency timer of an adapter is 16 ms as it comes. What tells it are the lines whose answer
/// is not the work of a flash chip.
std::optional<Finding> keptBack(const PortCourse& port)
{
    struct Range
    {
        LineKind kind;
        qint64 shortest; ///< in milliseconds: more than such a line takes by itself
    };
    static constexpr auto kRanges
        = std::to_array<Range>({{LineKind::Data, 12}, {LineKind::ImageBlock, 15}});
    // The timer on top of the line's own time, and some. What takes longer has another reason.
    constexpr qint64 kLongest = 30;
    constexpr qint64 kEnoughAnswers = 5;
    for (const Range& range : kRanges) {
        const AnswerTimes& answers = port.tally(range.kind).answers;
        const qint64 quick = answers.quick();
        if (answers.count() >= kEnoughAnswers && quick >= range.shortest && quick <= kLongest)
            return Finding{Cause::AnswersKeptBack, {port.name, QString::number(quick)}};
    }
    return {};
}

std::optional<Finding> linesLost(const PortCourse& port)
{
    // A line or two are nobody's concern.
    constexpr qint64 kFewLines = 3;
    constexpr qint64 kLinesPerLoss = 1000;
    const qint64 again = port.sentAgain();
    if (again < kFewLines || again * kLinesPerLoss < port.sent)
        return {};
    return Finding{
        Cause::LinesLost, {port.name, QString::number(again), QString::number(port.sent)}};
}

/// Adds `finding`, or its port to the finding that says the same.
void merge(QList<Finding>& findings, const Finding& finding)
{
    constexpr qsizetype kMostNames = 100; // characters
    const auto same = std::ranges::find_if(findings, [&](const Finding& other) {
        return other.cause == finding.cause && other.arguments.mid(1) == finding.arguments.mid(1);
    });
    if (same == findings.end())
        findings.append(finding);
    else if (!same->arguments.isEmpty() && same->arguments.first().size() < kMostNames)
        same->arguments.first() += ", " + finding.arguments.value(0);
}

} // namespace

Finding endOf(const Course& course, const PortCourse& port)
{
    if (port.stage == Stage::Complete)
        return {Cause::JobComplete, {}};
    // Opened again at the bootloader's speed, a port that was unplugged does not open either.
    if (port.gone)
        return {Cause::PortGone, {port.name, placeText(course, port)}};
    if (!port.openError.isEmpty())
        return openFinding(port);
    return port.stage == Stage::Probe ? probeEnd(course, port) : workEnd(course, port);
}

QList<Finding> findingsOf(const Course& course)
{
    if (course.ports.isEmpty())
        return {withoutPort(course)};
    QList<Finding> slowed;
    QList<Finding> ends;
    for (const PortCourse& port : course.ports) {
        const Finding end = endOf(course, port);
        merge(ends, end);
        if (const auto finding = keptBack(port))
            merge(slowed, *finding);
        // Where the board is silent in the end, that is what its lines were sent again for.
        if (const auto finding = linesLost(port); finding && end.cause == Cause::JobComplete)
            merge(slowed, *finding);
    }
    // That all is well goes without saying where it is not.
    if (ends.size() > 1 || !slowed.isEmpty())
        ends.removeIf([](const Finding& end) { return end.cause == Cause::JobComplete; });
    return slowed + ends;
}

} // namespace doctor
