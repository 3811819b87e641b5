#pragma once

#include <QString>

#include <cstdio>

namespace vboard {

/// Prints `text` as it is and at once.
inline void print(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
    std::fflush(stdout);
}

/// Prints a line about something that went wrong.
inline void complain(const QString& text)
{
    std::fprintf(stderr, "virtual-board: %s\n", text.toLocal8Bit().constData());
}

} // namespace vboard
