#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the run as a finding, with `what` on the error output, unless `holds`.
inline void expect(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}
