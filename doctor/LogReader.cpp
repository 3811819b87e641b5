#include "doctor/LogReader.h"

#include "doctor/CourseBuilder.h"

#include <QIODevice>
#include <QThread>

#include <algorithm>
#include <vector>

namespace doctor {

namespace {

constexpr qsizetype kChunk = qsizetype{64} * 1024;
/// The longest that the updater writes is a tenth of it; of a longer one the rest is passed over.
constexpr qsizetype kLongestLine = qsizetype{16} * 1024;
/// A file that is not the updater's up to here is not read on: it may have no end.
constexpr qint64 kMostForeignBytes = qint64{4} * 1024 * 1024;

/// Cuts bytes into lines and hands them on.
class LineCutter
{
public:
    explicit LineCutter(CourseBuilder& builder) : m_builder(builder) { }

    void take(QByteArrayView bytes)
    {
        for (;;) {
            const qsizetype end = bytes.indexOf('\n');
            if (end < 0)
                break;
            endLine(bytes.first(end));
            bytes = bytes.sliced(end + 1);
        }
        keep(bytes);
    }

    /// What is left is a line that was cut: the updater ends its lines.
    void end()
    {
        if (!m_rest.isEmpty())
            m_builder.noteCut(logLineOf(m_rest));
    }

private:
    void endLine(QByteArrayView bytes)
    {
        if (m_rest.isEmpty()) {
            m_builder.take(logLineOf(bytes.first(std::min(bytes.size(), kLongestLine))));
            return;
        }
        keep(bytes);
        m_builder.take(logLineOf(m_rest));
        m_rest.clear();
    }

    void keep(QByteArrayView bytes)
    {
        m_rest.append(bytes.first(std::min(bytes.size(), kLongestLine - m_rest.size())));
    }

    CourseBuilder& m_builder;
    QByteArray m_rest;
};

QString notTheUpdaters(bool binary)
{
    return binary
        ? QStringLiteral("This is no text, so it is no log of the updater.")
        : QStringLiteral("This is a text, but no line of it is one of the updater's log.");
}

} // namespace

bool readLog(QIODevice& device, Course& course, QString& error)
{
    CourseBuilder builder;
    LineCutter lines(builder);
    std::vector<char> chunk(kChunk);
    bool binary = false;
    qint64 total = 0;
    while (!QThread::currentThread()->isInterruptionRequested()) {
        const qint64 size = device.read(chunk.data(), kChunk);
        // The end of a pipe is -1, too.
        if (size < 0 && !device.isSequential()) {
            error = QStringLiteral("The log cannot be read: %1").arg(device.errorString());
            return false;
        }
        if (size <= 0)
            break;
        const QByteArrayView bytes(chunk.data(), size);
        binary = binary || bytes.contains('\0');
        total += size;
        lines.take(bytes);
        if (!builder.hasSeenTheUpdater() && total >= kMostForeignBytes)
            break;
    }
    lines.end();
    if (total == 0)
        error = QStringLiteral("The file is empty.");
    else if (!builder.hasSeenTheUpdater())
        error = notTheUpdaters(binary);
    else
        course = builder.course();
    return error.isEmpty();
}

} // namespace doctor
