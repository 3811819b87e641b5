#pragma once

#include "virtualboard/ImageStore.h"

#include <QImage>
#include <QStringList>

namespace vboard {

/// What an image shows; what has not arrived of it is black. Null without width or height.
[[nodiscard]] QImage pictureOf(const StoredImage& stored);

/// Writes every image that arrived to `folder` as "<prefix>image<number>-v<version>.png". Returns
/// the paths that could not be written.
[[nodiscard]] QStringList writePictures(
    const ImageStore& images, const QString& folder, const QString& prefix);

} // namespace vboard
