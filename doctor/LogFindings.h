#pragma once

#include "doctor/Causes.h"
#include "doctor/Course.h"

namespace doctor {

/// A cause, and what fills its row.
struct Finding
{
    Cause cause{};
    QStringList arguments;
};

/// How the job on `port` of `course` ended, or where it stands, and why.
[[nodiscard]] Finding endOf(const Course& course, const PortCourse& port);

/// All that `course` gives reason to do, the weightiest last; one at least. Ports with the same
/// cause are one finding.
[[nodiscard]] QList<Finding> findingsOf(const Course& course);

} // namespace doctor
