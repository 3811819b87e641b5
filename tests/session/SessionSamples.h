#pragma once

#include "tests/session/SessionFixture.h"

// What several tests give a session and expect of it, made for the small release set.

/// The headers of the small set's images, in the order of its manifest.
inline constexpr const char* kHeaderA = "$I,00,01,12C,01";
inline constexpr const char* kHeaderB = "$I,03,02,10,08";
inline constexpr const char* kHeaderC = "$I,11,0A,04,02";

/// What the dialog's log says when the erasing of the images is asked for.
inline constexpr QLatin1StringView kEraseText{
    "Send Erase All messages Command takes around 20 seconds"};

/// The fields of a session in the middle of everything, with `changes`: what is done to it shows
/// what it leaves alone.
[[nodiscard]] SessionFields somewhere(const SessionFields& changes);

/// Two digits or more, in upper case.
[[nodiscard]] QByteArray hexByte(int value);

/// The lines of all blocks of `pixels`.
[[nodiscard]] QByteArrayList blockLines(const QByteArray& pixels);

/// The line of the block `number` of the small set's image `image`.
[[nodiscard]] QByteArray blockLine(int number, int image);

/// The data line for `offset`, in hexadecimal, of erased flash: what a session sends that has no
/// firmware file.
[[nodiscard]] QByteArray erasedLine(const QByteArray& offset);
