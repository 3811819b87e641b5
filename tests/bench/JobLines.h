#pragma once

#include "bootload/CompiledSet.h"
#include "bootload/ImageFile.h"

#include <functional>
#include <vector>

/// An update job for a peer of the program, with the program's own readers and lines: takes each
/// reply and builds the line that answers it.
class JobLines
{
public:
    /// The job that sends the release set in the folder `releaseSet`. Throws std::runtime_error
    /// when a file cannot be read.
    explicit JobLines(const QString& releaseSet);
    JobLines(const JobLines&) = delete;
    JobLines& operator=(const JobLines&) = delete;

    /// Sent to the board's application; its bootloader answers at its own speed. Valid until the
    /// next line is built.
    [[nodiscard]] QByteArrayView askForBootloader();

    /// The line that answers `reply`, a whole line from the bootloader; valid until the next call.
    /// Throws std::runtime_error when this reply is not expected now.
    [[nodiscard]] QByteArrayView answerTo(QByteArrayView reply);

    /// True once the job's last line, which is not answered, has been built.
    [[nodiscard]] bool finished() const { return m_next == m_plan.size(); }

private:
    void plan(std::function<protocol::Line()> build) { m_plan.push_back(std::move(build)); }
    void planPage(qint32 page);
    void planImage(const ImageFile& image);
    QByteArrayView framed();

    QByteArray m_firmware; // from address 0 on, filled up with erased bytes
    std::vector<std::function<protocol::Line()>> m_plan; // each line is built when it is its turn
    std::size_t m_next = 0;
    protocol::Line m_line;
    QByteArray m_awaited{"$Bootloader"};
};
