#include "releaseset/Rgb565.h"

#include <array>

namespace releaseset {

namespace {

constexpr int kFull = 255;
constexpr int kMax5 = 31;
constexpr int kMax6 = 63;
constexpr int kRedShift = 11;
constexpr int kGreenShift = 5;
constexpr int kBitsPerByte = 8;

constexpr int kPattern = 8;
constexpr int kPatternLevels = kPattern * kPattern;

/// Bayer's pattern: the bits of x ^ y and of y in turn, of which the lowest have the most weight.
constexpr int threshold(int x, int y)
{
    int value = 0;
    for (int bit = 1; bit < kPattern; bit *= 2) {
        const int column = (x & bit) != 0 ? 1 : 0;
        const int row = (y & bit) != 0 ? 1 : 0;
        value = value * 4 + (column ^ row) * 2 + row;
    }
    return value;
}

constexpr auto kThresholds = [] {
    std::array<std::array<int, kPattern>, kPattern> table{};
    for (int y = 0; y < kPattern; ++y) {
        for (int x = 0; x < kPattern; ++x)
            table[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = threshold(x, y);
    }
    return table;
}();

constexpr int nearestLevel(int value, int max)
{
    return (value * max + kFull / 2) / kFull;
}

constexpr int shownAs(int level, int max)
{
    return (level * kFull + max / 2) / max;
}

int ditheredLevel(int value, int max, int limit)
{
    const int nearest = nearestLevel(value, max);
    if (shownAs(nearest, max) == value)
        return nearest;
    const int lower = value * max / kFull;
    const int part = value * max % kFull;
    return part * kPatternLevels > limit * kFull ? lower + 1 : lower;
}

int pixelOf(QRgb colour, int x, int y, Dither dither)
{
    const int limit = kThresholds[static_cast<std::size_t>(y % kPattern)]
                                 [static_cast<std::size_t>(x % kPattern)];
    const auto level = [dither, limit](int value, int max) {
        return dither == Dither::None ? nearestLevel(value, max) : ditheredLevel(value, max, limit);
    };
    return level(qRed(colour), kMax5) << kRedShift | level(qGreen(colour), kMax6) << kGreenShift
        | level(qBlue(colour), kMax5);
}

QRgb colourOf(int pixel)
{
    return qRgb(shownAs(pixel >> kRedShift, kMax5), shownAs(pixel >> kGreenShift & kMax6, kMax6),
        shownAs(pixel & kMax5, kMax5));
}

} // namespace

QByteArray toRgb565(const QImage& picture, Dither dither)
{
    const QImage opaque = picture.convertToFormat(QImage::Format_RGB32);
    QByteArray pixels;
    pixels.reserve(qsizetype(opaque.width()) * opaque.height() * kBytesPerPixel);
    for (int y = 0; y < opaque.height(); ++y) {
        for (int x = 0; x < opaque.width(); ++x) {
            const int pixel = pixelOf(opaque.pixel(x, y), x, y, dither);
            pixels.append(static_cast<char>(pixel))
                .append(static_cast<char>(pixel >> kBitsPerByte));
        }
    }
    return pixels;
}

QImage fromRgb565(const QByteArray& pixels, QSize size)
{
    if (size.isEmpty() || qint64(size.width()) * size.height() * kBytesPerPixel != pixels.size())
        return {};
    QImage picture(size, QImage::Format_RGB32);
    qsizetype at = 0;
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x, at += kBytesPerPixel) {
            const int low = static_cast<unsigned char>(pixels.at(at));
            const int high = static_cast<unsigned char>(pixels.at(at + 1));
            picture.setPixel(x, y, colourOf(high << kBitsPerByte | low));
        }
    }
    return picture;
}

} // namespace releaseset
