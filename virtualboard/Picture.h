#pragma once

#include "virtualboard/ImageStore.h"

#include <QImage>

namespace vboard {

/// What an image shows; what has not arrived of it is black. Null without width or height.
[[nodiscard]] QImage pictureOf(const StoredImage& stored);

} // namespace vboard
