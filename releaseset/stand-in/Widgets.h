#pragma once

#include "releaseset/Canvas.h"
#include "releaseset/StrokeFont.h"

#include <QString>

#include <string_view>

// The parts that the stand-in screens have in common, so that they look like one machine's.
namespace standin {

namespace colour {
inline constexpr QRgb kNight = qRgb(25, 18, 37); ///< the background
inline constexpr QRgb kPanel = qRgb(50, 40, 70);
inline constexpr QRgb kPanelDeep = qRgb(38, 30, 54);
inline constexpr QRgb kTrack = qRgb(68, 57, 90);
inline constexpr QRgb kText = qRgb(247, 242, 234);
inline constexpr QRgb kMuted = qRgb(172, 160, 190);
inline constexpr QRgb kEmber = qRgb(255, 132, 32);
inline constexpr QRgb kEmberDeep = qRgb(214, 74, 26);
inline constexpr QRgb kGlow = qRgb(255, 206, 92);
inline constexpr QRgb kGreen = qRgb(88, 204, 130);
inline constexpr QRgb kGreenDeep = qRgb(34, 138, 88);
inline constexpr QRgb kTeal = qRgb(76, 196, 206);
inline constexpr QRgb kRed = qRgb(232, 66, 62);
inline constexpr QRgb kRedDeep = qRgb(170, 32, 44);
inline constexpr QRgb kBrass = qRgb(222, 178, 92);
inline constexpr QRgb kBrassDeep = qRgb(150, 106, 44);
} // namespace colour

/// Text sizes of the screens.
[[nodiscard]] releaseset::TextStyle headline(QRgb ink = colour::kText);
[[nodiscard]] releaseset::TextStyle body(QRgb ink = colour::kText);
[[nodiscard]] releaseset::TextStyle small(QRgb ink = colour::kMuted);

/// Pictograms, in the pen language of releaseset/Strokes.h on a field of 24 by 24 units.
namespace pictogram {
inline constexpr std::string_view kFlame
    = "M12 1 q20 9 19 15 v12 22 h5 15 q5 11 8 8 q8 12 11 13 q14 8 12 1";
inline constexpr std::string_view kList = "M4 6 M9 6 L21 6 M4 12 M9 12 L21 12 M4 18 M9 18 L21 18";
inline constexpr std::string_view kSliders
    = "M5 3 L5 21 M12 3 L12 21 M19 3 L19 21 M2 8 L8 8 M9 16 L15 16 M16 10 L22 10";
inline constexpr std::string_view kWrench
    = "M17 3 L14 7 L17 10 L21 7 q22 14 15 14 L7 21 q3 21 3 17 L10 9 q10 2 17 3";
inline constexpr std::string_view kBack = "M14 5 L7 12 L14 19";
inline constexpr std::string_view kForward = "M9 5 L16 12 L9 19";
inline constexpr std::string_view kCheck = "M4 13 L10 19 L21 6";
inline constexpr std::string_view kClock = "M2 12 v12 2 h22 12 v12 22 h2 12 M12 6 L12 12 L16 15";
} // namespace pictogram

/// Draws a pictogram into the square of `side` whose top left corner is at `corner`.
void drawPictogram(releaseset::Canvas& canvas, QPoint corner, int side, std::string_view drawing,
    int penWidth, QRgb ink);

/// The head of a screen: its title, a pictogram before it and a rule below.
void drawHeader(
    releaseset::Canvas& canvas, const QString& title, std::string_view drawing, QRgb ink);

/// A pill with `text` that ends at the right margin of the head.
void drawBadge(releaseset::Canvas& canvas, const QString& text, QRgb ink);

/// A card of the usual look.
void drawCard(releaseset::Canvas& canvas, const QRect& rect);

/// A horizontal gauge that is filled by `percent`, from `from` on the left to `to` on the right.
void drawGauge(releaseset::Canvas& canvas, const QRect& rect, int percent, QRgb from, QRgb to);

/// A ring around `centre`, `percent` of it lit clockwise from the top.
void drawRing(releaseset::Canvas& canvas, QPoint centre, int radius, int width, int percent,
    QRgb from, QRgb to);

/// An upright bottlenecked cartridge case, `height` high, standing with the middle of its foot at
/// `foot`. `heat` (0 to 100) makes its neck glow.
void drawCase(releaseset::Canvas& canvas, QPoint foot, int height, int heat);

/// The turns of an induction coil around a column at `x`, from `top` to `bottom`; the front half of
/// each turn only, so that what stands inside shows between.
void drawCoil(releaseset::Canvas& canvas, int x, int top, int bottom, int halfWidth, QRgb ink);

} // namespace standin
