#pragma once

#include <QList>
#include <QPolygon>

#include <string_view>

namespace releaseset {

/// Turns a drawing in the small pen language of the glyphs and pictograms into lines.
///
/// A drawing is a row of commands, each a letter followed by whole numbers:
///   M x y          lifts the pen and sets it down at (x, y); alone it is a dot
///   L x y          a straight line
///   h x y          a quarter of an ellipse that starts horizontally
///   v x y          a quarter of an ellipse that starts vertically
///   q cx cy x y    a curve towards (cx, cy) that ends at (x, y)
/// y grows downwards. A drawing that breaks off or holds another letter ends there.
///
/// `unit` and `perUnits` give the scale: `perUnits` units of the drawing are `unit` eighths of a
/// pixel. The drawing's (0, 0) comes to lie at `origin`.
[[nodiscard]] QList<QPolygon> strokesOf(
    std::string_view drawing, QPoint origin, int unit, int perUnits);

} // namespace releaseset
