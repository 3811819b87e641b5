#pragma once

#include "releaseset/ReleaseSet.h"

#include <chrono>

namespace releaseset {

/// What makes up the time of a whole job, the update of software and images, on a board that
/// answers at once. The board's own times for starting, erasing and programming come on top.
struct JobTime
{
    std::chrono::milliseconds fixedWaits{0}; ///< the steps that the session waits through
    qint64 exchanges = 0; ///< lines that are answered before the next one leaves
    qint64 bytesOut = 0; ///< at the bootloader's speed
    qint64 bytesBack = 0;
    qint64 unended = 0; ///< lines without a line feed, after which the board waits for silence

    /// The time on the wire, both ways.
    [[nodiscard]] std::chrono::milliseconds onTheWire() const;

    /// The time the board waits for the end of lines without a line feed.
    [[nodiscard]] std::chrono::milliseconds silence() const;

    /// The whole job with an adapter that keeps each answer for `latency`.
    [[nodiscard]] std::chrono::milliseconds total(std::chrono::milliseconds latency) const;
};

[[nodiscard]] JobTime jobTimeOf(const ReleaseSet& set);

} // namespace releaseset
