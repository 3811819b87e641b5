#pragma once

#include "virtualboard/Board.h"

#include <QFile>
#include <QString>

#include <mutex>

namespace vboard {

/// A transcript: one line of text for each line that boards receive or send. May be written to from
/// any thread.
class Transcript
{
public:
    /// False when `path` cannot be written.
    [[nodiscard]] bool open(const QString& path);
    [[nodiscard]] QString errorString() const { return m_file.errorString(); }
    void write(int board, const RecordedLine& line);

private:
    std::mutex m_mutex;
    QFile m_file;
};

/// A line without line end in readable form: what is no printable ASCII becomes "\xNN".
[[nodiscard]] QByteArray printable(const std::string& text);

} // namespace vboard
