#pragma once

#include <QByteArray>
#include <QSize>
#include <QString>

namespace releaseset {

/// The C-source form of an image: the array of byte literals, one row of pixels a line, followed by
/// the descriptor. `pixels` holds `size`.width × height × 2 bytes; `name` is the symbol, see
/// symbolName().
[[nodiscard]] QByteArray cSourceOf(const QByteArray& pixels, QSize size, const QString& name);

/// The symbol of an image: `title` with everything but ASCII letters, digits and "_" made "_",
/// followed by the size, such as "Menu_340x230". A title that starts with a digit gets a "_"
/// before.
[[nodiscard]] QString symbolName(const QString& title, QSize size);

} // namespace releaseset
