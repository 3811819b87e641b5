#pragma once

#include "virtualboard/Time.h"

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace vboard {

/// What a log of the updater shows of a port at a time.
struct RecordedEvent
{
    enum class What {
        Opened, ///< a job's dialog opened
        Sent, ///< a line left for the board
        Answered, ///< a line came from it
        Gone, ///< the adapter was unplugged
        Closed, ///< the job's dialog was closed
    };

    What what = What::Opened;
    Time at{}; ///< counted from anywhere; the same for all when the log has no times
    std::string text; ///< the line without line feed; at Opened what the log says of the job
    std::size_t logLine = 0; ///< its number in the log, the first being 1
};

/// The course of one port.
struct RecordedPort
{
    std::string name; ///< as in the log: letters, digits, "_", "-", "." within
    std::vector<RecordedEvent> events; ///< in their order; begins with Opened, or is empty
    bool refused = false; ///< the last that the log says of it: it did not open
    std::vector<std::size_t> leftOut; ///< log lines where it did not open, and a later job's did
};

/// What is played again of a log that the updater wrote, with times or without.
struct RecordedLog
{
    std::vector<RecordedPort> ports; ///< in the order of the log

    /// Reads what `log` has; a last line without its end is not taken. None when nothing in it is
    /// the updater's.
    [[nodiscard]] static std::optional<RecordedLog> read(std::istream& log);
};

} // namespace vboard
