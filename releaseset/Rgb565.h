#pragma once

#include <QByteArray>
#include <QImage>

namespace releaseset {

/// The display board's pixel: five bits red, six green, five blue, low byte first.
inline constexpr int kBytesPerPixel = 2;

enum class Dither { None, Ordered };

/// The pixels of `picture` row by row, width × height × 2 bytes; transparency is dropped. Without
/// dithering each channel becomes its nearest level. With it, a channel between two levels
/// alternates between them by a fixed eight by eight pattern; a channel that is exactly a level
/// stays.
[[nodiscard]] QByteArray toRgb565(const QImage& picture, Dither dither);

/// The picture of `pixels`, which must hold `size`.width × height × 2 bytes; otherwise a null
/// image. toRgb565() of the result gives the same bytes back, with and without dithering.
[[nodiscard]] QImage fromRgb565(const QByteArray& pixels, QSize size);

} // namespace releaseset
