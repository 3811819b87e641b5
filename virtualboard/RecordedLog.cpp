#include "virtualboard/RecordedLog.h"

#include <algorithm>
#include <cctype>
#include <istream>
#include <string_view>
#include <utility>

namespace vboard {

namespace {

using What = RecordedEvent::What;

// "2026-11-22 06:40:01.123 " before a line's category.
constexpr std::string_view kStampPattern = "dddd-dd-dd dd:dd:dd.ddd ";

bool hasStamp(std::string_view line)
{
    return line.size() >= kStampPattern.size()
        && std::equal(
            kStampPattern.begin(), kStampPattern.end(), line.begin(), [](char wanted, char given) {
                return wanted == 'd' ? given >= '0' && given <= '9' : wanted == given;
            });
}

/// `digits` are digits.
int number(std::string_view digits)
{
    int value = 0;
    for (const char digit : digits)
        value = 10 * value + (digit - '0');
    return value;
}

/// What `stamp`, of the pattern above, says.
Time timeOf(std::string_view stamp)
{
    using namespace std::chrono;
    const year_month_day day{year(number(stamp.substr(0, 4))),
        month(static_cast<unsigned>(number(stamp.substr(5, 2)))),
        std::chrono::day(static_cast<unsigned>(number(stamp.substr(8, 2))))};
    return sys_days(day).time_since_epoch() + hours(number(stamp.substr(11, 2)))
        + minutes(number(stamp.substr(14, 2))) + seconds(number(stamp.substr(17, 2)))
        + milliseconds(number(stamp.substr(20, 3)));
}

/// Takes `beginning` off `text`; false when it does not begin so.
bool take(std::string_view& text, std::string_view beginning)
{
    if (!text.starts_with(beginning))
        return false;
    text.remove_prefix(beginning.size());
    return true;
}

std::string_view upTo(std::string_view text, char end)
{
    return text.substr(0, text.find(end));
}

/// It becomes a file's name.
bool isPortName(std::string_view name)
{
    return !name.empty() && name.front() != '.'
        && std::all_of(name.begin(), name.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.';
           });
}

/// The bytes that the log shows as `text`: what was no text is one replacement character each, and
/// becomes one byte that is none again.
std::string bytesOf(std::string_view text)
{
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
    std::string bytes;
    while (!text.empty()) {
        const bool lost = take(text, kReplacement);
        bytes += lost ? '\xFF' : text.front();
        text.remove_prefix(lost ? 0 : 1);
    }
    return bytes;
}

/// Reads a log line by line.
class Reader
{
public:
    void take(std::string_view line);
    [[nodiscard]] bool sawUpdater() const { return m_sawUpdater; }
    /// The ports, when all lines were taken.
    [[nodiscard]] std::vector<RecordedPort> finish();

private:
    struct Port
    {
        RecordedPort recorded;
        std::size_t job = 0; ///< the last one in which it appears
        std::size_t failedToOpen = 0; ///< log line, where nothing came of the job; 0: none
    };

    void takeWire(std::string_view message);
    void takeJob(std::string_view message);
    void add(Port& port, What what, std::string text = {});
    /// The port of this name, in the job of now; null when there can be none.
    Port* portIn(std::string_view name);
    static void endJob(Port& port);

    std::vector<Port> m_ports;
    std::size_t m_line = 0;
    Time m_now{};
    RecordedEvent m_opened; // the job of now
    std::size_t m_job = 1;
    bool m_sawUpdater = false;
};

void Reader::take(std::string_view line)
{
    ++m_line;
    if (hasStamp(line)) {
        m_now = timeOf(line);
        line.remove_prefix(kStampPattern.size());
    }
    if (m_opened.logLine == 0)
        m_opened = {What::Opened, m_now, "", m_line};
    if (vboard::take(line, "updater.wire: "))
        takeWire(line);
    else if (vboard::take(line, "updater.job: "))
        takeJob(line);
}

void Reader::takeWire(std::string_view message)
{
    m_sawUpdater = true;
    const std::string_view name = upTo(message, ' ');
    message.remove_prefix(std::min(message.size(), name.size() + 1));
    Port* const port = portIn(name);
    if (!port)
        return;
    if (vboard::take(message, "TX "))
        add(*port, What::Sent, std::string(message));
    else if (vboard::take(message, "RX "))
        add(*port, What::Answered, bytesOf(message));
}

void Reader::takeJob(std::string_view message)
{
    m_sawUpdater = true;
    if (message.starts_with("Job ")) {
        ++m_job;
        m_opened = {What::Opened, m_now, std::string(message), m_line};
    } else if (message.starts_with("Dialog closed")) {
        for (Port& port : m_ports) {
            if (port.job == m_job)
                add(port, What::Closed);
        }
    } else if (vboard::take(message, "Port has gone \"")) {
        if (Port* const port = portIn(upTo(message, '"')))
            add(*port, What::Gone);
    } else if (vboard::take(message, "Could not open port \"")) {
        Port* const port = portIn(upTo(message, '"'));
        if (port && port->recorded.events.back().what == What::Opened)
            port->failedToOpen = m_line;
    }
}

void Reader::add(Port& port, What what, std::string text)
{
    // The log has nothing that could be played of a port that did not open.
    if (port.failedToOpen == 0)
        port.recorded.events.push_back({what, m_now, std::move(text), m_line});
}

Reader::Port* Reader::portIn(std::string_view name)
{
    if (!isPortName(name))
        return nullptr;
    auto port = std::find_if(m_ports.begin(), m_ports.end(),
        [name](const Port& known) { return known.recorded.name == name; });
    if (port == m_ports.end())
        port = m_ports.insert(port, Port{{std::string(name), {}, false, {}}, 0, 0});
    if (port->job != m_job) {
        endJob(*port);
        port->job = m_job;
        port->recorded.events.push_back(m_opened);
    }
    return &*port;
}

void Reader::endJob(Port& port)
{
    if (port.failedToOpen == 0)
        return;
    port.recorded.events.pop_back();
    port.recorded.leftOut.push_back(std::exchange(port.failedToOpen, 0));
}

std::vector<RecordedPort> Reader::finish()
{
    std::vector<RecordedPort> ports;
    for (Port& port : m_ports) {
        port.recorded.refused = port.failedToOpen != 0;
        endJob(port);
        if (port.recorded.refused)
            port.recorded.leftOut.pop_back();
        ports.push_back(std::move(port.recorded));
    }
    return ports;
}

} // namespace

std::optional<RecordedLog> RecordedLog::read(std::istream& log)
{
    Reader reader;
    // The end of the file at the end of a line is that of a line that was cut.
    for (std::string line; std::getline(log, line) && !log.eof();) {
        if (line.ends_with('\r'))
            line.pop_back();
        reader.take(line);
    }
    if (!reader.sawUpdater())
        return std::nullopt;
    return RecordedLog{reader.finish()};
}

} // namespace vboard
