#include "protocol/ReceiveBuffer.h"

#include <algorithm>

namespace protocol {

bool ReceiveBuffer::store(char byte)
{
    if (m_index < 0 || m_index >= kLineCapacity)
        m_index = 0;
    m_bytes[static_cast<std::size_t>(m_index)] = byte;
    m_index = static_cast<qint16>((m_index + 1) % kLineCapacity);
    return byte == '\n';
}

void ReceiveBuffer::endLine()
{
    // The byte after the line feed is left over from an earlier line: without this NUL it would be
    // handed on as part of this one.
    if (m_index > 0)
        terminateAt(m_index);
    terminateAt(m_index + 1);
}

void ReceiveBuffer::terminateAt(qsizetype position)
{
    if (position >= 0 && position < kLineCapacity)
        m_bytes[static_cast<std::size_t>(position)] = '\0';
}

void ReceiveBuffer::replace(QByteArrayView text)
{
    const qsizetype size = std::min<qsizetype>(text.size(), kLineCapacity - 1);
    std::copy_n(text.begin(), size, m_bytes.begin());
    terminateAt(size);
}

} // namespace protocol
