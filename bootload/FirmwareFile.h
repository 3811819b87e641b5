#pragma once

#include "bootload/Wire.h"

#include <QFile>

#include <array>

/// The bytes of one data line.
using DataLineBytes = std::array<char, kDataLineSize>;

/// The firmware bytes for flash address `address`, which is their offset in `file`. Where the file
/// has none, because it ends or is not open, they are those of erased flash.
[[nodiscard]] DataLineBytes readFirmware(QFile& file, qint64 address);
