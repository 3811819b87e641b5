#pragma once

#include "bootload/CompiledSet.h"
#include "bootload/ImageFile.h"
#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

/// An image of a set: its file and what the updater reads from it.
struct SetImage
{
    QString file;
    ImageFile content; ///< number and version from the manifest
};

/// A release set as the updater would send it.
struct ReleaseSet
{
    QString version;
    QList<SetImage> images; ///< in the manifest's order; a missing one is there without bytes
    QByteArray firmware;
    quint32 startAddress = 0;

    /// `count` bytes of the firmware's flash from `address` on: those of erased flash where the
    /// firmware has none.
    [[nodiscard]] QByteArray flash(qsizetype address, qsizetype count) const
    {
        return firmware.mid(address, count).leftJustified(count, kErasedByte);
    }
};

/// `address` as the reports show it: "0x1400".
[[nodiscard]] QString addressText(qint64 address);

/// Reads the set in the folder `directory` and checks it whole; what is wrong goes to `findings`.
[[nodiscard]] ReleaseSet readReleaseSet(const QString& directory, Findings& findings);

} // namespace releaseset
