#include "doctor/CourseBuilder.h"

#include <algorithm>

namespace doctor {

namespace {

// More than a computer has; a log that somebody else wrote can name any number.
constexpr std::size_t kMostPorts = 64;
constexpr qsizetype kMostOtherPorts = 8;

std::optional<QByteArrayView> after(QByteArrayView message, QByteArrayView prefix)
{
    if (!message.startsWith(prefix))
        return {};
    return message.sliced(prefix.size());
}

bool isNumber(QByteArrayView text)
{
    return !text.isEmpty()
        && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

void CourseBuilder::take(const LogLine& line)
{
    if (line.source == LogLine::Source::Other)
        return;
    m_hasSeenTheUpdater = true;
    m_time = line.time;
    // Without times the lines are counted.
    m_at = line.time ? static_cast<double>(*line.time) : m_at + 1;
    const bool wasClosed = m_course.closed;
    if (line.source == LogLine::Source::Job)
        takeJobMessage(line.message);
    else if (const auto wire = wireLineOf(line.message))
        takeWireLine(*wire);
    if (!line.time)
        return;
    m_course.hasTimes = true;
    if (!m_course.begin)
        m_course.begin = line.time;
    if (!wasClosed || !m_course.closed)
        m_course.end = line.time;
}

void CourseBuilder::noteCut(const LogLine& line)
{
    m_course.cut = true;
    m_hasSeenTheUpdater = m_hasSeenTheUpdater || line.source != LogLine::Source::Other;
}

Course CourseBuilder::course() const
{
    Course course = m_course;
    for (const PortFollower& port : m_ports)
        course.ports.append(port.course());
    return course;
}

void CourseBuilder::takeWireLine(const WireLine& line)
{
    if (PortFollower* const port = follower(line.port))
        port->take(line, m_time, m_at);
}

void CourseBuilder::takeJobMessage(QByteArrayView message)
{
    if (!takeCourseMessage(message) && !takeOpening(message) && !takeReport(message))
        takeFoundPort(message);
}

bool CourseBuilder::takeCourseMessage(QByteArrayView message)
{
    if (const auto version = after(message, "Annealing DB Updater "))
        m_course.program = shownText(*version);
    else if (const auto job = after(message, "Job "))
        beginJob(shownText(*job));
    else if (const auto files = after(message, "Files "))
        m_course.images = files->trimmed().toInt();
    else if (const auto set = after(message, "Release set "))
        m_course.releaseSet = shownText(*set);
    else if (message == "Dialog closed")
        m_course.closed = true;
    else
        return false;
    return true;
}

/// What the system said of a port: its name stands in quotation marks.
bool CourseBuilder::takeOpening(QByteArrayView message)
{
    const bool failed = message.startsWith("Could not open port \"");
    if (!failed && !message.startsWith("Port has gone \""))
        return false;
    const QStringList quoted = quotedIn(message);
    PortFollower* const port = follower(quoted.value(0).toUtf8());
    if (port != nullptr && failed)
        port->failToOpen(quoted.value(1));
    else if (port != nullptr)
        port->noteGone(m_time);
    return true;
}

/// What the job says of a port: it begins with the port's name.
bool CourseBuilder::takeReport(QByteArrayView message)
{
    const qsizetype nameEnd = message.indexOf(' ');
    if (nameEnd <= 0)
        return false;
    const QByteArrayView report = message.sliced(nameEnd + 1);
    const auto passedOver = after(report, "passed over (");
    if (!passedOver && report != "Bootload Complete")
        return false;
    PortFollower* const port = follower(message.first(nameEnd));
    if (port != nullptr && passedOver)
        port->passOver(
            shownText(passedOver->first(std::max<qsizetype>(0, passedOver->indexOf(')')))));
    else if (port != nullptr)
        port->noteComplete(m_time);
    return true;
}

/// Of each port that the job finds: its manufacturer, the number of its vendor, its description.
void CourseBuilder::takeFoundPort(QByteArrayView message)
{
    const bool isQuoted = message.startsWith('"');
    switch (m_listing) {
    case Listing::Manufacturer:
        m_foundAdapter = message.contains("FTDI");
        m_listing = isQuoted ? Listing::Vendor : Listing::Ended;
        break;
    case Listing::Vendor:
        m_listing = isNumber(message) ? Listing::Description : Listing::Ended;
        break;
    case Listing::Description:
        m_listing = isQuoted ? Listing::Manufacturer : Listing::Ended;
        if (isQuoted)
            noteFoundPort(quotedIn(message).value(0));
        break;
    case Listing::Ended:
        break;
    }
}

void CourseBuilder::noteFoundPort(const QString& description)
{
    if (m_foundAdapter)
        ++m_course.adapters;
    else if (!description.isEmpty() && m_course.otherPorts.size() < kMostOtherPorts)
        m_course.otherPorts.append(description);
}

void CourseBuilder::beginJob(const QString& job)
{
    Course next;
    next.program = m_course.program;
    next.jobs = m_course.jobs + 1;
    next.job = job;
    next.begin = m_time;
    m_course = next;
    m_ports.clear();
    m_listing = Listing::Manufacturer;
}

/// Null where there are too many.
PortFollower* CourseBuilder::follower(QByteArrayView portName)
{
    const QString name = shownText(portName);
    // The beginning of this job is missing.
    if (m_course.closed || m_course.jobs == 0)
        beginJob({});
    const auto known = std::ranges::find(m_ports, name, &PortFollower::name);
    if (known != m_ports.end())
        return &*known;
    m_course.hasMorePorts = m_course.hasMorePorts || m_ports.size() >= kMostPorts;
    return m_course.hasMorePorts ? nullptr : &m_ports.emplace_back(name);
}

} // namespace doctor
