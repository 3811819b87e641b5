#include "virtualboard/Transcript.h"

namespace vboard {

bool Transcript::open(const QString& path)
{
    m_file.setFileName(path);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

void Transcript::write(int board, const RecordedLine& line)
{
    static constexpr const char* kWays[] = {"->", "<-", "--"};
    const QByteArray text = printable(line.text);
    const std::lock_guard lock(m_mutex);
    m_file.write(QByteArray::number(std::chrono::duration<double>(line.at).count(), 'f', 6)
                     .rightJustified(12)
        + " board " + QByteArray::number(board) + ' ' + kWays[static_cast<std::size_t>(line.way)]
        + ' ' + text + '\n');
    // Flushed, for whoever waits for a fault to show here.
    if (line.way == RecordedLine::Way::Note)
        m_file.flush();
}

QByteArray printable(const std::string& text)
{
    QByteArray result;
    for (const char c : text) {
        if (c >= ' ' && c <= '~')
            result += c;
        else
            result += "\\x" + QByteArray(1, c).toHex().toUpper();
    }
    return result;
}

} // namespace vboard
