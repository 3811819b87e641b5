#include "tests/bench/Images.h"

#include "bootload/CompiledSet.h"

#include <QFile>

#include <stdexcept>

namespace {

QByteArray read(const QString& name)
{
    QFile file(QStringLiteral(BENCH_RELEASE_SET "/") + name);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + file.fileName().toStdString());
    return file.readAll();
}

} // namespace

QList<QByteArray> imageSources()
{
    QList<QByteArray> sources;
    const Manifest manifest = readManifest(read(QStringLiteral("settings.json")));
    for (const ManifestImage& image : manifest.images)
        sources.append(read(image.fileName));
    return sources;
}

qint64 totalSize(const QList<QByteArray>& sources)
{
    qint64 size = 0;
    for (const QByteArray& source : sources)
        size += source.size();
    return size;
}

qsizetype bareLoop(const QByteArray& source, QByteArray& out)
{
    char* next = out.data();
    unsigned int value = 0;
    for (const char c : source) {
        if (c == ',') {
            *next++ = static_cast<char>(value);
            value = 0;
        } else if (c >= '0' && c <= '9') {
            value = value << 4U | static_cast<unsigned int>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            value = value << 4U | static_cast<unsigned int>(c - 'a' + 10);
        }
    }
    return next - out.data();
}
