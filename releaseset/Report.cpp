#include "releaseset/Report.h"

#include "protocol/Commands.h"
#include "releaseset/JobTime.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <array>

namespace releaseset {

namespace {

using namespace std::chrono_literals;

/// Latencies of a USB serial adapter: none, the shortest that can be set, and the usual default.
constexpr std::array kLatencies = {0ms, 1ms, 16ms};

constexpr int kFileWidth = 16;
constexpr int kNumberWidth = 9;
constexpr int kLabelWidth = 16;

/// How the pages of a firmware image are filled.
struct PageCounts
{
    qsizetype pages = 0; ///< the first one and a broken last one included
    qsizetype allZero = 0;
    qsizetype allErased = 0; ///< every byte FF
};

PageCounts countPages(const QByteArray& firmware)
{
    PageCounts counts;
    for (qsizetype at = 0; at < firmware.size(); at += protocol::kPageSize) {
        const QByteArray page = firmware.mid(at, protocol::kPageSize);
        ++counts.pages;
        counts.allZero += page.count('\0') == page.size() ? 1 : 0;
        counts.allErased += page.count(kErasedByte) == page.size() ? 1 : 0;
    }
    return counts;
}

qsizetype blocksOf(const ImageFile& image)
{
    return (image.data.size() + protocol::kBlockSize - 1) / protocol::kBlockSize;
}

QString number(qint64 value)
{
    return QLocale(QLocale::English).toString(value);
}

QString seconds(std::chrono::milliseconds time)
{
    return QStringLiteral("%1 s").arg(static_cast<double>(time.count()) / 1000, 0, 'f', 1);
}

void writeRow(QTextStream& out, const QString& first, const QStringList& cells)
{
    out << first.leftJustified(kFileWidth);
    for (const QString& cell : cells)
        out << cell.rightJustified(kNumberWidth);
    out << '\n';
}

void writeImages(QTextStream& out, const ReleaseSet& set)
{
    writeRow(out, QStringLiteral("Image"),
        {QStringLiteral("Number"), QStringLiteral("Version"), QStringLiteral("Width"),
            QStringLiteral("Height"), QStringLiteral("Bytes"), QStringLiteral("Blocks")});
    qsizetype bytes = 0;
    qsizetype blocks = 0;
    for (const SetImage& image : set.images) {
        const ImageFile& content = image.content;
        writeRow(out, image.file,
            {number(content.imageName), number(content.imageVersion), number(content.width),
                number(content.height), number(content.data.size()), number(blocksOf(content))});
        bytes += content.data.size();
        blocks += blocksOf(content);
    }
    writeRow(out, QStringLiteral("%1 in all").arg(set.images.size()),
        {{}, {}, {}, {}, number(bytes), number(blocks)});
}

QTextStream& labelled(QTextStream& out, const char* label)
{
    return out << QString::fromLatin1(label).leftJustified(kLabelWidth);
}

void writeJobTime(QTextStream& out, const JobTime& time)
{
    labelled(out, "Whole job") << "fixed waits " << seconds(time.fixedWaits) << ", wire "
                               << seconds(time.onTheWire()) << " (" << number(time.bytesOut)
                               << " bytes out, " << number(time.bytesBack) << " back), line ends "
                               << seconds(time.silence()) << '\n';
    for (const auto latency : kLatencies) {
        labelled(out, "") << seconds(time.total(latency)) << " with an adapter latency of "
                          << latency.count() << " ms\n";
    }
    labelled(out, "") << "and the board's own times for starting, erasing and programming\n";
}

QJsonArray imagesJson(const ReleaseSet& set)
{
    QJsonArray images;
    for (const SetImage& image : set.images) {
        const ImageFile& content = image.content;
        images.append(QJsonObject{{QStringLiteral("file"), image.file},
            {QStringLiteral("number"), content.imageName},
            {QStringLiteral("version"), content.imageVersion},
            {QStringLiteral("width"), content.width}, {QStringLiteral("height"), content.height},
            {QStringLiteral("bytes"), content.data.size()},
            {QStringLiteral("blocks"), blocksOf(content)}});
    }
    return images;
}

QJsonObject firmwareJson(const QByteArray& firmware)
{
    const PageCounts pages = countPages(firmware);
    return {{QStringLiteral("size"), firmware.size()}, {QStringLiteral("pages"), pages.pages},
        {QStringLiteral("pagesAll00"), pages.allZero},
        {QStringLiteral("pagesAllFF"), pages.allErased}};
}

QJsonObject jobTimeJson(const JobTime& time)
{
    QJsonObject totals;
    for (const auto latency : kLatencies) {
        totals.insert(
            QString::number(latency.count()), static_cast<qint64>(time.total(latency).count()));
    }
    return {{QStringLiteral("fixedWaits"), static_cast<qint64>(time.fixedWaits.count())},
        {QStringLiteral("exchanges"), time.exchanges}, {QStringLiteral("bytesOut"), time.bytesOut},
        {QStringLiteral("bytesBack"), time.bytesBack},
        {QStringLiteral("wire"), static_cast<qint64>(time.onTheWire().count())},
        {QStringLiteral("lineEnds"), static_cast<qint64>(time.silence().count())},
        {QStringLiteral("totalAtLatency"), totals}};
}

QJsonArray findingsJson(const Findings& findings)
{
    QJsonArray list;
    for (const Finding& finding : findings.all()) {
        const bool isError = finding.severity == Severity::Error;
        list.append(QJsonObject{{QStringLiteral("severity"),
                                    isError ? QStringLiteral("error") : QStringLiteral("warning")},
            {QStringLiteral("file"), finding.place.file},
            {QStringLiteral("line"), finding.place.line},
            {QStringLiteral("column"), finding.place.column},
            {QStringLiteral("key"), finding.place.key}, {QStringLiteral("text"), finding.text}});
    }
    return list;
}

} // namespace

QByteArray tableOf(const ReleaseSet& set)
{
    QString text;
    QTextStream out(&text);
    const PageCounts pages = countPages(set.firmware);
    labelled(out, "Set version") << set.version << "\n\n";
    writeImages(out, set);
    out << '\n';
    labelled(out, "Firmware") << number(set.firmware.size()) << " bytes, " << pages.pages
                              << " pages, of which " << pages.allZero << " all 00 and "
                              << pages.allErased << " all FF\n";
    labelled(out, "Start address") << addressText(set.startAddress) << '\n';
    writeJobTime(out, jobTimeOf(set));
    out.flush();
    return text.toUtf8();
}

QByteArray jsonOf(const ReleaseSet& set, const Findings& findings)
{
    const QJsonObject report{{QStringLiteral("version"), set.version},
        {QStringLiteral("images"), imagesJson(set)},
        {QStringLiteral("firmware"), firmwareJson(set.firmware)},
        {QStringLiteral("startAddress"), static_cast<qint64>(set.startAddress)},
        {QStringLiteral("jobMilliseconds"), jobTimeJson(jobTimeOf(set))},
        {QStringLiteral("errors"), findings.errors()},
        {QStringLiteral("warnings"), findings.warnings()},
        {QStringLiteral("findings"), findingsJson(findings)}};
    return QJsonDocument(report).toJson();
}

} // namespace releaseset
