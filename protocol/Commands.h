#pragma once

#include "protocol/Line.h"

namespace protocol {

/// \file
/// What the program sends to the display board: the words, sizes, addresses and speeds, and every
/// line that has more than its word.

/// Speed of the board's application, and of its bootloader, in baud.
inline constexpr qint32 kApplicationBaudRate = 19200;
inline constexpr qint32 kBootloaderBaudRate = 921600;

/// Bits on the line for a byte: start bit, eight data bits, stop bit.
inline constexpr qint64 kBitsPerByte = 10;

/// Firmware: first and last address that is written, bytes of a page and of a data line.
inline constexpr qint32 kFirmwareStart = 0x1000;
inline constexpr qint32 kFirmwareLast = 0xDFFFF;
inline constexpr qint32 kPageSize = 0x1000;
inline constexpr qint32 kDataLineSize = 64;

/// Bytes of an image in one block line.
inline constexpr qint32 kBlockSize = 256;

// To the application.
inline constexpr QByteArrayView kAskMainVersion{"$MVER"}; // answered by its version
inline constexpr QByteArrayView kAskSecondVersion{"$SVER"}; // the same for its second part
inline constexpr QByteArrayView kEnterBootloader{"$BOOTLOADM"}; // the bootloader announces itself

// To the bootloader.
inline constexpr QByteArrayView kCapture{"$G"}; // the only one without a checksum
inline constexpr QByteArrayView kEraseImages{"$A,1"}; // all of them
inline constexpr QByteArrayView kExit{"$X"}; // back to the application

/// Erases the page at flash address `page`.
[[nodiscard]] Line erasePageLine(qint32 page);

/// Erases from `startAddress` on; the second field stays empty.
[[nodiscard]] Line eraseFromLine(qint32 startAddress);

/// Carries `bytes` for flash address `address`; the line gives the offset within the page.
[[nodiscard]] Line dataLine(qint32 address, QByteArrayView bytes);

/// Programs the page at flash address `page` with the bytes of its data lines.
[[nodiscard]] Line programPageLine(qint32 page);

/// Lets the board check the whole firmware.
[[nodiscard]] Line checkFirmwareLine();

/// Announces image `number` in `version`, of `width` by `height` pixels.
[[nodiscard]] Line imageLine(int number, int version, int width, int height);

/// Carries block `number` of an image, counted from 0: `bytes`, at most `kBlockSize`.
[[nodiscard]] Line blockLine(qint32 number, QByteArrayView bytes);

} // namespace protocol
