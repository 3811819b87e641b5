#include "virtualboard/ReplayedBoard.h"

#include "virtualboard/SerialLine.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vboard {

namespace {

using What = RecordedEvent::What;

// A port that was just opened is being set up.
constexpr Time kAfterOpening = 10ms;
// The log does not say when an adapter came back, only that it did: the program has noticed by then
// that it had gone, and has not tried to open it again.
constexpr Time kUnplugged = 1s;
// The program opens a port again within a job after half a second. A port that stays closed for
// longer, and that the log shows once more, did not open.
constexpr Time kRefusedAfter = 2s;

/// The program waits so long for an answer, from `from` to `to` by where its tick was, before it
/// sends a line again or goes on without the answer. One that came meanwhile comes at `latest`: so
/// it overtakes the tick as it did in the log.
struct Wait
{
    Time from;
    Time to;
    Time latest;
};
constexpr std::array kLatest{
    Wait{1400ms, 2100ms, 1350ms}, // a line is sent again
    Wait{4900ms, 5600ms, 4850ms}, // an image is begun again
    Wait{8400ms, 9100ms, 8350ms}, // a page is programmed again
    Wait{60'400ms, 61'100ms, 60'350ms}, // images are erased again
};

Time playedDelay(Time recorded)
{
    for (const Wait& wait : kLatest) {
        if (recorded >= wait.from && recorded <= wait.to)
            return wait.latest;
    }
    return std::max(recorded, Time::zero());
}

} // namespace

ReplayedBoard::ReplayedBoard(RecordedPort port)
    : m_recorded(std::move(port)), m_refuses(m_recorded.refused)
{
}

bool ReplayedBoard::isAnchor(std::size_t index) const
{
    const What what = m_recorded.events.at(index).what;
    return what == What::Opened || what == What::Sent;
}

bool ReplayedBoard::expectsLine() const
{
    return m_next < m_recorded.events.size() && m_recorded.events.at(m_next).what == What::Sent;
}

void ReplayedBoard::receive(std::string_view bytes, int baudRate, Time now)
{
    if (m_portRate == 0 && !bytes.empty())
        portIsAt(baudRate, now);
    for (const std::string& line : m_reader.take(bytes, now))
        takeLine(line, now);
    m_lastByte = now;
}

void ReplayedBoard::portIsAt(int baudRate, Time now)
{
    const int before = std::exchange(m_portRate, baudRate);
    if (before == baudRate)
        return;
    m_idleSince = now;
    if (before != 0)
        return;
    m_openedAt = now;
    if (baudRate == kJobBaudRate)
        beginJob(now);
}

void ReplayedBoard::beginJob(Time now)
{
    const auto& events = m_recorded.events;
    // A dialog that was opened and closed before anything happened is none that the log shows.
    std::size_t job = m_jobPlayed ? m_next : m_job;
    while (job < events.size() && events.at(job).what != What::Opened)
        ++job;
    if (auto missing = m_jobPlayed ? missingLine(m_next, job) : std::string(); !missing.empty())
        differ(std::move(missing));
    m_reader.reset();
    m_pending.clear();
    m_lastLine.reset();
    m_jobEnds.reset();
    m_jobPlayed = false;
    m_job = job;
    m_next = job;
    if (job < events.size())
        follow(job, now);
}

void ReplayedBoard::follow(std::size_t index, Time at)
{
    const auto& events = m_recorded.events;
    const Time recorded = events.at(index).at;
    for (m_next = index + 1; m_next < events.size() && !isAnchor(m_next); ++m_next)
        queue(events.at(m_next), at + playedDelay(events.at(m_next).at - recorded));
}

void ReplayedBoard::queue(const RecordedEvent& event, Time due)
{
    switch (event.what) {
    case What::Answered:
        push(due, Emission::What::Bytes, event.text + '\n');
        break;
    case What::Gone: {
        push(due, Emission::What::Unplug);
        const auto& events = m_recorded.events;
        const bool comesBack = std::any_of(events.begin() + static_cast<std::ptrdiff_t>(m_next),
            events.end(), [](const RecordedEvent& later) {
                return later.what == What::Sent || later.what == What::Answered;
            });
        if (comesBack)
            push(due + kUnplugged, Emission::What::PlugIn);
        break;
    }
    case What::Closed:
        m_jobEnds = due;
        break;
    default:
        break;
    }
}

void ReplayedBoard::push(Time due, Emission::What what, std::string bytes)
{
    if (!m_pending.empty())
        due = std::max(due, m_pending.back().due);
    m_pending.push_back({due, what, std::move(bytes)});
}

bool ReplayedBoard::isHeld(const Pending& pending) const
{
    return pending.what == Emission::What::Bytes && m_portRate == 0;
}

Time ReplayedBoard::dueTime(const Pending& pending) const
{
    return pending.what == Emission::What::Bytes ? std::max(pending.due, m_openedAt + kAfterOpening)
                                                 : pending.due;
}

std::optional<Time> ReplayedBoard::due() const
{
    std::optional<Time> next = m_reader.due();
    if (!m_pending.empty() && !isHeld(m_pending.front()))
        takeEarlier(next, dueTime(m_pending.front()));
    takeEarlier(next, refusalDue());
    return next;
}

std::optional<Time> ReplayedBoard::refusalDue() const
{
    if (!m_refuses || m_portRate != 0 || m_next < m_recorded.events.size())
        return std::nullopt;
    return m_recorded.events.empty() ? Time::zero() : m_idleSince + kRefusedAfter;
}

std::vector<Emission> ReplayedBoard::takeDue(Time now)
{
    if (const auto line = m_reader.endBySilence(now))
        takeLine(*line, m_lastByte);
    std::vector<Emission> taken;
    while (!m_pending.empty() && !isHeld(m_pending.front()) && dueTime(m_pending.front()) <= now) {
        Pending& first = m_pending.front();
        taken.push_back({dueTime(first), first.what, std::move(first.bytes), m_portRate});
        m_pending.pop_front();
        m_jobPlayed = true;
    }
    if (const auto refusal = refusalDue(); refusal && *refusal <= now) {
        m_refuses = false;
        taken.push_back({now, Emission::What::Refuse, {}, 0});
    }
    return taken;
}

bool ReplayedBoard::isFinished() const
{
    return !m_difference.empty() || (m_pending.empty() && m_next == m_recorded.events.size());
}

} // namespace vboard
