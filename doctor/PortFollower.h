#pragma once

#include "doctor/LogLine.h"

namespace doctor {

/// Follows the lines of one port into its course.
class PortFollower
{
public:
    /// For the port `name`.
    explicit PortFollower(QString name) { m_course.name = std::move(name); }

    [[nodiscard]] const QString& name() const { return m_course.name; }

    /// Takes a line of this port, of which `at` is the place on the time axis: see `CoursePoint`.
    void take(const WireLine& line, Moment time, double at);

    /// The reply that came last had no effect, for `reason`.
    void passOver(const QString& reason);

    /// The port could not be opened.
    void failToOpen(const QString& error) { m_course.openError = error; }

    /// The adapter has gone; the job is complete.
    void noteGone(Moment time);
    void noteComplete(Moment time);

    /// What the lines so far tell.
    [[nodiscard]] PortCourse course() const;

private:
    /// A reply, until it is known whether it was passed over.
    struct Reply
    {
        QByteArray text;
        Moment time;
        double at = 0;
    };

    void takeSent(QByteArrayView text, Moment time, double at);
    void takeReply(const Reply& reply);
    void moveOn(LineKind kind, QByteArrayView text);
    void moveToPage(int page);
    void moveToImage(QByteArrayView header);
    void noteSentAgain(LineKind kind, double at);
    void noteAnswer(const LineKindRow& row, Moment time);
    void noteRestart(QByteArrayView reply);
    void acknowledge(LineKind kind, QByteArrayView text, double at);
    void drawPage(double at, double done);
    void drawImage(double at, double done);
    void settle();

    PortCourse m_course;
    std::optional<Reply> m_reply;
    /// The line that awaits its answer, and since when.
    QByteArray m_awaited;
    Moment m_awaitedSince;
    bool m_awaitedTwice = false;
    bool m_imageIsDone = true;
    bool m_pageHasData = false;
    bool m_hasWorked = false; ///< the bootloader has obeyed
    int m_dataLine = 0;
};

} // namespace doctor
