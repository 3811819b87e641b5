#include "bootload/ImageParser.h"

#include "bootload/Log.h"
#include "protocol/WireText.h"

#include <array>
#include <optional>
#include <string_view>

namespace {

bool isLetterOrDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// How image converters write a byte: "0x", two digits, a comma.
constexpr QByteArrayView kUsualLiteral{"0x00,"};

constexpr quint8 kNoDigit = 0xFF;

/// The value of each character as a hexadecimal digit, or `kNoDigit`.
constexpr std::array<quint8, 256> kDigits = [] {
    std::array<quint8, 256> digits{};
    digits.fill(kNoDigit);
    for (const char c : std::string_view("0123456789abcdefABCDEF"))
        digits.at(static_cast<quint8>(c)) = static_cast<quint8>(protocol::hexDigit(c));
    return digits;
}();

/// The byte of the usual literal at `position`; none when something else stands there.
std::optional<char> usualLiteral(QByteArrayView text, qsizetype position)
{
    if (text.size() - position < kUsualLiteral.size())
        return std::nullopt;
    const char* const c = text.data() + position;
    const quint8 high = kDigits[static_cast<quint8>(c[2])];
    const quint8 low = kDigits[static_cast<quint8>(c[3])];
    if (c[0] != '0' || c[1] != 'x' || c[4] != ',' || high == kNoDigit || low == kNoDigit)
        return std::nullopt;
    return static_cast<char>(high << 4U | low);
}

/// The text between two separators of the byte array, read as it comes: letters and digits join the
/// token, everything else is passed over without ending it.
class Literal
{
public:
    void add(char c)
    {
        if (m_length < kPrefix.size())
            m_prefixed = m_prefixed && c == kPrefix[m_length];
        else
            m_value = (m_value << 4U) | protocol::hexDigit(c);
        ++m_length;
    }

    /// True when the token begins with "0x"; a bare "0x" is a literal too, with the value 0.
    [[nodiscard]] bool isByte() const { return m_prefixed && m_length >= kPrefix.size(); }

    /// The low byte of the value.
    [[nodiscard]] char byte() const { return static_cast<char>(m_value & 0xFFU); }

private:
    static constexpr QByteArrayView kPrefix{"0x"};

    qsizetype m_length = 0;
    quint32 m_value = 0;
    bool m_prefixed = true;
};

bool isBlank(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

/// The index of the first character at or behind `position` that is neither blank nor line end.
qsizetype skipBlanks(QByteArrayView text, qsizetype position)
{
    while (position < text.size() && isBlank(text[position]))
        ++position;
    return position;
}

/// Appends the usual literals from `position` on, with blanks and line ends between them, to
/// `data`. Returns the index of what comes behind them. Says the same as reading them character by
/// character, in a fraction of the time: files are made of little else.
qsizetype readUsualLiterals(QByteArrayView text, qsizetype position, QByteArray& data)
{
    position = skipBlanks(text, position);
    std::optional<char> byte = usualLiteral(text, position);
    if (!byte)
        return position;
    const qsizetype sizeBefore = data.size();
    data.resize(sizeBefore + (text.size() - position) / kUsualLiteral.size());
    char* out = data.data() + sizeBefore;
    for (; byte; byte = usualLiteral(text, position)) {
        *out++ = *byte;
        position = skipBlanks(text, position + kUsualLiteral.size());
    }
    data.truncate(out - data.constData());
    return position;
}

/// Appends the literals of the array that opens at `open` to `data`. Returns the index of its
/// closing brace, or the length of `text` when it has none.
qsizetype readBytes(QByteArrayView text, qsizetype open, QByteArray& data)
{
    data.reserve(data.size() + (text.size() - open) / kUsualLiteral.size());
    Literal literal;
    qsizetype i = readUsualLiterals(text, open + 1, data);
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (isLetterOrDigit(c)) {
            literal.add(c);
        } else if (c == ',' || c == '}') {
            if (literal.isByte())
                data.append(literal.byte());
            literal = {};
            if (c == '}')
                break;
            i = readUsualLiterals(text, i + 1, data) - 1;
        }
    }
    return qMin(i, text.size());
}

/// The value of a decimal integer; 0 for any other text and for what does not fit.
int integer(const QByteArray& text)
{
    // The conversion alone would stop at a NUL and pass over what follows it.
    return text.contains('\0') ? 0 : text.toInt();
}

void setEntry(ImageFile& image, const QByteArray& key, const QByteArray& value)
{
    if (key == ".header.w")
        image.width = integer(value);
    else if (key == ".header.h")
        image.height = integer(value);
}

/// Reads the entries of the descriptor that opens at `open`, up to its closing brace.
void readDescriptor(QByteArrayView text, qsizetype open, ImageFile& image)
{
    QByteArray key;
    QByteArray value;
    bool inValue = false;
    for (qsizetype i = open + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == ',' || c == '}') {
            setEntry(image, key.trimmed(), value.trimmed());
            key.clear();
            value.clear();
            inValue = false;
            if (c == '}')
                break;
        } else if (c == '=') {
            inValue = true;
        } else {
            (inValue ? value : key).append(c);
        }
    }
}

/// The index of the next "{" at or behind `from`, or the length of `text` when there is none.
qsizetype nextBrace(QByteArrayView text, qsizetype from)
{
    const qsizetype found = text.indexOf('{', from);
    return found < 0 ? text.size() : found;
}

} // namespace

void parseImage(const QByteArray& text, ImageFile& image)
{
    const qsizetype arrayEnd = readBytes(text, nextBrace(text, 0), image.data);
    image.data.squeeze(); // an image is kept for as long as the dialog
    qCDebug(logJob) << image.data.size() << " - " << arrayEnd;
    readDescriptor(text, nextBrace(text, arrayEnd), image);
    qCDebug(logJob) << "Image Loaded: " << image.data.size() << " Width: " << image.width
                    << " Height: " << image.height;
}
