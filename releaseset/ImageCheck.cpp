#include "releaseset/ImageCheck.h"

#include "bootload/ImageParser.h"
#include "releaseset/Rgb565.h"
#include "releaseset/SourceText.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <optional>

namespace releaseset {

namespace {

/// What is wrong with a word of the array; each kind is one line, however often it stands there.
enum class WordFault { Capital, Decimal, Wide, Joined, Other };

constexpr std::size_t kWordFaults = 5;

bool isHexadecimal(QByteArrayView digits)
{
    return !digits.isEmpty() && std::ranges::all_of(digits, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    });
}

bool isDecimal(QByteArrayView digits)
{
    return std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<WordFault> faultOf(QByteArrayView word, bool joined)
{
    constexpr qsizetype kPrefix = 2;
    constexpr qsizetype kByteDigits = 2;
    if (joined)
        return WordFault::Joined;
    if (isDecimal(word))
        return WordFault::Decimal;
    if (word.size() <= kPrefix || word[0] != '0' || !isHexadecimal(word.sliced(kPrefix)))
        return WordFault::Other;
    if (word[1] == 'X')
        return WordFault::Capital;
    if (word[1] != 'x')
        return WordFault::Other;
    return word.size() > kPrefix + kByteDigits ? std::optional(WordFault::Wide) : std::nullopt;
}

QString explained(WordFault fault)
{
    switch (fault) {
    case WordFault::Capital:
        return QStringLiteral("begins with a capital 0X and is dropped; write 0x");
    case WordFault::Decimal:
        return QStringLiteral(
            "is decimal and is dropped; write it as 0x and two hexadecimal digits");
    case WordFault::Wide:
        return QStringLiteral(
            "is more than a byte and is cut to its last two digits; write one byte a literal");
    case WordFault::Joined:
        return QStringLiteral("merges with the literal before it; write a comma between them");
    case WordFault::Other:
        break;
    }
    return QStringLiteral("is not a byte literal; write 0x and two hexadecimal digits");
}

class ImageChecker
{
public:
    ImageChecker(const QString& file, const QByteArray& text, Findings& findings)
        : m_file(file), m_source(readSource(text)), m_findings(findings)
    {
        parseImage(text, m_image);
    }

    ImageFile check()
    {
        if (!checkArrayBounds())
            return m_image;
        if (m_source.conditions > 0)
            noteConditions();
        else
            checkPlainArray();
        checkExtent(m_image.width, QStringLiteral(".header.w"));
        checkExtent(m_image.height, QStringLiteral(".header.h"));
        checkFormat();
        return m_image;
    }

private:
    void error(int line, const QString& text)
    {
        m_findings.error({.file = m_file, .line = line, .column = 0, .key = {}}, text);
        m_faulty = true;
    }

    void noteConditions()
    {
        error(m_source.firstDirective,
            QStringLiteral(
                "%1 conditional blocks in the array, of which every literal would be sent "
                "(%2 instead of %3 bytes); take the 16-bit block alone with release-set "
                "convert %4 OUT.c")
                .arg(m_source.conditions)
                .arg(m_source.wordCount())
                .arg(wantedBytes())
                .arg(m_file));
    }

    /// False when the parser does not find the array where it stands, so that every further finding
    /// would only follow from that.
    bool checkArrayBounds()
    {
        const qsizetype firstBrace = m_source.text.indexOf('{');
        if (m_source.arrayBrace < 0) {
            error(0,
                QStringLiteral(
                    "there is no array of bytes; make the file with release-set convert"));
        } else if (firstBrace != m_source.arrayBrace) {
            error(static_cast<int>(m_source.text.first(firstBrace).count('\n')) + 1,
                QStringLiteral(
                    "a \"{\" before the array is taken for its start; take it out of the "
                    "comment or preprocessor line"));
        } else if (!m_source.closed) {
            error(m_source.arrayLine,
                QStringLiteral("the array that begins here is not closed; end it with \"};\""));
        }
        return !m_faulty;
    }

    void checkPlainArray()
    {
        if (m_source.firstComment > 0) {
            error(m_source.firstComment,
                QStringLiteral("a comment inside the array merges with the literals beside it; "
                               "move it out of the braces"));
        }
        if (m_source.firstDirective > 0) {
            error(m_source.firstDirective,
                QStringLiteral(
                    "a preprocessor line inside the array merges with the literals beside "
                    "it; take it out"));
        }
        checkWords();
        checkByteCount();
    }

    void checkWords()
    {
        struct Sightings
        {
            const SourceWord* first = nullptr;
            int count = 0;
        };
        std::array<Sightings, kWordFaults> sightings;
        for (const SourceBlock& block : std::as_const(m_source.blocks)) {
            for (const SourceWord& word : block.words) {
                const auto fault = faultOf(m_source.at(word), word.joined);
                if (!fault)
                    continue;
                Sightings& kind = sightings[static_cast<std::size_t>(*fault)];
                if (kind.count++ == 0)
                    kind.first = &word;
            }
        }
        for (std::size_t i = 0; i < sightings.size(); ++i) {
            if (sightings[i].count > 0)
                noteWord(static_cast<WordFault>(i), *sightings[i].first, sightings[i].count);
        }
    }

    void noteWord(WordFault fault, const SourceWord& word, int count)
    {
        const QString more
            = count > 1 ? QStringLiteral(" (the first of %1)").arg(count) : QString();
        error(word.line,
            QStringLiteral("\"%1\"%2 %3")
                .arg(QString::fromUtf8(m_source.at(word)), more, explained(fault)));
    }

    [[nodiscard]] qint64 wantedBytes() const
    {
        return qint64(m_image.width) * m_image.height * kBytesPerPixel;
    }

    void checkByteCount()
    {
        // What the source says is held against its size; what the parser makes of it against that,
        // so that a literal that is lost is not told a second time as a wrong size.
        const qsizetype written = m_source.wordCount();
        const bool sized = m_image.width > 0 && m_image.height > 0;
        if (sized && written != wantedBytes()) {
            error(0,
                QStringLiteral(
                    "%1 bytes, but %2 x %3 pixels of 2 bytes are %4; correct .header.w and "
                    ".header.h or convert the picture again")
                    .arg(written)
                    .arg(m_image.width)
                    .arg(m_image.height)
                    .arg(wantedBytes()));
        } else if (!m_faulty && written != m_image.data.size()) {
            error(0,
                QStringLiteral(
                    "the program reads %1 bytes where %2 are written; make the file with "
                    "release-set convert")
                    .arg(m_image.data.size())
                    .arg(written));
        }
    }

    void checkExtent(int extent, const QString& key)
    {
        if (extent == 0) {
            error(0,
                QStringLiteral(
                    "no %1 is read; write an entry \"%1 = N,\" without a comment beside it")
                    .arg(key));
        } else if (extent < 0 || extent > kMaxExtent) {
            error(0,
                QStringLiteral("%1 is %2, which the header line cannot carry; it must be 1 to %3")
                    .arg(key)
                    .arg(extent)
                    .arg(kMaxExtent));
        }
    }

    void checkFormat()
    {
        static const QRegularExpression entry(QStringLiteral("\\.header\\.cf\\s*=\\s*(\\w+)"));
        const QString format = entry.match(QString::fromUtf8(m_source.descriptor)).captured(1);
        if (!format.isEmpty() && format != QLatin1String("LV_IMG_CF_TRUE_COLOR")) {
            m_findings.warning({.file = m_file, .line = 0, .column = 0, .key = {}},
                QStringLiteral(".header.cf is %1, but the board shows every image as "
                               "LV_IMG_CF_TRUE_COLOR; convert the picture to that")
                    .arg(format));
        }
    }

    QString m_file;
    SourceText m_source;
    Findings& m_findings;
    ImageFile m_image;
    bool m_faulty = false;
};

} // namespace

ImageFile readImage(const QString& file, const QByteArray& text, Findings& findings)
{
    return ImageChecker(file, text, findings).check();
}

} // namespace releaseset
