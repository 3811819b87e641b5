#pragma once

#include <QByteArrayView>

#include <optional>

namespace protocol {

/// Field `index` (from 0) of `line`: fields are separated by "," and "*" and end at the first of
/// NUL, line feed, carriage return, "*" or ",". Nothing when the line ends before the field starts.
/// The result points into `line`.
[[nodiscard]] std::optional<QByteArrayView> field(QByteArrayView line, int index);

/// Field `index` of `line`, a reply, cut at 64 characters; empty when it is absent. The result
/// points into `line`.
[[nodiscard]] QByteArrayView replyField(QByteArrayView line, int index);

/// The value of a hexadecimal digit of either case, 0 for any other character.
[[nodiscard]] constexpr quint32 hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<quint32>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<quint32>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<quint32>(c - 'A' + 10);
    return 0;
}

/// The whole of `text` read as hexadecimal, in 32 bits; a character that is no hexadecimal digit
/// counts as a 0 digit, and only the last eight count.
[[nodiscard]] quint32 hexValue(QByteArrayView text);

/// The leading decimal digits of `text` as a number that wraps at 32 bits; 0 when there are none.
[[nodiscard]] quint32 decimalValue(QByteArrayView text);

/// The text helpers and the checksum step under the names by which the update dialog and the serial
/// connection service know them; both inherit them. All texts are NUL-terminated. Numbers are
/// unsigned 32-bit and wrap on overflow without any report.
class WireText
{
public:
    /// Copies field `index` (from 0) of `line` to `out`, which has at least `maxLength` + 1 bytes.
    /// Returns 1 when the field exists, cut at `maxLength` bytes if it is longer, and 0 with `out`
    /// untouched when the line ends first or `maxLength` is negative.
    static int Getfield(const char* line, char* out, int index, int maxLength);

    /// The number of "," in `line` before the first NUL, line feed or carriage return.
    static int fieldCount(const char* line);

    /// True only when both texts are equal, byte for byte and in length.
    static bool StringMatch(const char* a, const char* b);

    /// Field `index` of `line` as a decimal number; 0 when it is absent or starts with no digit.
    static unsigned int DecodeU32Field(const char* line, unsigned short index);

    /// The leading decimal digits of `text`; 0 when the first character is not a digit.
    static unsigned int StrToU32(const char* text);

    /// The value of a hexadecimal digit of either case, 0 for any other character.
    static unsigned int HexCharDecode(char c);

    /// The whole text read as hexadecimal; a character that is no digit counts as a 0 digit.
    static unsigned int HexStrDecode(const char* text);

    /// Writes `value` as upper-case hexadecimal without leading zeros and a NUL to `out`, which has
    /// at least 9 bytes. Returns the number of digits, 1 to 8.
    static int u32ToHexStr(unsigned int value, char* out);

    /// The upper-case hexadecimal digit of 0 to 15; a larger value is not checked and gives the
    /// character with the code value + 55.
    static char ToHex(unsigned char nibble);

    /// One step of the line checksum (CRC-16/MCRF4XX) over `data`; updates `*crc`.
    static void CRC(unsigned char data, unsigned short* crc);
};

} // namespace protocol
