#include "virtualboard/Output.h"

#include "virtualboard/Picture.h"

#include <QDir>
#include <QJsonArray>

namespace vboard {

namespace {

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

QJsonArray faultsReport(const std::vector<FaultStruck>& struck)
{
    QJsonArray faults;
    for (const FaultStruck& fault : struck)
        faults.append(QJsonObject{
            {"at", seconds(fault.at)},
            {"fault", QString::fromStdString(fault.rule)},
            {"line", QString::fromLatin1(printable(fault.line.substr(0, 40)))},
        });
    return faults;
}

} // namespace

QStringList writePictures(const ImageStore& images, const QString& folder, const QString& prefix)
{
    QStringList failed;
    const QDir directory(folder);
    directory.mkpath(QStringLiteral("."));
    for (const auto& [number, stored] : images.images()) {
        if (stored.heldBefore || stored.width == 0 || stored.height == 0)
            continue;
        const QString path = directory.filePath(
            QStringLiteral("%1image%2-v%3.png").arg(prefix).arg(number).arg(stored.version));
        if (!pictureOf(stored).save(path))
            failed << path;
    }
    return failed;
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
        {"faults", faultsReport(board.faultsStruck())},
    };
}

bool Transcript::open(const QString& path)
{
    m_file.setFileName(path);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

void Transcript::write(int board, const WireLine& line)
{
    static constexpr const char* kWays[] = {"->", "<-", "--"};
    const QByteArray text = printable(line.text);
    const std::lock_guard lock(m_mutex);
    m_file.write(QByteArray::number(seconds(line.at), 'f', 6).rightJustified(12) + " board "
        + QByteArray::number(board) + ' ' + kWays[static_cast<std::size_t>(line.way)] + ' ' + text
        + '\n');
    // Whoever waits for something out of the ordinary sees it at once.
    if (line.way == WireLine::Way::Note)
        m_file.flush();
}

QByteArray printable(const std::string& text)
{
    QByteArray result;
    for (const char c : text) {
        if (c >= ' ' && c <= '~')
            result += c;
        else
            result += "\\x" + QByteArray(1, c).toHex().toUpper();
    }
    return result;
}

} // namespace vboard
