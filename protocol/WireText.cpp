#include "protocol/WireText.h"

#include "protocol/Crc.h"
#include "protocol/Line.h"

#include <algorithm>
#include <cstring>

namespace protocol {

namespace {

// A walk along a line ends here even when no NUL has been met: far longer than any line of the
// protocol.
constexpr std::size_t kFieldWalkLimit = 65535;

// A field that is read as a decimal number is cut at this length first.
constexpr qsizetype kMaxNumberLength = 32;

bool isSeparator(char c)
{
    return c == ',' || c == '*';
}

bool endsLine(char c)
{
    return c == '\0' || c == '\n' || c == '\r';
}

bool endsField(char c)
{
    return isSeparator(c) || endsLine(c);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

QByteArrayView lineView(const char* line)
{
    return {line, static_cast<qsizetype>(strnlen(line, kFieldWalkLimit))};
}

} // namespace

std::optional<QByteArrayView> field(QByteArrayView line, int index)
{
    const auto* const lineEnd = std::find(line.begin(), line.end(), '\0');
    const auto* start = line.begin();
    for (int separators = 0; separators < index; ++separators) {
        start = std::find_if(start, lineEnd, isSeparator);
        if (start == lineEnd)
            return std::nullopt;
        ++start;
    }
    return QByteArrayView(start, std::find_if(start, lineEnd, endsField));
}

QByteArrayView replyField(QByteArrayView line, int index)
{
    constexpr qsizetype kMaxFieldLength = 64;
    const QByteArrayView text = field(line, index).value_or(QByteArrayView(""));
    return text.first(qMin(text.size(), kMaxFieldLength));
}

quint32 hexValue(QByteArrayView text)
{
    quint32 value = 0;
    for (const char c : text)
        value = (value << 4U) | hexDigit(c);
    return value;
}

quint32 decimalValue(QByteArrayView text)
{
    quint32 value = 0;
    for (const char c : text) {
        if (!isDigit(c))
            break;
        value = value * 10 + static_cast<quint32>(c - '0');
    }
    return value;
}

int WireText::Getfield(const char* line, char* out, int index, int maxLength)
{
    const auto found = field(lineView(line), index);
    if (!found || maxLength < 0)
        return 0;
    const qsizetype length = std::min<qsizetype>(found->size(), maxLength);
    std::copy_n(found->begin(), length, out);
    out[length] = '\0';
    return 1;
}

int WireText::fieldCount(const char* line)
{
    const QByteArrayView view = lineView(line);
    const auto* const end = std::find_if(view.begin(), view.end(), endsLine);
    return static_cast<int>(std::count(view.begin(), end, ','));
}

bool WireText::StringMatch(const char* a, const char* b)
{
    return std::strcmp(a, b) == 0;
}

unsigned int WireText::DecodeU32Field(const char* line, unsigned short index)
{
    const auto found = field(lineView(line), index);
    return found ? decimalValue(found->first(std::min(found->size(), kMaxNumberLength))) : 0;
}

unsigned int WireText::StrToU32(const char* text)
{
    return decimalValue(QByteArrayView(text));
}

unsigned int WireText::HexCharDecode(char c)
{
    return hexDigit(c);
}

unsigned int WireText::HexStrDecode(const char* text)
{
    return hexValue(QByteArrayView(text));
}

int WireText::u32ToHexStr(unsigned int value, char* out)
{
    const HexText hex(value);
    const QByteArrayView digits = hex.view();
    std::copy(digits.begin(), digits.end(), out);
    out[digits.size()] = '\0';
    return static_cast<int>(digits.size());
}

char WireText::ToHex(unsigned char nibble)
{
    constexpr unsigned char kDigits = 10;
    return static_cast<char>(nibble < kDigits ? nibble + '0' : nibble - kDigits + 'A');
}

void WireText::CRC(unsigned char data, unsigned short* crc)
{
    *crc = crcStep(*crc, data);
}

} // namespace protocol
