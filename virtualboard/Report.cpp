#include "virtualboard/Report.h"

#include "virtualboard/Transcript.h"

#include <QJsonArray>

namespace vboard {

namespace {

template <typename Map, typename Value> QString countsText(const Map& counts, Value value)
{
    QStringList texts;
    for (const auto& [word, count] : counts) {
        if (value(count) > 0)
            texts
                << QStringLiteral("%1 %2").arg(QString::fromLatin1(word.c_str())).arg(value(count));
    }
    return texts.isEmpty() ? QStringLiteral("none") : texts.join(QStringLiteral(", "));
}

QString imagesText(const ImageStore& store)
{
    QStringList texts;
    for (const auto& [number, image] : store.images())
        texts << QStringLiteral("%1 v%2 %3x%4 %5 bytes%6")
                     .arg(number)
                     .arg(image.version)
                     .arg(image.width)
                     .arg(image.height)
                     .arg(image.data.size())
                     .arg(image.complete ? QString() : QStringLiteral(" INCOMPLETE"));
    return texts.isEmpty() ? QStringLiteral("none") : texts.join(QStringLiteral("; "));
}

QString runsText(Runs runs)
{
    switch (runs) {
    case Runs::Application:
        return QStringLiteral("its application");
    case Runs::Bootloader:
        return QStringLiteral("its bootloader");
    case Runs::Nothing:
        break;
    }
    return QStringLiteral("nothing, it boots");
}

QString headline(const Verdict& verdict)
{
    if (!verdict.job)
        return QStringLiteral("NOT EXACT, no job was received");
    QString text = verdict.exact ? QStringLiteral("EXACT, ") : QStringLiteral("NOT EXACT, ");
    text += jobName(*verdict.job);
    if (*verdict.job == Job::Update)
        text += QStringLiteral(", %1 of %2 pages")
                    .arg(verdict.pagesExact)
                    .arg(FlashMemory::kPageCount);
    if (*verdict.job != Job::Erase)
        text += QStringLiteral(", %1 images as in the release set").arg(verdict.imagesExact);
    return text;
}

double seconds(Time time)
{
    return std::chrono::duration<double>(time).count();
}

QJsonObject wordsReport(const Statistics& figures, unsigned long Statistics::Count::*member)
{
    QJsonObject words;
    for (const auto& [word, count] : figures.received) {
        if (count.*member > 0)
            words.insert(QString::fromStdString(word), static_cast<qint64>(count.*member));
    }
    return words;
}

QJsonObject countsReport(const std::map<std::string, unsigned long>& counts)
{
    QJsonObject object;
    for (const auto& [name, count] : counts)
        object.insert(QString::fromStdString(name), static_cast<qint64>(count));
    return object;
}

QJsonObject turnaroundReport(const Statistics& figures)
{
    QJsonObject object{{"count", static_cast<qint64>(figures.turnarounds.size())}};
    constexpr std::pair<const char*, double> kShares[]
        = {{"p10", 0.1}, {"p50", 0.5}, {"p90", 0.9}, {"p99", 0.99}, {"p100", 1.0}};
    for (const auto& [name, share] : kShares) {
        if (const auto time = figures.turnaround(share))
            object.insert(QLatin1String(name), static_cast<qint64>(time->count()));
    }
    return object;
}

QJsonArray imagesReport(const ImageStore& store)
{
    QJsonArray images;
    for (const auto& [number, image] : store.images())
        images.append(QJsonObject{
            {"number", static_cast<qint64>(number)},
            {"version", static_cast<qint64>(image.version)},
            {"width", static_cast<qint64>(image.width)},
            {"height", static_cast<qint64>(image.height)},
            {"bytes", static_cast<qint64>(image.data.size())},
            {"complete", image.complete},
        });
    return images;
}

QJsonObject phasesReport(const Statistics& figures)
{
    QJsonObject phases;
    for (std::size_t index = 0; index < kPhases; ++index) {
        const auto phase = static_cast<Phase>(index);
        if (const auto time = figures.phase(phase))
            phases.insert(QLatin1String(phaseName(phase)), seconds(*time));
    }
    return phases;
}

QJsonArray faultsReport(const std::vector<AppliedFault>& applied)
{
    QJsonArray faults;
    for (const AppliedFault& fault : applied)
        faults.append(QJsonObject{
            {"at", seconds(fault.at)},
            {"fault", QString::fromStdString(fault.rule)},
            {"line", QString::fromLatin1(printable(fault.line.substr(0, 40)))},
        });
    return faults;
}

} // namespace

QString progressText(const Board& board, const ExpectedSet& set)
{
    if (board.isFinished())
        return QStringLiteral("done");
    std::size_t stored = 0;
    for (const auto& [number, image] : board.images().images())
        stored += image.data.size();
    std::size_t expected = 0;
    for (const ExpectedImage& image : set.images)
        expected += image.data.size();
    const std::size_t pages = board.flash().pagesIn(PageState::Programmed);
    if (stored == 0 && pages == 0)
        return board.runs() == Runs::Bootloader ? QStringLiteral("bootloader")
                                                : QStringLiteral("application");
    return QStringLiteral("flash %1/%2 pages, images %3/%4 KB")
        .arg(pages)
        .arg(FlashMemory::kPageCount)
        .arg(stored / 1024)
        .arg(expected / 1024);
}

QString verdictText(const QString& title, const Verdict& verdict, const Board& board)
{
    const Statistics& figures = board.statistics();
    const auto lines = [](const Statistics::Count& count) { return count.lines; };
    const auto repeated = [](const Statistics::Count& count) { return count.repeated; };
    const auto itself = [](unsigned long count) { return count; };

    QStringList text{title + QStringLiteral(": ") + headline(verdict)};
    const auto row = [&text](const char* name, const QString& value) {
        text << QStringLiteral("  %1 %2").arg(QLatin1String(name), -14).arg(value);
    };
    for (const QString& difference : verdict.differences)
        row("difference", difference);
    row("lines", countsText(figures.received, lines));
    row("repeated", countsText(figures.received, repeated));
    row("bad checksums", QString::number(figures.badChecksums));
    row("pages",
        QStringLiteral("erased %1, programmed %2")
            .arg(figures.pagesErased)
            .arg(figures.pagesProgrammed));
    row("images", imagesText(board.images()));
    row("runs", runsText(board.runs()));
    row("not obeyed", countsText(figures.rulesBroken, itself));
    if (figures.bytesAtWrongRate + figures.strayInput.strayBytes > 0)
        row("unheard",
            QStringLiteral("%1 bytes at a wrong rate, %2 outside lines")
                .arg(figures.bytesAtWrongRate)
                .arg(figures.strayInput.strayBytes));
    if (const auto median = figures.turnaround(0.5))
        row("turnaround",
            QStringLiteral("median %1 us, 99% %2 us")
                .arg(median->count())
                .arg(figures.turnaround(0.99)->count()));
    for (const AppliedFault& fault : board.appliedFaults())
        row("fault",
            QStringLiteral("%1 s: %2")
                .arg(std::chrono::duration<double>(fault.at).count(), 0, 'f', 3)
                .arg(QString::fromStdString(fault.rule)));
    return text.join(u'\n') + u'\n';
}

QJsonObject boardReport(const QString& name, const Verdict& verdict, const Board& board)
{
    const Statistics& figures = board.statistics();
    return {
        {"name", name},
        {"exact", verdict.exact},
        {"job", verdict.job ? QJsonValue(jobName(*verdict.job)) : QJsonValue()},
        {"differences", QJsonArray::fromStringList(verdict.differences)},
        {"lines", wordsReport(figures, &Statistics::Count::lines)},
        {"repeated", wordsReport(figures, &Statistics::Count::repeated)},
        {"sent", countsReport(figures.sent)},
        {"notObeyed", countsReport(figures.rulesBroken)},
        {"badChecksums", static_cast<qint64>(figures.badChecksums)},
        {"bytesReceived", static_cast<qint64>(figures.bytesReceived)},
        {"bytesSent", static_cast<qint64>(figures.bytesSent)},
        {"bytesAtWrongRate", static_cast<qint64>(figures.bytesAtWrongRate)},
        {"pages",
            QJsonObject{
                {"erased", static_cast<qint64>(figures.pagesErased)},
                {"programmed", static_cast<qint64>(figures.pagesProgrammed)},
                {"exact", static_cast<qint64>(verdict.pagesExact)},
            }},
        {"images", imagesReport(board.images())},
        {"phaseSeconds", phasesReport(figures)},
        {"turnaroundMicroseconds", turnaroundReport(figures)},
        {"faults", faultsReport(board.appliedFaults())},
    };
}

} // namespace vboard
