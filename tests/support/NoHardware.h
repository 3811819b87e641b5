#pragma once

#include <chrono>

/// How long the program would have slept since the last call; NoHardware.cpp lets no time pass.
[[nodiscard]] std::chrono::microseconds takeSlept();
