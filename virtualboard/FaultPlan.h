#pragma once

#include "virtualboard/Time.h"

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

enum class FaultKind {
    DropCommand,
    CorruptCommand,
    Garbage,
    LongLine,
    Announce,
    Restart,
    Silence,
    Unplug,
    DropReply,
    DelayReply,
    DoubleReply,
    SplitReply,
    JoinLines,
};

/// Reads a time of a day at most: "2s", "1.5ms", "20us", or a bare number in `plainUnit`. None when
/// it is not understood.
[[nodiscard]] std::optional<Time> readTime(std::string_view text, std::string_view plainUnit = {});

/// One line of a fault plan.
struct FaultRule
{
    FaultKind kind = FaultKind::DropCommand;
    std::string text; ///< as it was written
    std::optional<unsigned long> at; ///< applies at this occasion, the first being 1
    double rate = 0; ///< applies at any occasion with this probability
    unsigned long times = 0; ///< how often at most; 0 is without limit
    std::string word; ///< only at lines of this word, and fields ("FACK,262"); empty: at any
    std::optional<unsigned long> board; ///< only at that one of several, from 0; none: at each
    std::optional<Time> length; ///< of a delay, gap, silence or unplugging; none: for good
    unsigned long size = 0; ///< bytes of garbage or of a long line, lines to join

    /// Reads one line, e.g. "drop-reply at=120" or "drop-command rate=0.2% word=D".
    /// None when it is not understood; `error` then says why.
    [[nodiscard]] static std::optional<FaultRule> parse(std::string_view text, std::string& error);

    /// True when the occasions that it counts are replies; otherwise they are received commands.
    [[nodiscard]] bool isAboutReplies() const { return kind >= FaultKind::DropReply; }
};

/// The faults of one board. Its random numbers are the same again for the same seed.
class FaultPlan
{
public:
    FaultPlan(std::vector<FaultRule> rules, std::uint64_t seed);

    /// The rules that apply to a command that was received: its line without the "$".
    [[nodiscard]] std::vector<FaultRule> atCommand(std::string_view line);
    /// The rules that apply to a reply that is to leave: its line without the "$".
    [[nodiscard]] std::vector<FaultRule> atReply(std::string_view line);
    /// A random number from 0 to `limit` - 1; `limit` must be above 0.
    [[nodiscard]] std::uint64_t randomBelow(std::uint64_t limit);

private:
    struct Entry
    {
        FaultRule rule;
        unsigned long occasions = 0;
        unsigned long applied = 0;
    };

    std::vector<FaultRule> occasion(std::string_view line, bool reply);
    bool applies(Entry& entry);

    std::vector<Entry> m_entries;
    std::mt19937_64 m_random;
};

} // namespace vboard
