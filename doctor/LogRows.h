#pragma once

#include "doctor/Course.h"
#include "doctor/Row.h"

namespace doctor {

/// What `course` tells in about ten rows: program and set, job, how far each port came and how it
/// ended, answer times, lines sent again, answers passed over; last, what to do.
[[nodiscard]] QList<Row> rowsOf(const Course& course);

} // namespace doctor
