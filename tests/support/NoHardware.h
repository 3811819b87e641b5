#pragma once

#include <chrono>

/// How long the program would have slept since the last call; with NoHardware.cpp no time passes.
[[nodiscard]] std::chrono::microseconds takeSlept();
