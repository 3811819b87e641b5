#pragma once

#include "releaseset/Findings.h"

#include <QByteArray>

namespace releaseset {

inline constexpr char16_t kFirmwareFile[] = u"fw1.bin";
inline constexpr char16_t kAddressFile[] = u"Address.bin";

/// How the pages of a firmware image are filled.
struct PageCounts
{
    qsizetype pages = 0; ///< of 4096 bytes, the first one and a broken last one included
    qsizetype allZero = 0;
    qsizetype allErased = 0; ///< every byte FF
};

[[nodiscard]] PageCounts countPages(const QByteArray& firmware);

/// Notes what is wrong with the firmware image.
void checkFirmware(const QByteArray& firmware, Findings& findings);

/// The start address as the program builds it from the bytes of "Address.bin": the fourth byte
/// comes to stand where the third does, and a byte of 80 or more fills the bits above it.
[[nodiscard]] quint32 builtStartAddress(const QByteArray& bytes);

/// Notes what is wrong with the bytes of "Address.bin".
void checkStartAddress(const QByteArray& bytes, Findings& findings);

} // namespace releaseset
