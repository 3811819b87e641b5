#pragma once

#include "releaseset/Findings.h"
#include "releaseset/ReleaseSet.h"

#include <QByteArray>

namespace releaseset {

/// The set as a readable table in UTF-8, without the findings.
[[nodiscard]] QByteArray tableOf(const ReleaseSet& set);

/// The set and the findings as a JSON object, for scripts. Times are in milliseconds.
[[nodiscard]] QByteArray jsonOf(const ReleaseSet& set, const Findings& findings);

} // namespace releaseset
