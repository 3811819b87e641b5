#pragma once

#include "doctor/PortFollower.h"

#include <vector>

namespace doctor {

/// Makes a course of the lines of a log, of which it keeps none.
class CourseBuilder
{
public:
    /// Takes the next line.
    void take(const LogLine& line);

    /// The log ends in the midst of `line`, which is not taken.
    void noteCut(const LogLine& line);

    /// True once a line was the updater's.
    [[nodiscard]] bool hasSeenTheUpdater() const { return m_hasSeenTheUpdater; }

    /// What the lines so far tell of the last job.
    [[nodiscard]] Course course() const;

private:
    /// Which line about a port that was found is the next.
    enum class Listing {
        Ended,
        Manufacturer,
        Vendor,
        Description,
    };

    void takeWireLine(const WireLine& line);
    void takeJobMessage(QByteArrayView message);
    bool takeCourseMessage(QByteArrayView message);
    bool takeOpening(QByteArrayView message);
    bool takeReport(QByteArrayView message);
    void takeFoundPort(QByteArrayView message);
    void noteFoundPort(const QString& description);
    void beginJob(const QString& job);
    PortFollower* follower(QByteArrayView portName);

    Course m_course;
    std::vector<PortFollower> m_ports;
    Moment m_time;
    double m_at = 0; ///< of the line, on the time axis
    bool m_hasSeenTheUpdater = false;
    Listing m_listing{};
    bool m_foundAdapter = false;
};

} // namespace doctor
