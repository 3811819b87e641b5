#pragma once

#include "virtualboard/Time.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vboard {

/// One direction of the serial line: when bytes have passed over it.
class LinePace
{
public:
    /// Start bit, eight data bits, stop bit.
    static constexpr int kBitsPerByte = 10;

    /// With `atLineRate` every byte takes its bit times; otherwise bytes pass in no time.
    explicit LinePace(bool atLineRate) : m_atLineRate(atLineRate) { }

    /// Puts `bytes` bytes on the line at `now`, behind those that are on it already. Returns when
    /// the last one has passed. `baudRate` must be above 0.
    Time pass(std::size_t bytes, int baudRate, Time now);

private:
    bool m_atLineRate;
    Time m_freeAt{};
};

/// The USB adapter's buffer on the way to the computer: a packet leaves when it is full, or when
/// the latency timer runs out.
class AdapterBuffer
{
public:
    /// The payload of a packet: 64 bytes less two of status.
    static constexpr std::size_t kPacketSize = 62;

    /// With a `latency` of 0 there is no timer: what comes leaves at once.
    explicit AdapterBuffer(Time latency) : m_latency(latency) { }

    /// Takes bytes at `now`; returns those that leave at once.
    [[nodiscard]] std::string take(std::string_view bytes, Time now);
    /// When the timer runs out; none with an empty buffer.
    [[nodiscard]] std::optional<Time> due() const { return m_due; }
    /// What leaves when the timer has run out.
    [[nodiscard]] std::string flush();

private:
    Time m_latency;
    std::string m_waiting;
    std::optional<Time> m_due;
};

} // namespace vboard
