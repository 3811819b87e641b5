#pragma once

#include "releaseset/Findings.h"
#include "releaseset/ReleaseSet.h"

#include <QStringList>

namespace releaseset {

/// What changed from the set `before` to the set `after`, a line each: the set's version, the start
/// address, image by image (matched by number) and page by page of the firmware. Empty when both
/// sets send the same.
[[nodiscard]] QStringList differencesOf(const ReleaseSet& before, const ReleaseSet& after);

/// An error for each image of `after` that has other pixels or another size than in `before`, its
/// number and version being the same: a board that has that version does not take it.
void checkImageVersions(const ReleaseSet& before, const ReleaseSet& after, Findings& findings);

} // namespace releaseset
