#pragma once

#include <QByteArrayView>

#include <array>
#include <span>

namespace protocol {

/// Size of every line buffer, in bytes, the terminating NUL included.
inline constexpr int kLineCapacity = 1000;

/// The most digits that a 32-bit value has in hexadecimal.
inline constexpr int kMaxHexDigits = 8;

/// `value` as upper-case hexadecimal text, most significant digit first.
class HexText
{
public:
    /// At least `minDigits` (1 to 8) digits, filled with leading zeros; more where the value needs
    /// them.
    explicit HexText(quint32 value, int minDigits = 1);

    /// The digits; valid as long as this object.
    [[nodiscard]] QByteArrayView view() const
    {
        return {m_digits.data() + m_first, kMaxHexDigits - m_first};
    }

private:
    std::array<char, kMaxHexDigits> m_digits{};
    int m_first = kMaxHexDigits;
};

/// An outgoing line while it is built: a bounded, always NUL-terminated text in a buffer of
/// `kLineCapacity` bytes. Text that does not fit is left out, and the line is then no longer
/// `complete()`: it must not be sent.
class Line
{
public:
    /// An empty line.
    Line() = default;
    /// A line that begins with `text`.
    explicit Line(QByteArrayView text) { append(text); }

    /// Appends `text` as it is.
    Line& append(QByteArrayView text);

    /// Appends `value` as upper-case hexadecimal without leading zeros ("0" for zero).
    Line& appendHex(quint32 value) { return append(HexText(value).view()); }

    /// Appends `value` as upper-case hexadecimal of at least two digits, like "%02X".
    Line& appendHexByte(quint32 value) { return append(HexText(value, 2).view()); }

    /// Appends each of `bytes` as "," and two upper-case hexadecimal digits.
    Line& appendHexFields(QByteArrayView bytes);

    /// False once something did not fit.
    [[nodiscard]] bool complete() const { return m_complete; }

    /// The text so far; valid until the line is changed or destroyed.
    [[nodiscard]] QByteArrayView view() const { return {m_buffer.data(), m_size}; }

    /// The whole buffer, NUL-terminated, to append in place. `view()` does not show what is
    /// appended this way.
    [[nodiscard]] std::span<char, kLineCapacity> buffer() { return m_buffer; }

private:
    std::array<char, kLineCapacity> m_buffer{};
    qsizetype m_size = 0;
    bool m_complete = true;
};

/// Appends "*", the checksum of what follows the first "$" and a line feed to the text at the start
/// of `buffer`. Returns false, with the buffer unchanged, when there is no "$", no NUL after it or
/// no room.
[[nodiscard]] bool appendChecksum(std::span<char, kLineCapacity> buffer);

/// Appends a line feed to the text at the start of `buffer`. Returns false, with the buffer
/// unchanged, when there is no NUL or no room.
[[nodiscard]] bool appendLineFeed(std::span<char, kLineCapacity> buffer);

/// The text at the start of `buffer`: up to the first NUL, or all of it when there is none.
[[nodiscard]] QByteArrayView textOf(std::span<const char, kLineCapacity> buffer);

} // namespace protocol
