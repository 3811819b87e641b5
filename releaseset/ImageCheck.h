#pragma once

#include "bootload/ImageFile.h"
#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

/// Reads the image source `text` with the updater's own parser and notes where the result differs
/// from what a C compiler would read, or why it cannot be sent. `file` names it in the findings;
/// `path` names it in the command that mends it. Number and version of the result are 0.
[[nodiscard]] ImageFile readImage(
    const QString& file, const QString& path, const QByteArray& text, Findings& findings);

} // namespace releaseset
