#pragma once

#include "virtualboard/LineReader.h"
#include "virtualboard/Time.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vboard {

/// The phases of a job, in their order.
enum class Phase {
    FirstLine,
    Captured,
    FirmwareBegin,
    FirmwareEnd,
    ImagesBegin,
    ImagesEnd,
    Finished
};
inline constexpr std::size_t kPhases = 7;
/// A phase's name in reports.
[[nodiscard]] const char* phaseName(Phase phase);

/// What was received and sent on a board's line.
struct Statistics
{
    struct Count
    {
        unsigned long lines = 0;
        unsigned long repeated = 0; ///< equal to the line before
    };

    std::map<std::string, Count> received; ///< by command word, checksum right or none
    std::map<std::string, unsigned long> sent; ///< by word
    std::map<std::string, unsigned long> rulesBroken; ///< by what was wrong
    unsigned long badChecksums = 0;
    unsigned long bytesReceived = 0;
    unsigned long bytesSent = 0;
    unsigned long bytesAtWrongRate = 0;
    unsigned long pagesErased = 0;
    unsigned long pagesProgrammed = 0;
    unsigned long imagesRefused = 0;
    unsigned long imageErasures = 0;
    LineReader::StrayInput strayInput;
    /// From the last byte of a reply to the first byte of the next line.
    std::vector<Time> turnarounds;
    std::array<std::optional<Time>, kPhases> phases;

    /// Counts a good line, `line`, with the command word `word`.
    void count(const std::string& word, const std::string& line, Time now);
    /// Counts the line that answers it, `body` without "$".
    void countReply(const std::string& body, Time now);

    [[nodiscard]] std::optional<Time> phase(Phase phase) const;
    /// The turnaround below which `share` (0 to 1) of all are; none without turnarounds.
    [[nodiscard]] std::optional<Time> turnaround(double share) const;

private:
    void reach(Phase phase, Time now);
    void pass(Phase phase, Time now);

    std::string m_lastLine;
};

} // namespace vboard
