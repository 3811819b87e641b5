#include "releaseset/stand-in/Screens.h"

#include "releaseset/stand-in/Widgets.h"

namespace standin {

using releaseset::Canvas;
using releaseset::mixed;
using releaseset::px;

namespace {

constexpr QSize kFullScreen{340, 230};

struct Tile
{
    QString title;
    QString detail;
    std::string_view drawing;
    QRgb ink;
};

void drawTile(Canvas& canvas, const QRect& rect, const Tile& tile, bool chosen)
{
    if (chosen)
        canvas.fillRounded(rect, px(10), colour::kEmber, colour::kEmberDeep);
    else
        drawCard(canvas, rect);
    const QRgb plate = chosen ? mixed(colour::kEmberDeep, colour::kNight, 40, 100) : colour::kNight;
    const QPoint middle(rect.left() + px(32), rect.top() + rect.height() / 2);
    canvas.fillDisc(middle, px(21), plate);
    drawPictogram(canvas, middle - QPoint(px(12), px(12)), px(24), tile.drawing, px(2.25),
        chosen ? colour::kGlow : tile.ink);
    const QPoint text(rect.left() + px(63), rect.top() + rect.height() / 2);
    drawText(canvas, text - QPoint(0, px(1)), tile.title, body());
    drawText(canvas, text + QPoint(0, px(15)), tile.detail,
        small(chosen ? mixed(colour::kText, colour::kEmber, 20, 100) : colour::kMuted));
}

void drawValueCard(Canvas& canvas, const QRect& rect, const QString& name, const QString& value,
    int percent, QRgb from, QRgb to)
{
    drawCard(canvas, rect);
    const int left = rect.left() + px(11);
    const int right = rect.right() - px(10);
    drawText(canvas, {left, rect.top() + px(20)}, name, small());
    drawTextRight(canvas, {right, rect.top() + px(20.5)}, value, body());
    drawGauge(canvas, {left, rect.top() + px(29), right - left, px(6)}, percent, from, to);
}

void drawSettingRow(Canvas& canvas, int row, const QString& name, const QString& value)
{
    constexpr int kTop = px(45);
    constexpr int kPitch = px(45);
    const QRect rect(px(10), kTop + row * kPitch, px(308), px(39));
    drawCard(canvas, rect);
    drawText(canvas, {rect.left() + px(13), rect.top() + px(24.5)}, name, body());
    drawTextRight(
        canvas, {rect.right() - px(12), rect.top() + px(24.5)}, value, body(colour::kGlow));
}

void drawSlider(Canvas& canvas, int row, int percent)
{
    const QRect track(px(142), px(45) + row * px(45) + px(17), px(98), px(5));
    drawGauge(canvas, track, percent, colour::kEmberDeep, colour::kEmber);
    const QPoint knob(track.left() + track.width() * percent / 100, track.center().y());
    canvas.fillDisc(knob, px(8), colour::kNight);
    canvas.fillDisc(knob, px(6.5), colour::kText);
}

void drawToggle(Canvas& canvas, int row, bool on)
{
    const QRect rect(px(200), px(45) + row * px(45) + px(9.5), px(40), px(20));
    if (on)
        canvas.fillRounded(rect, rect.height(), colour::kGreen, colour::kGreenDeep);
    else
        canvas.fillRounded(rect, rect.height(), colour::kTrack);
    const int x = on ? rect.right() - px(10) : rect.left() + px(10);
    canvas.fillDisc({x, rect.top() + px(10)}, px(7.5), on ? colour::kText : colour::kMuted);
}

} // namespace

QImage drawMenu()
{
    Canvas canvas(kFullScreen, colour::kNight);
    drawHeader(canvas, QStringLiteral("BRIVAN ANNEALING"), pictogram::kFlame, colour::kEmber);
    drawBadge(canvas, QStringLiteral("Ready"), colour::kGreen);
    const Tile tiles[] = {
        {QStringLiteral("Anneal"), QStringLiteral("Start the run"), pictogram::kFlame,
            colour::kEmber},
        {QStringLiteral("Programs"), QStringLiteral("12 stored"), pictogram::kList, colour::kTeal},
        {QStringLiteral("Settings"), QStringLiteral("Time, power"), pictogram::kSliders,
            colour::kGlow},
        {QStringLiteral("Service"), QStringLiteral("Coil, feed"), pictogram::kWrench,
            colour::kMuted},
    };
    for (int i = 0; i < 4; ++i) {
        const QRect rect(px(10) + i % 2 * px(163), px(46) + i / 2 * px(79), px(157), px(72));
        drawTile(canvas, rect, tiles[i], i == 0);
    }
    drawText(canvas, {px(12), px(219)}, QStringLiteral("Program 3"), small());
    drawTextCentred(canvas, {px(170), px(219)}, QStringLiteral("Coil 38 \u00b0C"), small());
    drawTextRight(canvas, {px(328), px(219)}, QStringLiteral("1240 cases"), small());
    return canvas.picture();
}

QImage drawAnnealing()
{
    Canvas canvas(kFullScreen, colour::kNight);
    drawHeader(canvas, QStringLiteral("ANNEALING"), pictogram::kFlame, colour::kEmber);
    drawBadge(canvas, QStringLiteral("Program 3"), colour::kGlow);

    const QPoint centre(px(88), px(117));
    const QPoint mouth(centre.x() - px(29), centre.y() - px(34));
    canvas.fillGlow(mouth + QPoint(0, px(14)), px(27),
        mixed(colour::kNight, colour::kEmber, 85, 100), colour::kNight);
    drawRing(canvas, centre, px(62), px(11), 68, colour::kEmberDeep, colour::kGlow);
    drawCase(canvas, mouth + QPoint(0, px(70)), px(70), 100);
    drawCoil(canvas, mouth.x(), mouth.y() + px(4), mouth.y() + px(34), px(14), colour::kBrass);
    drawText(canvas, {centre.x() - px(3), centre.y() + px(11)}, QStringLiteral("2.4"),
        {.capHeight = px(25), .penWidth = px(3.5), .colour = colour::kText, .tracking = -px(1.5)});
    drawText(canvas, {centre.x() - px(2), centre.y() + px(29)}, QStringLiteral("seconds"), small());

    drawValueCard(canvas, {px(174), px(46), px(156), px(43)}, QStringLiteral("Cases"),
        QStringLiteral("47 / 120"), 39, colour::kTeal, colour::kTeal);
    drawValueCard(canvas, {px(174), px(95), px(156), px(43)}, QStringLiteral("Coil"),
        QStringLiteral("62 \u00b0C"), 62, colour::kGreen, colour::kGlow);
    drawValueCard(canvas, {px(174), px(144), px(156), px(43)}, QStringLiteral("Power"),
        QStringLiteral("78 %"), 78, colour::kEmberDeep, colour::kGlow);

    canvas.fillRounded({px(10), px(195), px(320), px(28)}, px(8), colour::kRed, colour::kRedDeep);
    canvas.fillRounded({px(137), px(204.5), px(9), px(9)}, px(1.5), colour::kText);
    drawText(canvas, {px(154), px(214)}, QStringLiteral("STOP"), body());
    return canvas.picture();
}

QImage drawSettings()
{
    Canvas canvas(kFullScreen, colour::kNight);
    drawHeader(canvas, QStringLiteral("SETTINGS"), pictogram::kBack, colour::kText);
    drawBadge(canvas, QStringLiteral("Page 1 of 2"), colour::kMuted);
    drawSettingRow(canvas, 0, QStringLiteral("Anneal time"), QStringLiteral("3.2 s"));
    drawSettingRow(canvas, 1, QStringLiteral("Coil power"), QStringLiteral("78 %"));
    drawSettingRow(canvas, 2, QStringLiteral("Case feeder"), QStringLiteral("On"));
    drawSettingRow(canvas, 3, QStringLiteral("Beep when done"), QStringLiteral("Off"));
    drawSlider(canvas, 0, 54);
    drawSlider(canvas, 1, 78);
    drawToggle(canvas, 2, true);
    drawToggle(canvas, 3, false);
    canvas.fillRounded({px(325), px(45), px(5), px(174)}, px(2.5), colour::kPanelDeep);
    canvas.fillRounded({px(325), px(45), px(5), px(87)}, px(2.5), colour::kMuted);
    return canvas.picture();
}

QList<Screen> allScreens()
{
    return {
        {QStringLiteral("Menu"), QStringLiteral("0.c"), 0, 1, drawMenu()},
        {QStringLiteral("Annealing"), QStringLiteral("1.c"), 1, 1, drawAnnealing()},
        {QStringLiteral("Settings"), QStringLiteral("3_2.c"), 3, 2, drawSettings()},
        {QStringLiteral("CoilCooling"), QStringLiteral("5.c"), 5, 1, drawCoilCooling()},
        {QStringLiteral("Done"), QStringLiteral("6.c"), 6, 1, drawDone()},
    };
}

} // namespace standin
