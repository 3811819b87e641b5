#include "doctor/Course.h"

#include <algorithm>

namespace doctor {

namespace {

constexpr qsizetype kMostPoints = 1000;

/// To two digits, so that the different ones are few.
qint64 rounded(qint64 milliseconds)
{
    qint64 unit = 1;
    while (milliseconds / unit >= 100)
        unit *= 10;
    return milliseconds / unit * unit;
}

} // namespace

void AnswerTimes::note(qint64 milliseconds)
{
    ++m_counts[rounded(milliseconds)];
    ++m_count;
    m_slowest = std::max(m_slowest, milliseconds);
}

qint64 AnswerTimes::within(qint64 parts) const
{
    qint64 seen = 0;
    for (auto bucket = m_counts.begin(); bucket != m_counts.end(); ++bucket) {
        seen += bucket.value();
        if (parts * seen >= m_count)
            return bucket.key();
    }
    return 0;
}

void Track::add(CoursePoint point)
{
    // A clock that is set back must not draw the course backwards.
    if (m_count > 0)
        point.at = std::max(point.at, m_last.at);
    m_last = point;
    if (m_count++ % m_stride != 0)
        return;
    m_kept.append(point);
    if (m_kept.size() < kMostPoints)
        return;
    QList<CoursePoint> thinned;
    for (qsizetype i = 0; i < m_kept.size(); i += 2)
        thinned.append(m_kept.at(i));
    m_kept = thinned;
    m_stride *= 2;
}

QList<CoursePoint> Track::points() const
{
    QList<CoursePoint> points = m_kept;
    if (m_count > 0 && (m_count - 1) % m_stride != 0)
        points.append(m_last);
    return points;
}

qint64 PortCourse::sentAgain() const
{
    qint64 sum = 0;
    for (const LineTally& tally : lines)
        sum += tally.sentAgain;
    return sum;
}

} // namespace doctor
