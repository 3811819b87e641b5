#include "bootload/Manifest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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
