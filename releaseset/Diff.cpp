#include "releaseset/Diff.h"

#include "protocol/Commands.h"
#include "releaseset/ManifestCheck.h"
#include "releaseset/Rgb565.h"

#include <QMap>
#include <QRect>

#include <algorithm>
#include <functional>
#include <numeric>

namespace releaseset {

namespace {

QString sizeOf(const ImageFile& image)
{
    return QStringLiteral("%1 x %2").arg(image.width).arg(image.height);
}

QString changeOf(const QString& name, const QString& before, const QString& after)
{
    return QStringLiteral("%1 %2 -> %3").arg(name, before, after);
}

struct PixelChange
{
    qsizetype count = 0;
    QRect area;
};

/// The pixels that differ between two images of one width.
PixelChange changedPixels(const ImageFile& before, const ImageFile& after)
{
    PixelChange change;
    const qsizetype pixels = std::min(before.data.size(), after.data.size()) / kBytesPerPixel;
    for (qsizetype i = 0; i < pixels; ++i) {
        const qsizetype at = i * kBytesPerPixel;
        if (before.data.sliced(at, kBytesPerPixel) == after.data.sliced(at, kBytesPerPixel))
            continue;
        ++change.count;
        const QPoint point(static_cast<int>(i % before.width), static_cast<int>(i / before.width));
        change.area |= QRect(point, QSize(1, 1));
    }
    return change;
}

QString pixelText(const ImageFile& before, const ImageFile& after)
{
    if (before.data == after.data)
        return {};
    if (before.width != after.width || before.width <= 0 || before.data.size() != after.data.size())
        return QStringLiteral("other pixels");
    const PixelChange change = changedPixels(before, after);
    return QStringLiteral("%1 of %2 pixels, within %3 x %4 at (%5, %6)")
        .arg(change.count)
        .arg(before.data.size() / kBytesPerPixel)
        .arg(change.area.width())
        .arg(change.area.height())
        .arg(change.area.x())
        .arg(change.area.y());
}

/// Whether a board that has `before` would show something else with `after`.
bool looksOtherwise(const ImageFile& before, const ImageFile& after)
{
    return before.data != after.data || sizeOf(before) != sizeOf(after);
}

bool keepsItsVersion(const ImageFile& before, const ImageFile& after)
{
    return before.imageVersion == after.imageVersion && looksOtherwise(before, after);
}

QStringList imageChanges(const SetImage& before, const SetImage& after)
{
    QStringList changes;
    const ImageFile& a = before.content;
    const ImageFile& b = after.content;
    if (before.file != after.file)
        changes.append(changeOf(QStringLiteral("file"), before.file, after.file));
    if (a.imageVersion != b.imageVersion) {
        changes.append(changeOf(QStringLiteral("version"), QString::number(a.imageVersion),
            QString::number(b.imageVersion)));
    }
    if (sizeOf(a) != sizeOf(b))
        changes.append(changeOf(QStringLiteral("size"), sizeOf(a), sizeOf(b)));
    const QString pixels = pixelText(a, b);
    if (!pixels.isEmpty())
        changes.append(pixels);
    if (keepsItsVersion(a, b)) {
        changes.append(QStringLiteral("version is still %1, so a board keeps the image it has")
                           .arg(a.imageVersion));
    }
    return changes;
}

QMap<int, SetImage> byNumber(const ReleaseSet& set)
{
    QMap<int, SetImage> images;
    for (const SetImage& image : set.images)
        images.insert(image.content.imageName, image);
    return images;
}

void addImages(QStringList& lines, const ReleaseSet& before, const ReleaseSet& after)
{
    const QMap<int, SetImage> old = byNumber(before);
    const QMap<int, SetImage> now = byNumber(after);
    QMap<int, SetImage> all = old;
    all.insert(now);
    for (auto it = all.cbegin(); it != all.cend(); ++it) {
        const QString name = QStringLiteral("image %1: ").arg(it.key());
        if (!old.contains(it.key())) {
            lines.append(name + QStringLiteral("new, ") + it->file);
        } else if (!now.contains(it.key())) {
            lines.append(name + QStringLiteral("gone, ") + it->file);
        } else {
            const QStringList changes = imageChanges(old.value(it.key()), it.value());
            if (!changes.isEmpty())
                lines.append(name + changes.join(QStringLiteral("; ")));
        }
    }
}

void addOrder(QStringList& lines, const ReleaseSet& before, const ReleaseSet& after)
{
    const auto numbers = [](const ReleaseSet& set) {
        QStringList list;
        for (const SetImage& image : set.images)
            list.append(QString::number(image.content.imageName));
        return list;
    };
    const QStringList old = numbers(before);
    const QStringList now = numbers(after);
    if (old != now && byNumber(before).keys() == byNumber(after).keys()) {
        lines.append(changeOf(QStringLiteral("order of images:"), old.join(QLatin1Char(' ')),
            now.join(QLatin1Char(' '))));
    }
}

/// How many of a page's bytes differ; bytes that a firmware does not have count as erased flash.
qsizetype differingBytes(const ReleaseSet& before, const ReleaseSet& after, qint64 page)
{
    const qint64 end = std::max(before.firmware.size(), after.firmware.size());
    const qint64 size = std::min<qint64>(protocol::kPageSize, end - page);
    const QByteArray old = before.flash(page, size);
    const QByteArray now = after.flash(page, size);
    return size
        - std::inner_product(
            old.cbegin(), old.cend(), now.cbegin(), qsizetype{0}, std::plus<>(), std::equal_to<>());
}

void addFirmware(QStringList& lines, const ReleaseSet& before, const ReleaseSet& after)
{
    const qsizetype oldSize = before.firmware.size();
    const qsizetype newSize = after.firmware.size();
    if (oldSize != newSize) {
        lines.append(changeOf(
            QStringLiteral("firmware: bytes"), QString::number(oldSize), QString::number(newSize)));
    }
    for (qint64 page = 0; page < std::max(oldSize, newSize); page += protocol::kPageSize) {
        const qsizetype count = differingBytes(before, after, page);
        if (count > 0)
            lines.append(
                QStringLiteral("firmware: page %1: %2 bytes").arg(addressText(page)).arg(count));
    }
}

} // namespace

QStringList differencesOf(const ReleaseSet& before, const ReleaseSet& after)
{
    QStringList lines;
    if (before.version != after.version)
        lines.append(changeOf(QStringLiteral("set: version"), before.version, after.version));
    if (before.startAddress != after.startAddress) {
        lines.append(changeOf(QStringLiteral("start address:"), addressText(before.startAddress),
            addressText(after.startAddress)));
    }
    addImages(lines, before, after);
    addOrder(lines, before, after);
    addFirmware(lines, before, after);
    return lines;
}

void checkImageVersions(const ReleaseSet& before, const ReleaseSet& after, Findings& findings)
{
    const QMap<int, SetImage> old = byNumber(before);
    for (qsizetype i = 0; i < after.images.size(); ++i) {
        const SetImage& image = after.images.at(i);
        const int number = image.content.imageName;
        const int version = image.content.imageVersion;
        if (!old.contains(number) || !keepsItsVersion(old.value(number).content, image.content))
            continue;
        const int next = (version + 1) % (kMaxNumber + 1);
        findings.error(
            {.file = kManifestFile, .key = QStringLiteral("Images[%1].ImageVersion").arg(i)},
            QStringLiteral(
                "image %1 (%2) has changed and its version is still %3, so a board keeps the "
                "image it has; write \"ImageVersion\": %4")
                .arg(QString::number(number), image.file, QString::number(version),
                    QString::number(next)));
    }
}

} // namespace releaseset
