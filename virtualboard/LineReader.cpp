#include "virtualboard/LineReader.h"

#include <utility>

namespace vboard {

std::vector<std::string> LineReader::take(std::string_view bytes, Time now)
{
    std::vector<std::string> lines;
    // What comes after the silence belongs to the next line, even if the silence is noticed late.
    if (auto ended = endBySilence(now))
        lines.push_back(std::move(*ended));
    for (const char byte : bytes)
        takeByte(byte, lines);
    m_lastByte = now;
    return lines;
}

void LineReader::takeByte(char byte, std::vector<std::string>& lines)
{
    if (byte == '$') {
        if (hasChecksum())
            lines.push_back(m_line);
        m_line = byte;
    } else if (m_line.empty()) {
        ++m_strayInput.strayBytes;
    } else if (byte == '\n') {
        lines.push_back(std::exchange(m_line, {}));
    } else if (m_line.size() == kLongestLine) {
        ++m_strayInput.overlongLines;
        reset();
    } else if (byte != '\r') {
        m_line += byte;
    }
}

bool LineReader::hasChecksum() const
{
    const std::size_t star = m_line.rfind('*');
    return star != std::string::npos && star + 1 < m_line.size();
}

std::optional<Time> LineReader::due() const
{
    if (!hasChecksum())
        return std::nullopt;
    return m_lastByte + kSilence;
}

std::optional<std::string> LineReader::endBySilence(Time now)
{
    const std::optional<Time> end = due();
    if (!end || *end > now)
        return std::nullopt;
    return std::exchange(m_line, {});
}

void LineReader::reset()
{
    m_line.clear();
}

} // namespace vboard
