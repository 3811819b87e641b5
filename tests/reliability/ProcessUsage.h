#pragma once

#include <QtGlobal>

/// \file
/// What this process holds now.

/// Open file descriptors.
[[nodiscard]] int openDescriptors();

/// Lock files of serial ports whose name contains `portName`.
[[nodiscard]] int portLocks(const char* portName);

/// True under valgrind's memcheck, where allocatedBytes() is exact. Elsewhere it includes what the
/// allocator keeps for later, which grows by some bytes with each dialog.
[[nodiscard]] bool countsEveryBlock();

/// Bytes that are allocated; 0 where a sanitizer has replaced the allocator.
[[nodiscard]] qint64 allocatedBytes();
