#include "releaseset/SourceText.h"

#include "releaseset/Rgb565.h"

#include <QRegularExpression>

#include <algorithm>

namespace releaseset {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

/// Walks the text once, as the first phases of a C compiler do: comments and preprocessor lines are
/// told from the rest.
class Reader
{
public:
    explicit Reader(const QByteArray& text) { m_source.text = text; }

    SourceText read()
    {
        while (m_at < m_source.text.size())
            step();
        endBlock();
        return std::move(m_source);
    }

private:
    enum class Place { Before, Inside, After };

    [[nodiscard]] QByteArrayView rest() const { return QByteArrayView(m_source.text).sliced(m_at); }

    void step()
    {
        const char c = m_source.text.at(m_at);
        if (rest().startsWith("//"))
            skipComment("\n", 0);
        else if (rest().startsWith("/*"))
            skipComment("*/", 2);
        else if (c == '#' && m_lineIsBlank)
            skipDirective();
        else
            take(c);
    }

    void skipComment(QByteArrayView end, qsizetype endLength)
    {
        if (m_place == Place::Inside && m_source.firstComment == 0)
            m_source.firstComment = m_line;
        const qsizetype found = m_source.text.indexOf(end, m_at + 2);
        advanceTo(found < 0 ? m_source.text.size() : found + endLength);
    }

    void skipDirective()
    {
        const int line = m_line;
        qsizetype end = m_at;
        do {
            end = m_source.text.indexOf('\n', end + 1);
        } while (end > 0 && endsInContinuation(end));
        if (end < 0)
            end = m_source.text.size();
        const QByteArray directive = m_source.text.sliced(m_at + 1, end - m_at - 1).simplified();
        if (m_place == Place::Inside)
            noteDirective(directive, line);
        advanceTo(end);
    }

    [[nodiscard]] bool endsInContinuation(qsizetype lineEnd) const
    {
        return QByteArrayView(m_source.text).first(lineEnd).trimmed().endsWith('\\');
    }

    void noteDirective(const QByteArray& directive, int line)
    {
        if (m_source.firstDirective == 0)
            m_source.firstDirective = line;
        endBlock();
        if (directive.startsWith("if")) {
            ++m_source.conditions;
            m_block.condition = directive.mid(directive.startsWith("if ") ? 3 : 2).trimmed();
        } else if (directive.startsWith("elif")) {
            m_block.condition = directive.mid(4).trimmed();
        }
        m_block.line = line;
    }

    void take(char c)
    {
        if (m_place == Place::Before && c == '{')
            openArray();
        else if (m_place == Place::Inside && (c == '}' || c == '{'))
            endArray(c == '}');
        else if (m_place == Place::Inside && !isBlank(c) && c != ',')
            return takeWord();
        else if (m_place == Place::After)
            m_source.descriptor.append(c);
        if (c == ',')
            m_separated = true;
        advanceTo(m_at + 1);
    }

    void openArray()
    {
        m_place = Place::Inside;
        m_source.arrayBrace = m_at;
        m_source.arrayLine = m_line;
    }

    void endArray(bool closed)
    {
        m_place = Place::After;
        m_source.closed = closed;
        endBlock();
    }

    void takeWord()
    {
        const QByteArrayView view = rest();
        const auto end = std::ranges::find_if(view, [](char c) {
            return isBlank(c) || c == ',' || c == '{' || c == '}' || c == '/' || c == '#';
        });
        const qsizetype length = std::max<qsizetype>(end - view.begin(), 1);
        m_block.words.push_back({m_at, length, m_line, !m_separated});
        m_separated = false;
        advanceTo(m_at + length);
    }

    void endBlock()
    {
        if (!m_block.words.empty())
            m_source.blocks.append(std::move(m_block));
        m_block = {};
        m_separated = true;
    }

    void advanceTo(qsizetype position)
    {
        for (; m_at < position; ++m_at) {
            const char c = m_source.text.at(m_at);
            if (c == '\n')
                ++m_line;
            m_lineIsBlank = c == '\n' || (m_lineIsBlank && isBlank(c));
        }
    }

    SourceText m_source;
    SourceBlock m_block;
    qsizetype m_at = 0;
    int m_line = 1;
    Place m_place = Place::Before;
    bool m_lineIsBlank = true;
    bool m_separated = true;
};

int descriptorNumber(const QByteArray& descriptor, const QString& key)
{
    static const QRegularExpression entry(QStringLiteral("\\.header\\.(\\w)\\s*=\\s*(\\d+)"));
    auto match = entry.globalMatch(QString::fromUtf8(descriptor));
    int number = 0;
    while (match.hasNext()) {
        const QRegularExpressionMatch found = match.next();
        if (found.captured(1) == key)
            number = found.captured(2).toInt();
    }
    return number;
}

/// The block for 16 bits with the low byte first, or a null pointer.
const SourceBlock* plainBlock(const SourceText& source)
{
    const auto isPlain16 = [](const SourceBlock& block) {
        const QByteArray condition = block.condition.simplified().replace(' ', "");
        return condition.contains("DEPTH==16")
            && (condition.contains("SWAP==0") || condition.contains("!LV_COLOR_16_SWAP")
                || !condition.contains("SWAP"));
    };
    const auto found = std::ranges::find_if(source.blocks, isPlain16);
    return found == source.blocks.cend() ? nullptr : &*found;
}

QString decodeWords(
    const SourceText& source, const std::vector<SourceWord>& words, QByteArray& pixels)
{
    constexpr uint kMaxByte = 0xff;
    pixels.reserve(static_cast<qsizetype>(words.size()));
    for (const SourceWord& word : words) {
        bool isNumber = false;
        const uint value = source.at(word).toByteArray().toUInt(&isNumber, 0);
        if (!isNumber || value > kMaxByte || word.joined) {
            return QStringLiteral("line %1: \"%2\" is not a byte between commas")
                .arg(word.line)
                .arg(QString::fromUtf8(source.at(word)));
        }
        pixels.append(static_cast<char>(value));
    }
    return {};
}

} // namespace

QByteArrayView SourceText::at(const SourceWord& word) const
{
    return QByteArrayView(text).sliced(word.position, word.length);
}

qsizetype SourceText::wordCount() const
{
    qsizetype count = 0;
    for (const SourceBlock& block : blocks)
        count += static_cast<qsizetype>(block.words.size());
    return count;
}

SourceText readSource(const QByteArray& text)
{
    return Reader(text).read();
}

SourceImage decodeSource(const SourceText& source)
{
    SourceImage image;
    image.size = {descriptorNumber(source.descriptor, QStringLiteral("w")),
        descriptorNumber(source.descriptor, QStringLiteral("h"))};
    if (source.blocks.isEmpty()) {
        image.fault = QStringLiteral("there is no array of bytes");
        return image;
    }
    const SourceBlock* block = source.conditions > 0 ? plainBlock(source) : &source.blocks.first();
    if (block == nullptr) {
        image.fault = QStringLiteral("no block is for LV_COLOR_DEPTH == 16 without swapped bytes");
        return image;
    }
    image.fault = decodeWords(source, block->words, image.pixels);
    const qint64 wanted = qint64(image.size.width()) * image.size.height() * kBytesPerPixel;
    if (image.fault.isEmpty() && (wanted == 0 || wanted != image.pixels.size())) {
        image.fault = QStringLiteral("%1 bytes are not %2 x %3 pixels of 2 bytes")
                          .arg(image.pixels.size())
                          .arg(image.size.width())
                          .arg(image.size.height());
    }
    return image;
}

} // namespace releaseset
