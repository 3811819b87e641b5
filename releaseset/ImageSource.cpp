#include "releaseset/ImageSource.h"

#include "releaseset/Rgb565.h"

#include <algorithm>
#include <array>
#include <optional>

namespace releaseset {

namespace {

/// The colour formats that mean RGB565 on a display of 16 bits, as the versions name it.
constexpr std::array kRgb565Formats = {QByteArrayView("LV_IMG_CF_TRUE_COLOR"),
    QByteArrayView("LV_IMG_CF_RGB565"), QByteArrayView("LV_COLOR_FORMAT_RGB565")};

constexpr char kStride[] = ".header.stride";

/// The branch for 16 bits with the low byte first, or a null pointer.
const SourceBranch* plainBranch(const SourceText& source)
{
    const auto isPlain16 = [](const SourceBranch& branch) {
        const QByteArray condition = branch.condition.simplified().replace(' ', "");
        return condition.contains("DEPTH==16")
            && (condition.contains("SWAP==0") || condition.contains("!LV_COLOR_16_SWAP")
                || !condition.contains("SWAP"));
    };
    const auto found = std::ranges::find_if(source.branches, isPlain16);
    return found == source.branches.cend() ? nullptr : &*found;
}

class Decoder
{
public:
    explicit Decoder(const SourceText& source) : m_source(source) { }

    SourceImage decode()
    {
        if (m_source.arrayBrace < 0) {
            fail(0, QStringLiteral("there is no array of bytes; convert the picture again"));
        } else if (!m_source.closed) {
            fail(m_source.arrayLine,
                QStringLiteral("the array that begins here is not closed; end it with \"};\""));
        } else {
            checkFormat();
            m_image.size = {extent(".header.w"), extent(".header.h")};
            if (!m_image.size.isEmpty())
                readPixels();
        }
        return m_image;
    }

private:
    /// Notes a fault. Only the first counts: later ones follow from it.
    void fail(int line, const QString& text)
    {
        if (m_image.fault.isEmpty()) {
            m_image.fault = text;
            m_image.faultLine = line;
        }
    }

    void checkFormat()
    {
        const SourceEntry format = m_source.entries.value(".header.cf");
        if (!format.value.isEmpty()
            && std::ranges::find(kRgb565Formats, format.value) == kRgb565Formats.end()) {
            fail(format.line,
                QStringLiteral(
                    "the colour format is %1, but the board shows every image as RGB565; "
                    "export the picture in that")
                    .arg(QString::fromUtf8(format.value)));
        }
        const SourceEntry flags = m_source.entries.value(".header.flags");
        if (flags.value.contains("COMPRESSED")) {
            fail(flags.line,
                QStringLiteral("the pixels are compressed (LV_IMAGE_FLAGS_COMPRESSED); export the "
                               "picture without compression"));
        }
    }

    /// The value of an entry as C reads it; none where it is missing or no number.
    std::optional<int> number(const char* key)
    {
        const auto entry = m_source.entries.constFind(key);
        if (entry == m_source.entries.cend())
            return std::nullopt;
        QByteArray digits = entry->value;
        while (digits.endsWith('U') || digits.endsWith('u') || digits.endsWith('L')
            || digits.endsWith('l'))
            digits.chop(1);
        bool isNumber = false;
        const int value = digits.toInt(&isNumber, 0);
        if (!isNumber) {
            fail(entry->line,
                QStringLiteral("%1 is %2, not a number; write the number there")
                    .arg(QLatin1String(key), QString::fromUtf8(entry->value)));
        }
        return value;
    }

    /// A width or height; 0 when it is missing or cannot be sent.
    int extent(const char* key)
    {
        const std::optional<int> value = number(key);
        if (!value) {
            fail(0,
                QStringLiteral("the image has no %1; write \"%1 = N,\" into the descriptor")
                    .arg(QLatin1String(key)));
            return 0;
        }
        if (*value >= 1 && *value <= kMaxExtent)
            return *value;
        fail(m_source.entries.value(key).line,
            QStringLiteral("%1 is %2, which the header line cannot carry; it must be 1 to %3")
                .arg(QLatin1String(key))
                .arg(*value)
                .arg(kMaxExtent));
        return 0;
    }

    void readPixels()
    {
        static const SourceBranch kEmpty;
        const SourceBranch* branch
            = m_source.branches.isEmpty() ? &kEmpty : &m_source.branches.first();
        if (m_source.conditions > 0)
            branch = plainBranch(m_source);
        if (branch == nullptr) {
            fail(m_source.firstDirective,
                QStringLiteral(
                    "no branch is for LV_COLOR_DEPTH == 16 without swapped bytes; export "
                    "the picture in that"));
        } else if (const std::optional<QByteArray> bytes = bytesOf(*branch)) {
            takeRows(*bytes);
        }
    }

