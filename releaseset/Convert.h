#pragma once

#include "releaseset/Rgb565.h"

#include <QString>

namespace releaseset {

/// What `release-set convert` was asked for.
struct Conversion
{
    QString input;
    QString output;
    QString name; ///< title of the symbol; empty takes the input's file name
    Dither dither = Dither::None;
};

/// Converts between a picture and the C-source form of an image, by the two files' endings: ".c" is
/// the C source, everything else a picture format that Qt knows. From C source to C source writes
/// the plain form. Returns what went wrong, naming the file, or an empty text.
[[nodiscard]] QString convert(const Conversion& conversion);

} // namespace releaseset
