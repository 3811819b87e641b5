#pragma once

#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

inline constexpr char16_t kManifestFile[] = u"settings.json";

/// The largest value of a header line's two-digit field: an image's number or version.
inline constexpr int kMaxNumber = 0xFF;

/// One entry of "Images" as the program reads it.
struct ManifestEntry
{
    QString key; ///< such as "Images[0]"
    QString fileName;
    int number = 0;
    int version = 0;
};

struct Manifest
{
    QList<ManifestEntry> images;
    QString version;
};

/// Reads the text of "settings.json" as the program does and notes everything that is wrong with
/// it. Agrees with docs/manifest.schema.json, except that a schema cannot tell two images with one
/// number.
[[nodiscard]] Manifest readManifest(const QByteArray& text, Findings& findings);

} // namespace releaseset
