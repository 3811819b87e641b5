#pragma once

#include <QColor>
#include <QImage>
#include <QPolygon>

namespace releaseset {

/// Points of a picture are given in eighths of a pixel, as whole numbers.
inline constexpr int kSubpixels = 8;

/// `pixels` in eighths of a pixel; meant for constants that are multiples of an eighth.
constexpr int px(double pixels)
{
    return static_cast<int>(pixels * kSubpixels);
}

/// The colour `part` of `whole` on the way from `from` to `to`.
[[nodiscard]] QRgb mixed(QRgb from, QRgb to, int part, int whole);

/// A picture that comes out byte for byte the same on every machine: it is drawn eight times as
/// large, without antialiasing and with whole numbers only, and each pixel is the mean of its 64.
///
/// All positions and lengths are in eighths of a pixel.
class Canvas
{
public:
    /// A picture of `size` pixels filled with `background`.
    Canvas(QSize size, QRgb background);

    void fillRect(const QRect& rect, QRgb colour);

    /// A rectangle with round corners whose colour runs from `top` to `bottom`. A radius of more
    /// than half the shorter side counts as that half.
    void fillRounded(const QRect& rect, int radius, QRgb top, QRgb bottom);
    void fillRounded(const QRect& rect, int radius, QRgb colour);

    void fillDisc(QPoint centre, int radius, QRgb colour);

    /// A glow of `radius` around `centre` that runs from `inner` to `outer`, which should be the
    /// colour that is there already.
    void fillGlow(QPoint centre, int radius, QRgb inner, QRgb outer);

    void fillPolygon(const QPolygon& polygon, QRgb colour);

    /// The line through `points`, `width` thick, with round ends and joints. A single point is a
    /// dot.
    void stroke(const QPolygon& points, int width, QRgb colour);

    /// The finished picture, in its own size, opaque.
    [[nodiscard]] QImage picture() const;

private:
    QImage m_enlarged;
};

} // namespace releaseset
