// Which line of the log a line of the program is, and what is said of it.

#include "virtualboard/ReplayedBoard.h"

#include <algorithm>
#include <utility>

namespace vboard {

namespace {

using What = RecordedEvent::What;

// The program's own tick: what it sends without an answer is as uncertain as that.
constexpr Time kTick = 500ms;

std::string atLogLine(const RecordedEvent& event)
{
    return "log line " + std::to_string(event.logLine);
}

/// Of a line the part around `position`, in quotes.
std::string excerpt(const std::string& line, std::size_t position)
{
    constexpr std::size_t kShown = 56;
    constexpr std::size_t kBefore = 24;
    if (line.size() <= kShown)
        return '"' + line + '"';
    const std::size_t from = position > kBefore ? position - kBefore : 0;
    std::string text = '"' + line.substr(from, kShown) + '"';
    if (from > 0)
        text = "..." + text;
    return from + kShown < line.size() ? text + "..." : text;
}

std::string contrast(const RecordedEvent& expected, const std::string& line)
{
    const auto [first, second]
        = std::mismatch(line.begin(), line.end(), expected.text.begin(), expected.text.end());
    const auto position = static_cast<std::size_t>(first - line.begin());
    return atLogLine(expected) + ": " + excerpt(expected.text, position) + " was expected, "
        + excerpt(line, position) + " came";
}

} // namespace

void ReplayedBoard::takeLine(const std::string& line, Time at)
{
    if (!m_difference.empty())
        return;
    m_jobPlayed = true;
    if (expectsLine() && m_recorded.events.at(m_next).text == line) {
        m_lastLine = m_next;
        m_lineAt = at;
        m_repeatedMore = false;
        ++m_linesPlayed;
        follow(m_next, at);
    } else if (!expectsLine()) {
        takeAfterJob(line, at);
    } else {
        takeUnexpected(line, at);
    }
}

void ReplayedBoard::takeUnexpected(const std::string& line, Time at)
{
    const auto& events = m_recorded.events;
    if (m_lastLine && !m_repeatedMore && events.at(*m_lastLine).text == line) {
        m_repeatedMore = true;
        m_notes.push_back(
            atLogLine(events.at(*m_lastLine)) + ": sent once more than then: " + excerpt(line, 0));
    } else if (!takeAfterMissingRepeat(line, at)) {
        differ(contrast(events.at(m_next), line));
    }
}

bool ReplayedBoard::takeAfterMissingRepeat(const std::string& line, Time at)
{
    const auto& events = m_recorded.events;
    const std::size_t missing = m_next;
    if (!m_lastLine || events.at(missing).text != events.at(*m_lastLine).text)
        return false;
    std::size_t following = missing + 1;
    while (following < events.size() && !isAnchor(following))
        ++following;
    if (following == events.size() || events.at(following).what != What::Sent
        || events.at(following).text != line)
        return false;
    m_notes.push_back(atLogLine(events.at(missing))
        + ": sent once fewer than then: " + excerpt(events.at(missing).text, 0));
    follow(missing, at);
    takeLine(line, at);
    return true;
}

void ReplayedBoard::takeAfterJob(const std::string& line, Time at)
{
    const auto& events = m_recorded.events;
    const bool again = m_lastLine && events.at(*m_lastLine).text == line;
    // A dialog that stays open for longer than the log's goes on by itself.
    if (!again && m_jobEnds && at + kTick < *m_jobEnds)
        differ(atLogLine(events.at(m_next - 1)) + ": the dialog was closed without another line, "
            + excerpt(line, 0) + " came");
    else
        ++m_linesAfterJob;
}

void ReplayedBoard::differ(std::string difference)
{
    if (!m_difference.empty())
        return;
    m_difference = std::move(difference);
    m_pending.clear();
}

std::string ReplayedBoard::missingLine(std::size_t from, std::size_t to) const
{
    const auto& events = m_recorded.events;
    for (std::size_t index = from; index < to; ++index) {
        // A dialog that is closed earlier than the log's repeats its last line less often.
        const bool repeat = m_lastLine && events.at(index).text == events.at(*m_lastLine).text;
        if (events.at(index).what == What::Sent && !repeat)
            return atLogLine(events.at(index)) + ": " + excerpt(events.at(index).text, 0)
                + " was expected, nothing came";
    }
    return {};
}

ReplayVerdict ReplayedBoard::verdict() const
{
    const auto& events = m_recorded.events;
    ReplayVerdict verdict;
    verdict.linesPlayed = m_linesPlayed;
    verdict.linesRecorded = static_cast<std::size_t>(std::count_if(events.begin(), events.end(),
        [](const RecordedEvent& event) { return event.what == What::Sent; }));
    verdict.difference = m_difference.empty() ? missingLine(m_next, events.size()) : m_difference;
    verdict.asRecorded = verdict.difference.empty();
    verdict.notes = m_notes;
    if (m_linesAfterJob > 0)
        verdict.notes.push_back(
            std::to_string(m_linesAfterJob) + " lines came after the end of a job in the log");
    return verdict;
}

} // namespace vboard
