#pragma once

#include "releaseset/SourceText.h"

#include <QSize>
#include <QString>

namespace releaseset {

/// The largest width and height: what fits into three hexadecimal digits of a header line.
inline constexpr int kMaxExtent = 0xFFF;

/// The image that a C source describes to a board with 16 bits a pixel, low byte first.
struct SourceImage
{
    QByteArray pixels; ///< without padding; empty where they cannot be decoded
    QSize size;
    QString fault; ///< why this is no RGB565 image, and what to do; empty when it is one
    int faultLine = 0; ///< from 1, or 0 for the whole file
};

/// Decodes what the image converters of LVGL 7, 8 and 9 write, and the plain form: of an array with
/// conditional branches the one for 16 bits without swapped bytes, of padded rows the pixels alone,
/// literals as in C. Another colour format than RGB565 is a fault that names it; if everything else
/// is right, pixels and size are there all the same.
[[nodiscard]] SourceImage decodeSource(const SourceText& source);

/// The form that the updater reads: the array of byte literals, one row of pixels a line, followed
/// by the descriptor. `pixels` holds `size`.width × height × 2 bytes. The symbol is `title` with
/// everything but ASCII letters, digits and "_" made "_", and the size, such as "Menu_340x230"; a
/// title that starts with a digit gets a "_" before.
[[nodiscard]] QByteArray plainSource(const QByteArray& pixels, QSize size, const QString& title);

} // namespace releaseset
