#pragma once

#include <QByteArray>
#include <QList>

/// The sources of the images of the set that the program is built with, in the manifest's order.
/// Throws std::runtime_error when one cannot be read.
[[nodiscard]] QList<QByteArray> imageSources();

/// Bytes of all of them.
[[nodiscard]] qint64 totalSize(const QList<QByteArray>& sources);

/// The floor of reading an image: looks at each character of `source` once, takes digits together
/// and stores a byte at each comma. It knows nothing of an image but that, and checks nothing.
/// Returns the bytes that it has stored in `out`, which has room for one per three characters.
qsizetype bareLoop(const QByteArray& source, QByteArray& out);
