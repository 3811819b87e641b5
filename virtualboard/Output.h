#pragma once

#include "virtualboard/Board.h"
#include "virtualboard/Verdict.h"

#include <QFile>
#include <QJsonObject>
#include <QString>

#include <mutex>

namespace vboard {

/// Writes every image that arrived on `board` to `folder` as
/// "<prefix>image<number>-v<version>.png". What a part that did not arrive would show stays black.
/// Returns what could not be written.
[[nodiscard]] QStringList writePictures(
    const ImageStore& images, const QString& folder, const QString& prefix);

/// The figures of one board for a report.
[[nodiscard]] QJsonObject boardReport(
    const QString& name, const Verdict& verdict, const Board& board);

/// A transcript: one line of text for each line on a wire. May be written to from any thread.
class Transcript
{
public:
    /// False when `path` cannot be written.
    [[nodiscard]] bool open(const QString& path);
    [[nodiscard]] QString errorString() const { return m_file.errorString(); }
    void write(int board, const WireLine& line);

private:
    std::mutex m_mutex;
    QFile m_file;
};

/// A line without line end as a person can read it: what is no printable ASCII becomes "\xNN".
[[nodiscard]] QByteArray printable(const std::string& text);

} // namespace vboard
