#pragma once

#include "releaseset/Canvas.h"

#include <QString>

namespace releaseset {

/// How a text is set: sizes in eighths of a pixel.
struct TextStyle
{
    int capHeight = px(8); ///< height of a capital letter
    int penWidth = px(1.25);
    QRgb colour = qRgb(255, 255, 255);
    int tracking = 0; ///< added between two letters
};

/// The width of `text` from the first pen point to the last, in eighths of a pixel.
[[nodiscard]] int textWidth(const QString& text, const TextStyle& style);

/// Writes `text` with its baseline's left end at `baseline`. The letters are this program's own pen
/// strokes, so that a picture does not depend on the fonts of the machine that draws it. A
/// character that it does not have is drawn as a box.
void drawText(Canvas& canvas, QPoint baseline, const QString& text, const TextStyle& style);

/// As drawText, with the middle of the text at `baseline`.
void drawTextCentred(Canvas& canvas, QPoint baseline, const QString& text, const TextStyle& style);

/// As drawText, with the right end of the text at `baseline`.
void drawTextRight(Canvas& canvas, QPoint baseline, const QString& text, const TextStyle& style);

} // namespace releaseset
