#pragma once

#include <QByteArrayView>

#include <cstddef>
#include <cstdint>

/// The bytes of one run, taken from the front: first the numbers that choose where the run starts,
/// then the rest. What is missing reads as 0.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_rest(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size))
    {
    }

    /// The next byte.
    std::uint8_t byte()
    {
        if (m_rest.isEmpty())
            return 0;
        const auto value = static_cast<std::uint8_t>(m_rest.front());
        m_rest = m_rest.sliced(1);
        return value;
    }

    /// A number from 0 to `limit` - 1 out of the next byte, or the next two for more than 256.
    int below(int limit)
    {
        constexpr int kByteValues = 256;
        const int low = byte();
        return (limit > kByteValues ? low + kByteValues * byte() : low) % limit;
    }

    /// What has not been taken; valid as long as the run's bytes.
    [[nodiscard]] QByteArrayView rest() const { return m_rest; }

private:
    QByteArrayView m_rest;
};
