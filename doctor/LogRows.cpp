#include "doctor/LogRows.h"

#include "doctor/LogFindings.h"
#include "doctor/LogText.h"

namespace doctor {

namespace {

constexpr auto kNextPart = "; ";

Row fact(const char* topic, const QString& text)
{
    return {Row::Kind::Fact, QString::fromLatin1(topic), text};
}

QString programText(const Course& course)
{
    QStringList parts;
    parts << (course.program.isEmpty() ? QStringLiteral("the log's beginning is missing")
                                       : "Annealing DB Updater " + course.program);
    if (!course.releaseSet.isEmpty())
        parts << "release set " + course.releaseSet;
    if (course.images)
        parts << QStringLiteral("%1 images").arg(*course.images);
    return parts.join(QStringLiteral(", "));
}

QString jobText(const Course& course)
{
    if (course.jobs == 0)
        return QStringLiteral("none was started");
    QString text = course.job.isEmpty() ? QStringLiteral("its beginning is missing")
                                        : course.job + ", started " + dayText(course.begin);
    if (course.jobs > 1)
        text += QStringLiteral("; the last of %1 jobs in this log, and the only one told here")
                    .arg(course.jobs);
    return text;
}

QString versionText(const PortCourse& port)
{
    return port.boardVersion.isEmpty() ? QStringLiteral("did not say its version")
                                       : "version " + port.boardVersion;
}

/// How the log itself ends.
QString logEndText(const Course& course)
{
    if (course.closed)
        return "the job's window was closed at " + clockText(course.end);
    if (course.cut)
        return "the log stops in the middle of a line, after " + clockText(course.end);
    return "the log ends at " + clockText(course.end) + " with the job's window open";
}

QString tookText(const Course& course, const PortCourse& port)
{
    if (!course.begin || !port.ended || *port.ended < *course.begin)
        return {};
    return " after " + durationText(*port.ended - *course.begin);
}

/// How far `port` came, and how it stands there since when.
QString endText(const Course& course, const PortCourse& port)
{
    if (port.stage == Stage::Complete)
        return "complete at " + clockText(port.ended) + tookText(course, port);
    QString text = placeText(course, port);
    if (port.gone)
        return text + ", unplugged or without contact since " + clockText(port.ended);
    if (!port.openError.isEmpty())
        return "could not be opened: " + port.openError;
    const bool isSilent = endOf(course, port).cause == Cause::BoardSilent;
    if (isSilent && port.firstUnanswered)
        text += ", silent since " + clockText(port.firstUnanswered);
    else if (port.lastReply)
        text += ", last answer at " + clockText(port.lastReply);
    else
        text += ", without an answer";
    return text;
}

QString answersText(const PortCourse& port)
{
    QStringList parts;
    for (const LineKindRow& row : kLineKinds) {
        const AnswerTimes& answers = port.tally(row.kind).answers;
        if (answers.count() > 0)
            parts << QStringLiteral("%1 %2 ms (slowest %3, of %4)")
                         .arg(QLatin1StringView(row.name))
                         .arg(answers.median())
                         .arg(answers.slowest())
                         .arg(answers.count());
    }
    return parts.join(QLatin1StringView(kNextPart));
}

QString placesText(const LineKindRow& row, const LineTally& tally)
{
    if (row.kind == LineKind::EraseImages)
        return {};
    const bool isImage = row.kind == LineKind::ImageHeader || row.kind == LineKind::ImageBlock;
    const char* const what = isImage ? "image" : "page";
    const QList<int> told
        = tally.placesSentAgain.first(std::min(tally.placesSentAgain.size(), kMostPlacesTold));
    QStringList places;
    for (const int place : told)
        places << QString::number(place);
    if (tally.placesSentAgain.size() > kMostPlacesTold)
        places << QStringLiteral("...");
    return QStringLiteral(" (%1 %2)")
        .arg(QLatin1StringView(what), places.join(QStringLiteral(", ")));
}

QString sentAgainText(const PortCourse& port)
{
    QStringList parts;
    for (const LineKindRow& row : kLineKinds) {
        const LineTally& tally = port.tally(row.kind);
        if (tally.sentAgain > 0)
            parts << QStringLiteral("%1 of %2 %3%4")
                         .arg(tally.sentAgain)
                         .arg(tally.sent)
                         .arg(QLatin1StringView(row.name), placesText(row, tally));
    }
    if (port.pageRestarts > 0)
        parts << QStringLiteral("pages begun again: %1").arg(port.pageRestarts);
    if (port.imageRestarts > 0)
        parts << QStringLiteral("images begun again: %1").arg(port.imageRestarts);
    return parts.isEmpty() ? QStringLiteral("nothing") : parts.join(QLatin1StringView(kNextPart));
}

QString passedOverText(const PortCourse& port)
{
    QStringList parts;
    for (auto row = port.passedOver.begin(); row != port.passedOver.end(); ++row)
        parts << QStringLiteral("%1 (%2)").arg(row.value()).arg(row.key());
    return parts.join(QLatin1StringView(kNextPart));
}

QList<Row> rowsOfOnePort(const Course& course, const PortCourse& port)
{
    QList<Row> rows{
        fact("board", versionText(port) + ", on " + port.name),
        fact("how far", endText(course, port)),
    };
    if (port.sent == 0)
        return rows;
    if (const QString answers = answersText(port); !answers.isEmpty())
        rows << fact("answer times", answers);
    rows << fact("sent again", sentAgainText(port));
    if (!port.passedOver.isEmpty())
        rows << fact("passed over", passedOverText(port));
    return rows;
}

/// A row each.
QList<Row> rowsOfPorts(const Course& course)
{
    constexpr qsizetype kMostPortRows = 5;
    const QList<PortCourse> told = course.ports.first(std::min(course.ports.size(), kMostPortRows));
    QList<Row> rows;
    for (const PortCourse& port : told) {
        QStringList parts{endText(course, port), "board: " + versionText(port)};
        if (port.sentAgain() > 0)
            parts << "sent again: " + sentAgainText(port);
        rows << Row{Row::Kind::Fact, port.name, parts.join(QLatin1StringView(kNextPart))};
    }
    if (course.ports.size() > kMostPortRows)
        rows << fact("ports",
            QStringLiteral("and %1 more%2")
                .arg(course.ports.size() - kMostPortRows)
                .arg(course.hasMorePorts ? QStringLiteral(" at least") : QString()));
    return rows;
}

} // namespace

QList<Row> rowsOf(const Course& course)
{
    QList<Row> rows{fact("program", programText(course)), fact("job", jobText(course))};
    if (course.ports.size() == 1)
        rows << rowsOfOnePort(course, course.ports.first());
    else
        rows << rowsOfPorts(course);
    if (course.jobs > 0)
        rows << fact("end", logEndText(course));
    const QList<Finding> findings = findingsOf(course);
    for (const Finding& finding : findings)
        rows << rowOf(finding.cause, finding.arguments);
    return rows;
}

} // namespace doctor
