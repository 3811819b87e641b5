#pragma once

#include "bootload/ImageFile.h"
#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

/// The largest width and height: what three hexadecimal digits of a header line hold.
inline constexpr int kMaxExtent = 0xFFF;

/// Reads the image source `text` with the program's own parser and notes everything that makes the
/// result other than what the source says, or an image that cannot be sent. `file` names it in the
/// findings. Number and version of the result are 0.
[[nodiscard]] ImageFile readImage(const QString& file, const QByteArray& text, Findings& findings);

} // namespace releaseset
