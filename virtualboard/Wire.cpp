#include "virtualboard/Wire.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace vboard {

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

} // namespace vboard
