#include "protocol/Line.h"

#include <algorithm>

namespace protocol {

HexText::HexText(quint32 value, int minDigits)
{
    do {
        --m_first;
        m_digits.at(static_cast<std::size_t>(m_first)) = "0123456789ABCDEF"[value & 0xFU];
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

QByteArrayView textOf(std::span<const char, kLineCapacity> buffer)
{
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    return {buffer.data(), end - buffer.begin()};
}

} // namespace protocol
