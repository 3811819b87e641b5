#pragma once

#include <QtGlobal>

/// \file
/// What this process holds at the moment.

/// Open file descriptors.
[[nodiscard]] int openDescriptors();

/// Lock files of serial ports whose name contains `portName`.
[[nodiscard]] int portLocks(const char* portName);

/// True under valgrind's memcheck, where allocatedBytes() is exact. Elsewhere it counts what the
/// allocator keeps for later as well, which creeps by some bytes a dialog.
[[nodiscard]] bool countsEveryBlock();

/// Bytes that are allocated; 0 where a sanitizer has put its own allocator in place.
[[nodiscard]] qint64 allocatedBytes();