    std::optional<QByteArray> bytesOf(const SourceBranch& branch)
    {
        constexpr uint kMaxByte = 0xff;
        QByteArray bytes;
        bytes.reserve(static_cast<qsizetype>(branch.words.size()));
        for (const SourceWord& word : branch.words) {
            bool isNumber = false;
            const uint value = m_source.at(word).toByteArray().toUInt(&isNumber, 0);
            if (!isNumber || value > kMaxByte || word.joined) {
                fail(word.line,
                    QStringLiteral("\"%1\" is not a byte between commas; write 0x and two "
                                   "hexadecimal digits")
                        .arg(QString::fromUtf8(m_source.at(word))));
                return std::nullopt;
            }
            bytes.append(static_cast<char>(value));
        }
        return bytes;
    }

    /// Version 9 can pad the rows of pixels to a stride.
    void takeRows(const QByteArray& bytes)
    {
        const qsizetype height = m_image.size.height();
        const qsizetype row = m_image.size.width() * qsizetype(kBytesPerPixel);
        const qsizetype stride = number(kStride).value_or(0);
        if (stride == 0 || stride == row) {
            if (bytes.size() == row * height)
                m_image.pixels = bytes;
            else
                failSize(bytes.size());
        } else if (stride < row || bytes.size() != stride * height) {
            fail(m_source.entries.value(kStride).line,
                QStringLiteral("%1 bytes are not %2 rows of %3 bytes, of which %4 are pixels; "
                               "correct .header.stride or convert the picture again")
                    .arg(bytes.size())
                    .arg(height)
                    .arg(stride)
                    .arg(row));
        } else {
            for (qsizetype at = 0; at < bytes.size(); at += stride)
                m_image.pixels.append(bytes.sliced(at, row));
        }
    }

    void failSize(qsizetype bytes)
    {
        fail(0,
            QStringLiteral("%1 bytes are not %2 x %3 pixels of 2 bytes; correct .header.w and "
                           ".header.h or convert the picture again")
                .arg(bytes)
                .arg(m_image.size.width())
                .arg(m_image.size.height()));
    }

    const SourceText& m_source;
    SourceImage m_image;
};

void appendLiteral(QByteArray& text, char byte)
{
    constexpr char kDigits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    text.append("0x").append(kDigits[value >> 4]).append(kDigits[value & 0xf]).append(',');
}

QByteArray symbolOf(const QString& title, QSize size)
{
    QString symbol;
    for (const QChar character : title) {
        const bool plain = character.unicode() < 0x80
            && (character.isLetterOrNumber() || character == QLatin1Char('_'));
        symbol.append(plain ? character : QLatin1Char('_'));
    }
    if (symbol.isEmpty() || symbol.at(0).isDigit())
        symbol.prepend(QLatin1Char('_'));
    return QStringLiteral("%1_%2x%3").arg(symbol).arg(size.width()).arg(size.height()).toLatin1();
}

} // namespace

SourceImage decodeSource(const SourceText& source)
{
    return Decoder(source).decode();
}

QByteArray plainSource(const QByteArray& pixels, QSize size, const QString& title)
{
    constexpr qsizetype kLiteralLength = 6; // "0xa5, "
    const QByteArray name = symbolOf(title, size);
    const auto number = [](qint64 value) { return QByteArray::number(value); };
    const qsizetype rowLength = qsizetype(size.width()) * kBytesPerPixel;
    QByteArray text = name + "_map[] = {\n";
    text.reserve(pixels.size() * kLiteralLength + 1000);
    for (qsizetype i = 0; i < pixels.size(); ++i) {
        appendLiteral(text, pixels.at(i));
        text.append((i + 1) % rowLength == 0 ? '\n' : ' ');
    }
    return text + "};\n\nconst lv_img_dsc_t " + name
        + " = {\n"
          "  .header.cf = LV_IMG_CF_TRUE_COLOR,\n"
          "  .header.always_zero = 0,\n"
          "  .header.reserved = 0,\n"
          "  .header.w = "
        + number(size.width()) + ",\n  .header.h = " + number(size.height())
        + ",\n  .data_size = " + number(pixels.size() / kBytesPerPixel)
        + " * LV_COLOR_SIZE / 8,\n  .data = " + name + "_map,\n};\n";
}

} // namespace releaseset
