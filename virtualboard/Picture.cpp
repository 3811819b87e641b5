#include "virtualboard/Picture.h"

#include <QDir>

#include <algorithm>
#include <cstring>

namespace vboard {

QImage pictureOf(const StoredImage& stored)
{
    QImage image(
        static_cast<int>(stored.width), static_cast<int>(stored.height), QImage::Format_RGB16);
    image.fill(Qt::black);
    const std::size_t lineSize = stored.width * ImageStore::kBytesPerPixel;
    for (int y = 0; y < image.height(); ++y) {
        const std::size_t offset = static_cast<std::size_t>(y) * lineSize;
        if (offset >= stored.data.size())
            break;
        const std::size_t size = std::min(lineSize, stored.data.size() - offset);
        std::memcpy(image.scanLine(y), stored.data.data() + offset, size);
    }
    return image;
}

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

} // namespace vboard
