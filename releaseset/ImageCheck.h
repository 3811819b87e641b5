#pragma once

#include "bootload/ImageFile.h"
#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

/// Reads the image source `text` with the updater's own parser and notes where that differs from
/// what the source says to a C compiler, or why it cannot be sent. `file` names it in the findings;
/// `path` names it in the command that mends it. Number and version of the result are 0.
[[nodiscard]] ImageFile readImage(
    const QString& file, const QString& path, const QByteArray& text, Findings& findings);

} // namespace releaseset
