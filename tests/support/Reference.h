#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// \file
/// How a line is framed, a second time and without the program's code: the tests compare the
/// program's lines with it.

namespace reference {

/// CRC-16/MCRF4XX of `bytes`, bit by bit, going on from `crc`.
[[nodiscard]] inline unsigned crc(QByteArrayView bytes, unsigned crc = 0xFFFF)
{
    constexpr unsigned kReflectedPolynomial = 0x8408;
    constexpr int kBits = 8;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < kBits; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ kReflectedPolynomial : crc >> 1U;
    }
    return crc;
}

/// `text` as it is sent with its checksum: a checksum of fewer than four digits has no line feed.
[[nodiscard]] inline QByteArray framed(const QByteArray& text)
{
    const QByteArray digits
        = QByteArray::number(crc(text.mid(text.indexOf('$') + 1)), 16).toUpper();
    return text + '*' + digits + (digits.size() == 4 ? "\n" : "");
}

/// The frames of `texts`, one after the other.
[[nodiscard]] inline QByteArray framedAll(const QByteArrayList& texts)
{
    QByteArray bytes;
    for (const QByteArray& text : texts)
        bytes += framed(text);
    return bytes;
}

} // namespace reference
