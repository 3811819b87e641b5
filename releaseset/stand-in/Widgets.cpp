#include "releaseset/stand-in/Widgets.h"

#include "releaseset/Strokes.h"

#include <algorithm>

namespace standin {

using releaseset::Canvas;
using releaseset::mixed;
using releaseset::px;
using releaseset::TextStyle;

namespace {

constexpr int kWhole = 100;
constexpr int kPictogramUnits = 24;
constexpr int kScreenWidth = px(340);
constexpr int kHeadHeight = px(36);
constexpr int kMargin = px(10);

} // namespace

TextStyle headline(QRgb ink)
{
    return {.capHeight = px(11), .penWidth = px(1.75), .colour = ink, .tracking = px(0.75)};
}

TextStyle body(QRgb ink)
{
    return {.capHeight = px(10), .penWidth = px(1.5), .colour = ink};
}

TextStyle small(QRgb ink)
{
    return {.capHeight = px(7.5), .penWidth = px(1.125), .colour = ink};
}

void drawPictogram(
    Canvas& canvas, QPoint corner, int side, std::string_view drawing, int penWidth, QRgb ink)
{
    for (const QPolygon& line : releaseset::strokesOf(drawing, corner, side, kPictogramUnits))
        canvas.stroke(line, penWidth, ink);
}

void drawHeader(Canvas& canvas, const QString& title, std::string_view drawing, QRgb ink)
{
    drawPictogram(canvas, {kMargin, px(9)}, px(18), drawing, px(2), ink);
    drawText(canvas, {kMargin + px(27), px(23.5)}, title, headline());
    canvas.fillRect(
        {kMargin, kHeadHeight - px(1), kScreenWidth - 2 * kMargin, px(1)}, colour::kTrack);
}

void drawBadge(Canvas& canvas, const QString& text, QRgb ink)
{
    const TextStyle style = small(ink);
    constexpr int kPadding = px(8);
    const int width = textWidth(text, style) + 2 * kPadding;
    const QRect pill(kScreenWidth - kMargin - width, px(9), width, px(18));
    canvas.fillRounded(pill, pill.height() / 2, mixed(colour::kNight, ink, 20, kWhole));
    drawText(canvas, {pill.left() + kPadding, px(21.75)}, text, style);
}

void drawCard(Canvas& canvas, const QRect& rect)
{
    canvas.fillRounded(rect, px(8), colour::kPanel, colour::kPanelDeep);
}

void drawGauge(Canvas& canvas, const QRect& rect, int percent, QRgb from, QRgb to)
{
    const int radius = rect.height() / 2;
    canvas.fillRounded(rect, radius, colour::kTrack);
    const int lit = (rect.width() - rect.height()) * percent / kWhole;
    for (int x = 0; x <= lit; ++x) {
        canvas.fillDisc({rect.left() + radius + x, rect.top() + radius}, radius,
            mixed(from, to, x, std::max(lit, 1)));
    }
}

void drawRing(Canvas& canvas, QPoint centre, int radius, int width, int percent, QRgb from, QRgb to)
{
    constexpr std::string_view kCircle = "M0 -100 h100 0 v0 100 h-100 0 v0 -100";
    const QPolygon circle = releaseset::strokesOf(kCircle, centre, radius, kWhole).constFirst();
    canvas.stroke(circle, width, colour::kTrack);
    const auto lit = circle.size() * percent / kWhole;
    for (qsizetype i = lit; i > 0; --i) {
        const QRgb ink = mixed(from, to, static_cast<int>(i), static_cast<int>(lit));
        canvas.stroke(QPolygon({circle[i - 1], circle[i]}), width, ink);
    }
}

void drawCase(Canvas& canvas, QPoint foot, int height, int heat)
{
    // In hundredths of the height, from the mouth down: where a piece ends and how wide it is
    // there.
    struct Ring
    {
        int y;
        int halfWidth;
    };
    constexpr Ring kProfile[]
        = {{0, 9}, {22, 9}, {34, 15}, {88, 16}, {92, 13}, {94, 16}, {100, 16}};
    constexpr int kHeated = 46;
    const int top = foot.y() - height;
    const auto* ring = std::begin(kProfile);
    for (int y = 0; y < height; ++y) {
        const int at = y * kWhole / height;
        while (at >= ring[1].y)
            ++ring;
        const int half
            = (ring[0].halfWidth * (ring[1].y - at) + ring[1].halfWidth * (at - ring[0].y)) * height
            / kWhole / (ring[1].y - ring[0].y);
        const int warm = std::max(0, kHeated - at) * heat / kHeated;
        const QRgb lit = mixed(colour::kBrass, mixed(colour::kEmber, colour::kGlow, warm, kWhole),
            std::min(3 * warm, kWhole), kWhole);
        const QRgb shade = mixed(colour::kBrassDeep, colour::kEmberDeep, warm, kWhole);
        canvas.fillRect({foot.x() - half, top + y, 2 * half, 1}, shade);
        canvas.fillRect({foot.x() - half, top + y, 2 * half * 7 / 10, 1}, lit);
        canvas.fillRect({foot.x() - half * 6 / 10, top + y, half * 3 / 10, 1},
            mixed(lit, colour::kText, 55, kWhole));
    }
}

void drawCoil(Canvas& canvas, int x, int top, int bottom, int halfWidth, QRgb ink)
{
    constexpr int kTurns = 3;
    constexpr int kSag = px(4);
    const int pitch = (bottom - top) / kTurns;
    for (int turn = 0; turn < kTurns; ++turn) {
        const QPoint left(x - halfWidth, top + turn * pitch);
        QPolygon front{left};
        constexpr int kSteps = 24;
        for (int step = 1; step <= kSteps; ++step) {
            const int bow = 4 * kSag * step * (kSteps - step) / (kSteps * kSteps);
            front.append(
                left + QPoint(2 * halfWidth * step / kSteps, bow + pitch / 3 * step / kSteps));
        }
        canvas.stroke(front, px(3.5), mixed(ink, colour::kNight, 45, kWhole));
        canvas.stroke(front.translated(0, -px(0.5)), px(1.75), ink);
    }
}

} // namespace standin
