#include "releaseset/Canvas.h"

#include <QPainter>

#include <algorithm>

namespace releaseset {

namespace {

constexpr int kSamples = kSubpixels * kSubpixels;

/// The largest whole number whose square is at most `value`.
int wholeRoot(qint64 value)
{
    qint64 root = 0;
    for (qint64 bit = qint64(1) << 30; bit > 0; bit >>= 1) {
        if ((root + bit) * (root + bit) <= value)
            root += bit;
    }
    return static_cast<int>(root);
}

/// `numerator` / `denominator`, halves rounded away from zero; the denominator is positive.
int roundedQuotient(qint64 numerator, qint64 denominator)
{
    const qint64 half = denominator / 2;
    return static_cast<int>((numerator < 0 ? numerator - half : numerator + half) / denominator);
}

/// How far a round corner of `radius` leaves row `row` of it free, counted from its outer edge.
int cornerInset(int radius, int row)
{
    const qint64 rise = 2 * qint64(radius - row) - 1; // to the middle of the row, doubled
    return radius - (wholeRoot(4 * qint64(radius) * radius - rise * rise) + 1) / 2;
}

QRgb meanOfSquare(const QImage& enlarged, int x, int y)
{
    int red = kSamples / 2;
    int green = kSamples / 2;
    int blue = kSamples / 2;
    for (int row = 0; row < kSubpixels; ++row) {
        for (int column = 0; column < kSubpixels; ++column) {
            const QRgb sample = enlarged.pixel(x * kSubpixels + column, y * kSubpixels + row);
            red += qRed(sample);
            green += qGreen(sample);
            blue += qBlue(sample);
        }
    }
    return qRgb(red / kSamples, green / kSamples, blue / kSamples);
}

} // namespace

QRgb mixed(QRgb from, QRgb to, int part, int whole)
{
    const auto channel = [part, whole](int a, int b) {
        return a + roundedQuotient(qint64(b - a) * part, std::max(whole, 1));
    };
    return qRgb(channel(qRed(from), qRed(to)), channel(qGreen(from), qGreen(to)),
        channel(qBlue(from), qBlue(to)));
}

Canvas::Canvas(QSize size, QRgb background) : m_enlarged(size * kSubpixels, QImage::Format_RGB32)
{
    m_enlarged.fill(background);
}

void Canvas::fillRect(const QRect& rect, QRgb colour)
{
    QPainter(&m_enlarged).fillRect(rect, QColor::fromRgb(colour));
}

void Canvas::fillRounded(const QRect& rect, int radius, QRgb top, QRgb bottom)
{
    const int round = std::min({radius, rect.width() / 2, rect.height() / 2});
    QPainter painter(&m_enlarged);
    for (int row = 0; row < rect.height(); ++row) {
        const int fromEdge = std::min(row, rect.height() - 1 - row);
        const int inset = fromEdge < round ? cornerInset(round, fromEdge) : 0;
        painter.fillRect(rect.left() + inset, rect.top() + row, rect.width() - 2 * inset, 1,
            QColor::fromRgb(mixed(top, bottom, row, rect.height() - 1)));
    }
}

void Canvas::fillRounded(const QRect& rect, int radius, QRgb colour)
{
    fillRounded(rect, radius, colour, colour);
}

void Canvas::fillDisc(QPoint centre, int radius, QRgb colour)
{
    fillRounded({centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius}, radius, colour);
}

void Canvas::fillGlow(QPoint centre, int radius, QRgb inner, QRgb outer)
{
    constexpr int kRing = kSubpixels / 2;
    for (int distance = radius; distance > 0; distance -= kRing) {
        // Squared, so that the glow fades out softly towards its rim.
        const int fade = roundedQuotient(qint64(radius - distance) * (radius - distance), radius);
        fillDisc(centre, distance, mixed(outer, inner, fade, radius));
    }
}

void Canvas::fillPolygon(const QPolygon& polygon, QRgb colour)
{
    QPainter painter(&m_enlarged);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgb(colour));
    painter.drawPolygon(polygon, Qt::WindingFill);
}

void Canvas::stroke(const QPolygon& points, int width, QRgb colour)
{
    const int radius = std::max(width / 2, 1);
    for (const QPoint& point : points)
        fillDisc(point, radius, colour);
    for (qsizetype i = 1; i < points.size(); ++i) {
        const QPoint along = points[i] - points[i - 1];
        const int length = wholeRoot(QPoint::dotProduct(along, along));
        if (length == 0)
            continue;
        const QPoint side(roundedQuotient(-qint64(along.y()) * radius, length),
            roundedQuotient(qint64(along.x()) * radius, length));
        fillPolygon(QPolygon({points[i - 1] + side, points[i] + side, points[i] - side,
                        points[i - 1] - side}),
            colour);
    }
}

QImage Canvas::picture() const
{
    QImage picture(m_enlarged.size() / kSubpixels, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, meanOfSquare(m_enlarged, x, y));
    }
    return picture;
}

} // namespace releaseset
