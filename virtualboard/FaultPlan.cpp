#include "virtualboard/FaultPlan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <sstream>

namespace vboard {

namespace {

struct Row
{
    const char* name;
    FaultKind kind;
    std::optional<Time> length; // when the line does not say
    unsigned long size;
};

constexpr std::array kRows{
    Row{"drop-command", FaultKind::DropCommand, {}, 0},
    Row{"corrupt-command", FaultKind::CorruptCommand, {}, 0},
    Row{"garbage", FaultKind::Garbage, {}, 200},
    Row{"long-line", FaultKind::LongLine, {}, 3000},
    Row{"announce", FaultKind::Announce, {}, 0},
    Row{"restart", FaultKind::Restart, {}, 0},
    Row{"silence", FaultKind::Silence, {}, 0},
    Row{"unplug", FaultKind::Unplug, {}, 0},
    Row{"drop-reply", FaultKind::DropReply, {}, 0},
    Row{"delay-reply", FaultKind::DelayReply, 300ms, 0},
    Row{"double-reply", FaultKind::DoubleReply, 0ms, 0},
    Row{"split-reply", FaultKind::SplitReply, 1ms, 0},
    Row{"join-lines", FaultKind::JoinLines, {}, 3},
};

constexpr unsigned long kLargestSize = 1'000'000;
constexpr Time kLongestTime = 24h;

template <typename Number>
bool readNumber(std::string_view text, Number& number, std::string_view& unit)
{
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    unit = std::string_view(rest, static_cast<std::size_t>(end - rest));
    return error == std::errc();
}

bool readCount(std::string_view text, unsigned long& count)
{
    std::string_view unit;
    return readNumber(text, count, unit) && unit.empty() && count > 0 && count <= kLargestSize;
}

bool readIndex(std::string_view text, std::optional<unsigned long>& index)
{
    std::string_view unit;
    return readNumber(text, index.emplace(), unit) && unit.empty() && *index <= kLargestSize;
}

bool readRate(std::string_view text, double& rate)
{
    std::string_view unit;
    if (!readNumber(text, rate, unit) || (unit != "%" && !unit.empty()))
        return false;
    if (unit == "%")
        rate /= 100;
    return rate > 0 && rate <= 1;
}

bool readSetting(std::string_view name, std::string_view value, FaultRule& rule)
{
    if (name == "at")
        return readCount(value, rule.at.emplace());
    if (name == "rate")
        return readRate(value, rule.rate);
    if (name == "times")
        return readCount(value, rule.times);
    if (name == "for" || name == "by" || name == "gap")
        return (rule.length = readTime(value)).has_value();
    if (name == "bytes" || name == "lines")
        return readCount(value, rule.size);
    if (name == "board")
        return readIndex(value, rule.board);
    if (name == "word") {
        rule.word = value;
        return !value.empty();
    }
    return false;
}

/// True when `line`, without its "$", begins with the word of `rule` and the fields after it.
bool isMeant(const FaultRule& rule, std::string_view line)
{
    const std::size_t size = rule.word.size();
    if (size == 0)
        return true;
    return line.starts_with(rule.word)
        && (line.size() == size || line[size] == ',' || line[size] == '*');
}

} // namespace

std::optional<Time> readTime(std::string_view text, std::string_view plainUnit)
{
    std::string_view unit;
    double value = 0;
    if (!readNumber(text, value, unit) || !(value >= 0))
        return std::nullopt;
    if (unit.empty())
        unit = plainUnit;
    const double factor = unit == "s" ? 1e6 : unit == "ms" ? 1e3 : unit == "us" ? 1 : 0;
    if (factor == 0 || value * factor > static_cast<double>(kLongestTime.count()))
        return std::nullopt;
    return Time(std::llround(value * factor));
}

std::optional<FaultRule> FaultRule::parse(std::string_view text, std::string& error)
{
    std::istringstream words{std::string(text)};
    std::string name;
    words >> name;
    const auto row = std::find_if(
        kRows.begin(), kRows.end(), [&](const Row& candidate) { return name == candidate.name; });
    if (row == kRows.end()) {
        error = "there is no fault \"" + name + '"';
        return std::nullopt;
    }
    FaultRule rule;
    rule.kind = row->kind;
    rule.text = text;
    rule.length = row->length;
    rule.size = row->size;
    for (std::string setting; words >> setting;) {
        const std::size_t equals = setting.find('=');
        const std::string value = equals == std::string::npos ? "" : setting.substr(equals + 1);
        if (!readSetting(setting.substr(0, equals), value, rule)) {
            error = std::string(name).append(": \"").append(setting).append("\" is not understood");
            return std::nullopt;
        }
    }
    if (rule.at.has_value() == (rule.rate > 0)) {
        error = name + ": needs either at=NUMBER or rate=PERCENT%";
        return std::nullopt;
    }
    return rule;
}

FaultPlan::FaultPlan(std::vector<FaultRule> rules, std::uint64_t seed) : m_random(seed)
{
    for (FaultRule& rule : rules)
        m_entries.push_back({std::move(rule)});
}

std::vector<FaultRule> FaultPlan::atCommand(std::string_view line)
{
    return occasion(line, false);
}

std::vector<FaultRule> FaultPlan::atReply(std::string_view line)
{
    return occasion(line, true);
}

std::uint64_t FaultPlan::randomBelow(std::uint64_t limit)
{
    return m_random() % limit;
}

std::vector<FaultRule> FaultPlan::occasion(std::string_view line, bool reply)
{
    std::vector<FaultRule> applied;
    for (Entry& entry : m_entries) {
        if (isMeant(entry.rule, line) && entry.rule.isAboutReplies() == reply && applies(entry))
            applied.push_back(entry.rule);
    }
    return applied;
}

bool FaultPlan::applies(Entry& entry)
{
    ++entry.occasions;
    if (entry.rule.times > 0 && entry.applied >= entry.rule.times)
        return false;
    // Standard libraries differ in their distributions; this gives the same numbers everywhere.
    constexpr std::uint64_t kSteps = 1U << 30U;
    const bool hit = entry.rule.at
        ? entry.occasions == *entry.rule.at
        : static_cast<double>(randomBelow(kSteps)) < entry.rule.rate * static_cast<double>(kSteps);
    if (hit)
        ++entry.applied;
    return hit;
}

} // namespace vboard
