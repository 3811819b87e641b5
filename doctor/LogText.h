#pragma once

#include "doctor/Course.h"

namespace doctor {

/// The words in which a course is told.

/// "06:41:10"; "an unknown time" where there is none.
[[nodiscard]] QString clockText(Moment moment);

/// "2026-11-22 at 06:41:10"; "an unknown time" where there is none.
[[nodiscard]] QString dayText(Moment moment);

/// "45 s", "2 min 12 s", "1 h 3 min".
[[nodiscard]] QString durationText(qint64 milliseconds);

/// Where `port` of `course` stands: "in page 17 of 223".
[[nodiscard]] QString placeText(const Course& course, const PortCourse& port);

} // namespace doctor
