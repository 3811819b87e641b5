#pragma once

#include "bootload/ImageFile.h"
#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

/// An image of a set: where it comes from and what the program makes of it.
struct SetImage
{
    QString file;
    ImageFile content; ///< number and version from the manifest
};

/// A release set as the program would send it.
struct ReleaseSet
{
    QString version;
    QList<SetImage> images; ///< in the manifest's order; a missing one is there without bytes
    QByteArray firmware;
    QByteArray startAddress; ///< the bytes of "Address.bin"
};

/// Reads the set in the folder `directory` and checks it whole; what is wrong goes to `findings`.
[[nodiscard]] ReleaseSet readReleaseSet(const QString& directory, Findings& findings);

} // namespace releaseset
