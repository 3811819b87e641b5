#include "releaseset/stand-in/Screens.h"
#include "releaseset/stand-in/Widgets.h"

namespace standin {

using releaseset::Canvas;
using releaseset::mixed;
using releaseset::px;

namespace {

constexpr QSize kNotice{220, 165};
constexpr int kMiddle = px(110);

/// The frame of a notice: a panel with a bar of its colour on top.
Canvas noticeFrame(QRgb ink)
{
    Canvas canvas(kNotice, colour::kNight);
    canvas.fillRounded({px(4), px(4), px(212), px(157)}, px(12), ink);
    canvas.fillRounded({px(6), px(6), px(208), px(153)}, px(10), colour::kPanelDeep);
    return canvas;
}

void drawWarningTriangle(Canvas& canvas, QPoint top, int height)
{
    const int half = height * 58 / 100;
    const QPolygon outline({top, top + QPoint(half, height), top + QPoint(-half, height), top});
    canvas.stroke(outline, px(9), colour::kEmber);
    canvas.fillPolygon(outline, colour::kEmber);
    const int x = top.x();
    const QPolygon bar(
        {QPoint(x, top.y() + height * 36 / 100), QPoint(x, top.y() + height * 66 / 100)});
    canvas.stroke(bar, px(5.5), colour::kNight);
    canvas.fillDisc({x, top.y() + height * 86 / 100}, px(3.25), colour::kNight);
}

} // namespace

QImage drawCoilCooling()
{
    Canvas canvas = noticeFrame(colour::kEmber);
    drawWarningTriangle(canvas, {kMiddle, px(26)}, px(47));
    drawTextCentred(canvas, {kMiddle, px(104)}, QStringLiteral("COIL COOLING"), headline());
    drawTextCentred(canvas, {kMiddle, px(122)}, QStringLiteral("Ready again in 0:45"), small());
    drawGauge(canvas, {px(30), px(136), px(160), px(8)}, 62, colour::kTeal, colour::kEmber);
    return canvas.picture();
}

QImage drawDone()
{
    Canvas canvas = noticeFrame(colour::kGreen);
    const QPoint centre(kMiddle, px(57));
    canvas.fillGlow(
        centre, px(46), mixed(colour::kPanelDeep, colour::kGreen, 75, 100), colour::kPanelDeep);
    for (int i = 0; i < 2; ++i) {
        const int away = px(52) + i * px(22);
        drawCase(canvas, {kMiddle - away, px(84)}, px(54), 0);
        drawCase(canvas, {kMiddle + away, px(84)}, px(54), 0);
    }
    canvas.fillDisc(centre, px(28), colour::kGreenDeep);
    canvas.fillRounded({centre.x() - px(26), centre.y() - px(26), px(52), px(52)}, px(26),
        colour::kGreen, colour::kGreenDeep);
    drawPictogram(
        canvas, centre - QPoint(px(15), px(15)), px(30), pictogram::kCheck, px(5), colour::kText);
    drawTextCentred(canvas, {kMiddle, px(116)}, QStringLiteral("DONE"), headline());
    drawTextCentred(canvas, {kMiddle, px(136)}, QStringLiteral("120 cases annealed"), small());
    return canvas.picture();
}

} // namespace standin
