#include "releaseset/SourceText.h"

#include <algorithm>

namespace releaseset {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v';
}

/// Walks the text once, as the first phases of a C compiler do, which take comments and
/// preprocessor lines out.
class Reader
{
public:
    explicit Reader(const QByteArray& text) { m_source.text = text; }

    SourceText read()
    {
        while (m_at < m_source.text.size())
            step();
        endBranch();
        return std::move(m_source);
    }

private:
    enum class Stage { Before, Array, Descriptor, After };

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
        else if (m_stage == Stage::Array && !isBlank(c) && c != ',' && c != '{' && c != '}')
            takeWord();
        else
            takeCharacter(c);
    }

    void skipComment(QByteArrayView end, qsizetype endLength)
    {
        if (m_stage == Stage::Array && m_source.firstComment == 0)
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
        if (m_stage == Stage::Array)
            noteDirective(m_source.text.sliced(m_at + 1, end - m_at - 1).simplified(), line);
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
        if (directive.startsWith("if")) {
            ++m_source.conditions;
            beginBranch(directive.mid(2));
        } else if (directive.startsWith("elif")) {
            beginBranch(directive.mid(4));
        } else if (directive.startsWith("else") || directive.startsWith("endif")) {
            beginBranch({});
        }
    }

    void takeWord()
    {
        const QByteArrayView view = rest();
        const auto end = std::ranges::find_if(view, [](char c) {
            return isBlank(c) || c == ',' || c == '{' || c == '}' || c == '/' || c == '#';
        });
        const qsizetype length = std::max<qsizetype>(end - view.begin(), 1);
        m_branch.words.push_back({m_at, length, m_line, !m_separated});
        m_separated = false;
        advanceTo(m_at + length);
    }

    void takeCharacter(char c)
    {
        if (m_stage == Stage::Before && c == '{') {
            m_stage = Stage::Array;
            m_source.arrayBrace = m_at;
            m_source.arrayLine = m_line;
        } else if (m_stage == Stage::Array && (c == '}' || c == '{')) {
            m_stage = Stage::Descriptor;
            m_source.closed = c == '}';
            endBranch();
        } else if (m_stage == Stage::Array && c == ',') {
            m_separated = true;
        } else if (m_stage == Stage::Descriptor) {
            takeFromDescriptor(c);
        }
        advanceTo(m_at + 1);
    }

    void takeFromDescriptor(char c)
    {
        if (c == '{') {
            openBraces();
        } else if (c == '}' && !m_scopes.isEmpty()) {
            endEntry();
            m_scopes.removeLast();
            if (m_scopes.isEmpty())
                m_stage = Stage::After;
        } else if (c == ',') {
            endEntry();
        } else if (c == '=') {
            m_inValue = true;
        } else if (!m_scopes.isEmpty()) {
            if (m_key.isEmpty())
                m_entry.line = m_line;
            if (m_inValue)
                m_entry.value.append(c);
            else if (!isBlank(c))
                m_key.append(c);
        }
    }

    /// Opens the descriptor, or an entry's own braces inside it.
    void openBraces()
    {
        if (!m_scopes.isEmpty() && m_source.nested == 0)
            m_source.nested = m_entry.line;
        m_scopes.append(m_scopes.isEmpty() ? QByteArray() : m_scopes.last() + m_key);
        beginEntry();
    }

    void beginEntry()
    {
        m_key.clear();
        m_entry = {};
        m_inValue = false;
    }

    void endEntry()
    {
        if (!m_key.isEmpty() && !m_scopes.isEmpty()) {
            m_entry.value = m_entry.value.simplified();
            m_source.entries.insert(m_scopes.last() + m_key, m_entry);
        }
        beginEntry();
    }

    void beginBranch(const QByteArray& condition)
    {
        endBranch();
        m_branch = {condition.trimmed(), {}};
        m_separated = true;
    }

    void endBranch()
    {
        if (!m_branch.words.empty())
            m_source.branches.append(std::move(m_branch));
        m_branch = {};
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
    SourceBranch m_branch;
    QByteArray m_key;
    SourceEntry m_entry;
    QList<QByteArray> m_scopes; ///< of the descriptor: the names before the entries, by open brace
    qsizetype m_at = 0;
    int m_line = 1;
    Stage m_stage = Stage::Before;
    bool m_inValue = false;
    bool m_lineIsBlank = true;
    bool m_separated = true;
};

} // namespace

SourceText readSource(const QByteArray& text)
{
    return Reader(text).read();
}

} // namespace releaseset
