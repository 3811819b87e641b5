#include "virtualboard/SerialLine.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace vboard {

namespace {

// The longest piece of a line that arrives as one.
constexpr std::size_t kLongestPiece = 4096;

std::optional<Passed> takeFront(std::deque<Passed>& queue, Time now)
{
    if (queue.empty() || queue.front().at > now)
        return std::nullopt;
    Passed front = std::move(queue.front());
    queue.pop_front();
    return front;
}

} // namespace

Time LinePace::pass(std::size_t bytes, int baudRate, Time now)
{
    if (!m_atLineRate)
        return now;
    const std::int64_t bits = static_cast<std::int64_t>(bytes) * kBitsPerByte;
    constexpr std::int64_t kPerSecond = std::chrono::microseconds(1s).count();
    m_freeAt = std::max(m_freeAt, now) + Time(bits * kPerSecond / baudRate);
    return m_freeAt;
}

std::string AdapterBuffer::take(std::string_view bytes, Time now)
{
    m_waiting += bytes;
    if (m_latency == Time::zero())
        return flush();
    const std::size_t full = m_waiting.size() - m_waiting.size() % kPacketSize;
    std::string leaving = m_waiting.substr(0, full);
    m_waiting.erase(0, full);
    if (m_waiting.empty())
        m_due.reset();
    else if (!m_due || !leaving.empty())
        m_due = now + m_latency;
    return leaving;
}

std::string AdapterBuffer::flush()
{
    m_due.reset();
    return std::exchange(m_waiting, {});
}

void SerialLine::sendToBoard(std::string_view bytes, int baudRate, Time now)
{
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::size_t size
            = std::min(end == std::string_view::npos ? bytes.size() : end + 1, kLongestPiece);
        const Time at = baudRate > 0 ? m_toBoard.pass(size, baudRate, now) : now;
        m_arrivals.push_back({at, baudRate, std::string(bytes.substr(0, size))});
        bytes.remove_prefix(size);
    }
}

void SerialLine::sendToComputer(std::string bytes, int baudRate, Time now)
{
    const Time at = m_toAdapter.pass(bytes.size(), baudRate, now);
    m_departures.push_back({at, baudRate, std::move(bytes)});
}

std::optional<Time> SerialLine::due() const
{
    std::optional<Time> next = m_adapter.due();
    for (const auto* const queue : {&m_arrivals, &m_departures}) {
        if (!queue->empty())
            takeEarlier(next, queue->front().at);
    }
    return next;
}

std::optional<Passed> SerialLine::takeArrival(Time now)
{
    return takeFront(m_arrivals, now);
}

std::optional<Passed> SerialLine::takeDeparture(Time now)
{
    while (const auto passed = takeFront(m_departures, now)) {
        m_adapterRate = passed->baudRate;
        std::string leaving = m_adapter.take(passed->bytes, passed->at);
        if (!leaving.empty())
            return Passed{passed->at, m_adapterRate, std::move(leaving)};
    }
    if (!m_adapter.due() || *m_adapter.due() > now)
        return std::nullopt;
    return Passed{now, m_adapterRate, m_adapter.flush()};
}

} // namespace vboard
