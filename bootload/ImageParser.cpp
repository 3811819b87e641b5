#include "bootload/ImageParser.h"

#include "bootload/Log.h"
#include "protocol/WireText.h"

namespace {

bool isLetterOrDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// The text between two separators of the byte array, read character by character: letters and
/// digits are added to the token, everything else is ignored and does not end it.
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

/// Appends the literals of the array that opens at `open` to `data`. Returns the index of its
/// closing brace, or the length of `text` when it has none.
qsizetype readBytes(QByteArrayView text, qsizetype open, QByteArray& data)
{
    constexpr qsizetype kLiteralSize = 5; // "0x00,"
    data.reserve(data.size() + (text.size() - open) / kLiteralSize);
    Literal literal;
    for (qsizetype i = open + 1; i < text.size(); ++i) {
        const char c = text[i];
        if (isLetterOrDigit(c)) {
            literal.add(c);
        } else if (c == ',' || c == '}') {
            if (literal.isByte())
                data.append(literal.byte());
            literal = {};
            if (c == '}')
                return i;
        }
    }
    return text.size();
}

/// The value of a decimal integer; 0 for any other text and for what does not fit.
int integer(const QByteArray& text)
{
    // The conversion alone would stop at a NUL and ignore what follows it.
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

/// The index of the next "{" at or after `from`, or the length of `text` when there is none.
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
