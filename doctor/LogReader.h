#pragma once

#include "doctor/Course.h"

class QIODevice;

namespace doctor {

/// Reads the updater's log from `device`, which is open for reading, to its end; in as much memory
/// as a line takes. True and what it tells in `course`; or false and in `error` a sentence for the
/// user: it is empty, no text, another program's, or cannot be read. A log that is cut is told as
/// far as it goes, and so is one that is not read on because the thread's interruption was
/// requested.
[[nodiscard]] bool readLog(QIODevice& device, Course& course, QString& error);

} // namespace doctor
