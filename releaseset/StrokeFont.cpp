#include "releaseset/StrokeFont.h"

#include "releaseset/Strokes.h"

#include <algorithm>
#include <array>

namespace releaseset {

namespace {

/// Capital letters are 20 units high; their top is at y 0, the baseline at 20.
constexpr int kCapUnits = 20;
constexpr int kLetterGap = 6;
constexpr int kSpaceWidth = 5;

struct Glyph
{
    char16_t character;
    int width;
    std::string_view drawing;
};

constexpr std::array kGlyphs = {
    Glyph{u'A', 14, "M0 20 L7 0 L14 20 M2 14 L12 14"},
    Glyph{u'B', 12, "M0 10 L7 10 h12 15 v7 20 L0 20 L0 0 L6 0 h11 5 v6 10"},
    Glyph{u'C', 12, "M12 6 v6 0 h0 6 L0 14 v6 20 h12 14"},
    Glyph{u'D', 12, "M0 0 L5 0 h12 7 L12 13 v5 20 L0 20 L0 0"},
    Glyph{u'E', 10, "M10 0 L0 0 L0 20 L10 20 M0 10 L9 10"},
    Glyph{u'F', 10, "M10 0 L0 0 L0 20 M0 10 L9 10"},
    Glyph{u'G', 12, "M12 6 v6 0 h0 6 L0 14 v6 20 h12 14 L12 11 L7 11"},
    Glyph{u'H', 12, "M0 0 L0 20 M12 0 L12 20 M0 10 L12 10"},
    Glyph{u'I', 0, "M0 0 L0 20"},
    Glyph{u'J', 8, "M8 0 L8 15 v4 20 h0 16"},
    Glyph{u'K', 12, "M0 0 L0 20 M11 0 L0 12 M4 8 L12 20"},
    Glyph{u'L', 10, "M0 0 L0 20 L10 20"},
    Glyph{u'M', 14, "M0 20 L0 0 L7 12 L14 0 L14 20"},
    Glyph{u'N', 12, "M0 20 L0 0 L12 20 L12 0"},
    Glyph{u'O', 12, "M0 6 v6 0 h12 6 L12 14 v6 20 h0 14 L0 6"},
    Glyph{u'P', 12, "M0 20 L0 0 L7 0 h12 5 L12 6 v7 11 L0 11"},
    Glyph{u'Q', 12, "M0 6 v6 0 h12 6 L12 14 v6 20 h0 14 L0 6 M8 15 L13 21"},
    Glyph{u'R', 12, "M0 20 L0 0 L7 0 h12 5 L12 6 v7 11 L0 11 M6 11 L12 20"},
    Glyph{u'S', 12, "M12 5 v7 0 L5 0 h0 5 v5 10 L7 10 h12 15 v7 20 L5 20 h0 15"},
    Glyph{u'T', 12, "M0 0 L12 0 M6 0 L6 20"},
    Glyph{u'U', 12, "M0 0 L0 14 v6 20 h12 14 L12 0"},
    Glyph{u'V', 14, "M0 0 L7 20 L14 0"},
    Glyph{u'W', 18, "M0 0 L4 20 L9 4 L14 20 L18 0"},
    Glyph{u'X', 12, "M0 0 L12 20 M12 0 L0 20"},
    Glyph{u'Y', 12, "M0 0 L6 10 L12 0 M6 10 L6 20"},
    Glyph{u'Z', 12, "M0 0 L12 0 L0 20 L12 20"},
    Glyph{u'a', 10, "M10 6 L10 20 M10 11 v5 6 h0 11 L0 15 v5 20 h10 15"},
    Glyph{u'b', 10, "M0 0 L0 20 M0 11 v5 6 h10 11 L10 15 v5 20 h0 15"},
    Glyph{u'c', 10, "M10 10 v5 6 h0 11 L0 15 v5 20 h10 16"},
    Glyph{u'd', 10, "M10 0 L10 20 M10 11 v5 6 h0 11 L0 15 v5 20 h10 15"},
    Glyph{u'e', 10, "M0 13 L10 13 L10 11 v5 6 h0 11 L0 15 v5 20 h9 17"},
    Glyph{u'f', 7, "M7 0 h3 4 L3 20 M0 7 L7 7"},
    Glyph{u'g', 10, "M10 6 L10 21 v5 26 L1 26 M10 11 v5 6 h0 11 L0 15 v5 20 h10 15"},
    Glyph{u'h', 10, "M0 0 L0 20 M0 11 v5 6 h10 11 L10 20"},
    Glyph{u'i', 0, "M0 6 L0 20 M0 1"},
    Glyph{u'j', 2, "M2 6 L2 23 v-1 26 M2 1"},
    Glyph{u'k', 10, "M0 0 L0 20 M9 6 L0 14 M3 12 L10 20"},
    Glyph{u'l', 3, "M0 0 L0 17 v3 20"},
    Glyph{u'm', 16, "M0 6 L0 20 M0 10 v4 6 h8 10 L8 20 M8 10 v12 6 h16 10 L16 20"},
    Glyph{u'n', 10, "M0 6 L0 20 M0 11 v5 6 h10 11 L10 20"},
    Glyph{u'o', 10, "M0 11 v5 6 h10 11 L10 15 v5 20 h0 15 L0 11"},
    Glyph{u'p', 10, "M0 6 L0 26 M0 11 v5 6 h10 11 L10 15 v5 20 h0 15"},
    Glyph{u'q', 10, "M10 6 L10 26 M10 11 v5 6 h0 11 L0 15 v5 20 h10 15"},
    Glyph{u'r', 6, "M0 6 L0 20 M0 11 v5 6 L6 6"},
    Glyph{u's', 9, "M9 9 v6 6 L4 6 h0 9 v4 13 L5 13 h9 16 v5 20 L3 20 h0 17"},
    Glyph{u't', 7, "M3 1 L3 16 v7 20 M0 6 L7 6"},
    Glyph{u'u', 10, "M0 6 L0 15 v5 20 h10 15 M10 6 L10 20"},
    Glyph{u'v', 10, "M0 6 L5 20 L10 6"},
    Glyph{u'w', 16, "M0 6 L4 20 L8 8 L12 20 L16 6"},
    Glyph{u'x', 10, "M0 6 L10 20 M10 6 L0 20"},
    Glyph{u'y', 10, "M0 6 L5 20 M10 6 L3 26"},
    Glyph{u'z', 9, "M0 6 L9 6 L0 20 L9 20"},
    Glyph{u'0', 12, "M0 6 v6 0 h12 6 L12 14 v6 20 h0 14 L0 6"},
    Glyph{u'1', 12, "M3 4 L8 0 L8 20"},
    Glyph{u'2', 12, "M0 5 v6 0 h12 6 q12 9 10 11 L0 20 L12 20"},
    Glyph{u'3', 12, "M1 0 L12 0 L6 8 h12 14 v6 20 h0 15"},
    Glyph{u'4', 12, "M9 20 L9 0 L0 14 L12 14"},
    Glyph{u'5', 12, "M11 0 L1 0 L1 8 L6 8 h12 14 v6 20 h0 16"},
    Glyph{u'6', 12, "M10 0 q0 4 0 14 v6 20 h12 14 v6 8 h0 14"},
    Glyph{u'7', 12, "M0 0 L12 0 L4 20"},
    Glyph{u'8', 12, "M6 9 h1 4 v6 0 h11 4 v6 9 h12 14 v6 20 h0 14 v6 9"},
    Glyph{u'9', 12, "M2 20 q12 16 12 6 v6 0 h0 6 v6 12 h12 6"},
    Glyph{u'.', 0, "M0 20"},
    Glyph{u',', 1, "M1 19 L0 23"},
    Glyph{u':', 0, "M0 8 M0 18"},
    Glyph{u'-', 7, "M0 12 L7 12"},
    Glyph{u'+', 10, "M0 12 L10 12 M5 7 L5 17"},
    Glyph{u'=', 10, "M0 9 L10 9 M0 15 L10 15"},
    Glyph{u'/', 8, "M0 22 L8 0"},
    Glyph{u'%', 18, "M0 4 v4 0 h8 4 v4 8 h0 4 M15 0 L3 20 M10 16 v14 12 h18 16 v14 20 h10 16"},
    Glyph{u'\u00b0', 6, "M0 3 v3 0 h6 3 v3 6 h0 3"},
    Glyph{u'\u00d7', 8, "M0 8 L8 16 M8 8 L0 16"},
    Glyph{u'(', 4, "M4 0 q-3 11 4 23"},
    Glyph{u')', 4, "M0 0 q7 11 0 23"},
    Glyph{u'!', 0, "M0 0 L0 13 M0 20"},
    Glyph{u'_', 10, "M0 23 L10 23"},
    Glyph{u'\'', 0, "M0 0 L0 5"},
    Glyph{u'>', 7, "M0 6 L7 12 L0 18"},
    Glyph{u' ', kSpaceWidth, ""},
};

constexpr Glyph kUnknown{u'?', 10, "M0 0 L10 0 L10 20 L0 20 L0 0"};

const Glyph& glyphOf(QChar character)
{
    const auto found = std::ranges::find(kGlyphs, character.unicode(), &Glyph::character);
    return found == kGlyphs.end() ? kUnknown : *found;
}

int advance(const Glyph& glyph, const TextStyle& style)
{
    return (glyph.width + kLetterGap) * style.capHeight / kCapUnits + style.tracking;
}

} // namespace

int textWidth(const QString& text, const TextStyle& style)
{
    int width = 0;
    for (const QChar character : text)
        width += advance(glyphOf(character), style);
    return text.isEmpty() ? 0 : width - kLetterGap * style.capHeight / kCapUnits - style.tracking;
}

void drawText(Canvas& canvas, QPoint baseline, const QString& text, const TextStyle& style)
{
    QPoint pen = baseline - QPoint(0, style.capHeight);
    for (const QChar character : text) {
        const Glyph& glyph = glyphOf(character);
        for (const QPolygon& line : strokesOf(glyph.drawing, pen, style.capHeight, kCapUnits))
            canvas.stroke(line, style.penWidth, style.colour);
        pen.rx() += advance(glyph, style);
    }
}

void drawTextCentred(Canvas& canvas, QPoint baseline, const QString& text, const TextStyle& style)
{
    drawText(canvas, baseline - QPoint(textWidth(text, style) / 2, 0), text, style);
}

void drawTextRight(Canvas& canvas, QPoint baseline, const QString& text, const TextStyle& style)
{
    drawText(canvas, baseline - QPoint(textWidth(text, style), 0), text, style);
}

} // namespace releaseset
