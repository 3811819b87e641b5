#pragma once

#include "doctor/Course.h"

#include <QImage>

namespace doctor {

/// The course over time: the page and the image that every port was at, a mark where a line was
/// sent again, and where it stands. `size` in pixels, at least 320 by 200. Needs a
/// QGuiApplication, for the letters.
[[nodiscard]] QImage pictureOf(const Course& course, QSize size);

} // namespace doctor
