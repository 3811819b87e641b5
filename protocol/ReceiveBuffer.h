#pragma once

#include "protocol/Line.h"

namespace protocol {

/// The receiving end of a line: a view of a receive line buffer and its write index, both owned by
/// the caller. All access to such a buffer goes through this type, and none leaves the buffer,
/// whatever arrives.
class ReceiveBuffer
{
public:
    /// Works on `bytes` and `index`, which outlive this object.
    ReceiveBuffer(std::span<char, kLineCapacity> bytes, qint16& index)
        : m_bytes(bytes), m_index(index)
    {
    }

    /// Stores one received byte and moves the index on; after the last byte of the buffer it
    /// starts again at 0, so that an overlong line overwrites its own beginning. Returns true when
    /// the byte was a line feed.
    [[nodiscard]] bool store(char byte);

    /// Ends the line at the write index. If the index has just wrapped to 0, the buffer has no room
    /// after the line feed, and only the line's first byte is left.
    void endLine();

    /// Puts a NUL at `position`; a position outside the buffer is left alone.
    void terminateAt(qsizetype position);

    /// Overwrites the start of the buffer with `text` and a NUL; text that does not fit is cut.
    void replace(QByteArrayView text);

    /// The next byte is stored at the start; the buffer keeps its contents.
    void restart() { m_index = 0; }

    /// The text from the start of the buffer to the first NUL; valid until the buffer changes.
    [[nodiscard]] QByteArrayView text() const { return textOf(m_bytes); }

private:
    std::span<char, kLineCapacity> m_bytes;
    qint16& m_index;
};

} // namespace protocol
