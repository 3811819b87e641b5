#pragma once

#include "releaseset/ReleaseSet.h"

#include <QImage>

namespace releaseset {

/// A contact sheet of the set: every image in its own size, with its file, number, version and
/// size. An image that cannot be shown is an empty frame. A picture that is larger than the largest
/// cell is shrunk.
[[nodiscard]] QImage contactSheetOf(const ReleaseSet& set);

} // namespace releaseset
