#pragma once

#include "virtualboard/Time.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

/// Cuts what arrives on the board's receiver into lines.
///
/// A line begins at "$" and ends at a line feed. A line whose checksum has fewer than four digits
/// comes without one: it is taken as ended after kSilence without a byte, or at the next "$".
class LineReader
{
public:
    static constexpr Time kSilence = 3ms;
    /// The longest line that the board has room for, in bytes from the "$" on.
    static constexpr std::size_t kLongestLine = 2000;

    /// Received bytes that were no line.
    struct StrayInput
    {
        unsigned long strayBytes = 0; ///< before a "$"
        unsigned overlongLines = 0;
    };

    /// Takes bytes, the last of which arrived at `now`. Returns the lines that they complete, from
    /// the "$" on, without line feed or carriage return.
    [[nodiscard]] std::vector<std::string> take(std::string_view bytes, Time now);

    /// When a line without line feed will count as ended, if nothing more arrives.
    [[nodiscard]] std::optional<Time> due() const;
    /// The line that has ended by silence; none before due().
    [[nodiscard]] std::optional<std::string> endBySilence(Time now);

    /// Forgets a line that has begun.
    void reset();

    [[nodiscard]] const StrayInput& strayInput() const { return m_strayInput; }

private:
    void takeByte(char byte, std::vector<std::string>& lines);
    [[nodiscard]] bool hasChecksum() const;

    std::string m_line; // empty outside a line
    Time m_lastByte{};
    StrayInput m_strayInput;
};

} // namespace vboard
