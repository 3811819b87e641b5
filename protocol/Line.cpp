#include "protocol/Line.h"

#include "protocol/Crc.h"

#include <algorithm>

namespace protocol {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

} // namespace

HexText::HexText(quint32 value, int minDigits)
{
    do {
        --m_first;
        m_digits.at(static_cast<std::size_t>(m_first)) = kHexDigits[value & 0xFU];
        value >>= 4U;
    } while (m_first > 0 && (value != 0 || kMaxHexDigits - m_first < minDigits));
}

Line& Line::append(QByteArrayView text)
{
    // One byte stays free for the terminating NUL.
    if (!m_complete || text.size() >= kLineCapacity - m_size) {
        m_complete = false;
        return *this;
    }
    std::copy(text.begin(), text.end(), m_buffer.begin() + m_size);
    m_size += text.size();
    return *this;
}

Line& Line::appendHexFields(QByteArrayView bytes)
{
    constexpr qsizetype kFieldSize = 3;
    if (!m_complete || bytes.size() >= (kLineCapacity - m_size + kFieldSize - 1) / kFieldSize) {
        m_complete = false;
        return *this;
    }
    auto out = m_buffer.begin() + m_size;
    for (const char byte : bytes) {
        const auto value = static_cast<quint8>(byte);
        *out++ = ',';
        *out++ = kHexDigits[value >> 4U];
        *out++ = kHexDigits[value & 0xFU];
    }
    m_size += bytes.size() * kFieldSize;
    return *this;
}

bool appendChecksum(std::span<char, kLineCapacity> buffer)
{
    // The line feed stands after room for four digits, even when there are fewer.
    constexpr qsizetype kLineFeedOffset = 5;

    const auto dollar = std::find(buffer.begin(), buffer.end(), '$');
    if (dollar == buffer.end())
        return false;
    const auto body = dollar + 1;
    const auto end = std::find(body, buffer.end(), '\0');
    if (buffer.end() - end <= kLineFeedOffset + 1)
        return false;

    const HexText checksum(crcOf({body, end}));
    const QByteArrayView digits = checksum.view();
    *end = '*';
    *std::copy(digits.begin(), digits.end(), end + 1) = '\0';
    // A checksum of fewer than four digits is followed by its NUL, so that such a line is sent
    // without a line feed; the board knows the end of such a line by the silence after it.
    *(end + kLineFeedOffset) = '\n';
    *(end + kLineFeedOffset + 1) = '\0';
    return true;
}

bool appendLineFeed(std::span<char, kLineCapacity> buffer)
{
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    if (buffer.end() - end <= 1)
        return false;
    *end = '\n';
    *(end + 1) = '\0';
    return true;
}

QByteArrayView textOf(std::span<const char, kLineCapacity> buffer)
{
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    return {buffer.data(), end - buffer.begin()};
}

} // namespace protocol
