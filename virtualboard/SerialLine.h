#pragma once

#include "virtualboard/Time.h"

#include <cstddef>
#include <deque>
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

    /// Puts `bytes` bytes on the line at `now`, after those that are on it already. Returns when
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

/// Bytes that have passed a line, and when the last of them did.
struct Passed
{
    Time at{};
    int baudRate = 0; ///< at which they were sent; 0: unknown
    std::string bytes;
};

/// The line between a board and the computer, both ways, with the adapter at the computer's end.
class SerialLine
{
public:
    SerialLine(bool atLineRate, Time adapterLatency)
        : m_toBoard(atLineRate), m_toAdapter(atLineRate), m_adapter(adapterLatency)
    {
    }

    /// The computer sends at `now`, at a rate in baud; 0: unknown.
    void sendToBoard(std::string_view bytes, int baudRate, Time now);
    /// The board sends at `now`, at a rate in baud above 0.
    void sendToComputer(std::string bytes, int baudRate, Time now);

    /// When something has passed; none while nothing is under way.
    [[nodiscard]] std::optional<Time> due() const;
    /// What has reached the board until `now`, the earliest first: at most one line end, which is
    /// its last byte. None when there is nothing more.
    [[nodiscard]] std::optional<Passed> takeArrival(Time now);
    /// What leaves the adapter for the computer until `now`, the earliest first.
    [[nodiscard]] std::optional<Passed> takeDeparture(Time now);

private:
    LinePace m_toBoard;
    LinePace m_toAdapter;
    AdapterBuffer m_adapter;
    int m_adapterRate = 0; // of the bytes in its buffer
    std::deque<Passed> m_arrivals;
    std::deque<Passed> m_departures;
};

/// Sets `earliest` to `time` when that comes before it.
inline void takeEarlier(std::optional<Time>& earliest, std::optional<Time> time)
{
    if (time && (!earliest || *time < *earliest))
        earliest = time;
}

} // namespace vboard
