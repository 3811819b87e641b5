#pragma once

#include "releaseset/ReleaseSet.h"

#include <QStringList>

namespace releaseset {

/// What changed from the set `before` to the set `after`, a line each: the set's version, the start
/// address, image by image (matched by number) and page by page of the firmware. Empty when both
/// sets send the same.
[[nodiscard]] QStringList differencesOf(const ReleaseSet& before, const ReleaseSet& after);

} // namespace releaseset
