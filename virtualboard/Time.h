#pragma once

#include <chrono>

namespace vboard {

/// A point in the board's life or a length of time: microseconds, counted from switching it on.
using Time = std::chrono::microseconds;

using namespace std::chrono_literals;

} // namespace vboard
