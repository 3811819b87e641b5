#include "releaseset/Convert.h"

#include "releaseset/ImageSource.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>

namespace releaseset {

namespace {

struct Pixels
{
    QByteArray bytes;
    QSize size;
    QString fault;
};

bool isSource(const QString& path)
{
    return path.endsWith(QLatin1String(".c"), Qt::CaseInsensitive);
}

Pixels readSourceFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, {}, path + QStringLiteral(": ") + file.errorString()};
    const SourceImage image = decodeSource(readSource(file.readAll()));
    if (image.fault.isEmpty())
        return {image.pixels, image.size, {}};
    const QString line
        = image.faultLine > 0 ? QStringLiteral(":%1").arg(image.faultLine) : QString();
    return {{}, {}, path + line + QStringLiteral(": ") + image.fault};
}

Pixels readPicture(const QString& path, Dither dither)
{
    QImageReader reader(path);
    const QImage picture = reader.read();
    if (picture.isNull())
        return {{}, {}, path + QStringLiteral(": ") + reader.errorString()};
    return {toRgb565(picture, dither), picture.size(), {}};
}

QString writeSource(const QString& path, const QByteArray& text)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.flush())
        return {};
    return path + QStringLiteral(": ") + file.errorString();
}

QString writePicture(const QString& path, const QImage& picture)
{
    QImageWriter writer(path);
    return writer.write(picture) ? QString() : path + QStringLiteral(": ") + writer.errorString();
}

/// Removes the size that an earlier conversion appended to a title, so that it is not there twice.
QString withoutSize(QString title, QSize size)
{
    const QString suffix = QStringLiteral("_%1x%2").arg(size.width()).arg(size.height());
    if (title.endsWith(suffix))
        title.chop(suffix.size());
    return title;
}

} // namespace

QString convert(const Conversion& conversion)
{
    const Pixels pixels = isSource(conversion.input)
        ? readSourceFile(conversion.input)
        : readPicture(conversion.input, conversion.dither);
    if (!pixels.fault.isEmpty())
        return pixels.fault;
    if (!isSource(conversion.output))
        return writePicture(conversion.output, fromRgb565(pixels.bytes, pixels.size));
    const QString title = conversion.name.isEmpty()
        ? withoutSize(QFileInfo(conversion.input).completeBaseName(), pixels.size)
        : conversion.name;
    return writeSource(conversion.output, plainSource(pixels.bytes, pixels.size, title));
}

} // namespace releaseset
