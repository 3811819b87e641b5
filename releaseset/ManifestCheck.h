#pragma once

#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

/// The largest value of a header line's two-digit field: an image's number or version.
inline constexpr int kMaxNumber = 0xFF;

/// Notes everything in `text`, the content of the manifest, that the updater would read as a
/// default or ignore silently. Agrees with docs/manifest.schema.json, except that a schema
/// cannot compare the numbers of two images.
void checkManifest(const QByteArray& text, Findings& findings);

/// Whether `fileName`, relative to a set's folder, names something outside of it.
[[nodiscard]] bool leadsOut(const QString& fileName);

} // namespace releaseset
