#include "bootload/CompiledSet.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

/// Shown where the manifest gives no version.
constexpr QLatin1StringView kDefaultVersion{"D.02n"};

} // namespace

Manifest readManifest(const QByteArray& text)
{
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    Manifest manifest;
    manifest.version = object.value(QStringLiteral("Version")).toString();
    if (manifest.version.isEmpty())
        manifest.version = kDefaultVersion;

    const QJsonArray entries = object.value(QStringLiteral("Images")).toArray();
    for (const QJsonValueConstRef entry : entries) {
        const QJsonObject image = entry.toObject();
        manifest.images.append({image.value(QStringLiteral("FileName")).toString(),
            image.value(QStringLiteral("ImageName")).toInt(),
            image.value(QStringLiteral("ImageVersion")).toInt()});
    }
    return manifest;
}

qint32 startAddressOf(QByteArrayView bytes)
{
    const auto byteAt = [bytes](qsizetype i) {
        const qint8 byte = i < bytes.size() ? static_cast<qint8>(bytes.at(i)) : qint8{0};
        return static_cast<quint32>(qint32{byte});
    };
    return static_cast<qint32>(
        byteAt(0) | (byteAt(1) << 8U) | (byteAt(2) << 16U) | (byteAt(3) << 16U));
}

DataLineBytes readFirmware(QFile& file, qint64 address)
{
    DataLineBytes bytes;
    qint64 count = 0;
    // A resource that has been sought past its end cannot be read again.
    if (file.isOpen() && address < file.size() && file.seek(address))
        count = std::max<qint64>(file.read(bytes.data(), protocol::kDataLineSize), 0);
    std::fill(bytes.begin() + count, bytes.end(), kErasedByte);
    return bytes;
}
