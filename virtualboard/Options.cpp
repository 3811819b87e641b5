#include "virtualboard/Options.h"

#include <QFile>
#include <QHash>

#include <functional>

namespace vboard {

namespace {

constexpr int kMostBoards = 64;
constexpr int kMostPorts = 100'000;

bool readInt(const QString& text, int least, int most, int& value)
{
    bool ok = false;
    value = text.toInt(&ok);
    return ok && value >= least && value <= most;
}

/// "20" is in `plainUnit`; "20ms" and "1.5s" say it themselves.
bool readTime(const QString& text, double plainUnit, Time& time)
{
    QString digits = text;
    double unit = plainUnit;
    if (text.endsWith(QLatin1String("ms"))) {
        digits.chop(2);
        unit = 1e3;
    } else if (text.endsWith(u's')) {
        digits.chop(1);
        unit = 1e6;
    }
    bool ok = false;
    const double value = digits.toDouble(&ok) * unit;
    constexpr double kDay = 86'400e6;
    if (!ok || !(value >= 0 && value <= kDay))
        return false;
    time = Time(qRound64(value));
    return true;
}

class Parser
{
public:
    std::optional<Options> parse(QStringList arguments, QString& error);

private:
    using Setter = std::function<bool(const QString&)>;

    void addFlag(const char* name, bool& flag);
    void addText(const char* name, QString& text);
    void addTime(const char* name, double plainUnit, std::function<void(Time)> set);
    void addNumber(const char* name, int least, int most, int& number);
    void addBoardSettings();
    void addTimes();
    void addAll();
    bool addHeld(const QString& value);
    bool addFault(const QString& line);
    bool addFaultFile(const QString& path);
    [[nodiscard]] QString unknown(const QString& option) const;
    bool takeOption(QString option, QStringList& rest);
    void finish();

    Options m_options;
    QHash<QString, Setter> m_flags;
    QHash<QString, Setter> m_settings;
    std::vector<std::function<void()>> m_givenTimes; // set after the defaults are known
    QString m_reason;
};

void Parser::addFlag(const char* name, bool& flag)
{
    m_flags.insert(QLatin1String(name), [&flag](const QString&) { return flag = true; });
}

void Parser::addText(const char* name, QString& text)
{
    m_settings.insert(QLatin1String(name), [&text](const QString& value) {
        text = value;
        return !value.isEmpty();
    });
}

void Parser::addNumber(const char* name, int least, int most, int& number)
{
    m_settings.insert(QLatin1String(name), [=, this, &number](const QString& value) {
        if (readInt(value, least, most, number))
            return true;
        m_reason = QStringLiteral("a number from %1 to %2, not \"%3\"")
                       .arg(QString::number(least), QString::number(most), value);
        return false;
    });
}

void Parser::addTime(const char* name, double plainUnit, std::function<void(Time)> set)
{
    m_settings.insert(QLatin1String(name), [=](const QString& value) {
        Time time{};
        if (!readTime(value, plainUnit, time))
            return false;
        set(time);
        return true;
    });
}

void Parser::addBoardSettings()
{
    BoardOptions& board = m_options.board;
    m_settings.insert(QStringLiteral("--kind"), [&board](const QString& value) {
        board.kind = value == QLatin1String("service") ? Kind::Service : Kind::Display;
        return value == QLatin1String("service") || value == QLatin1String("display");
    });
    m_settings.insert(QStringLiteral("--version"), [&board](const QString& value) {
        board.version = value.toStdString();
        return true;
    });
    m_settings.insert(QStringLiteral("--seed"), [&board](const QString& value) {
        bool ok = false;
        board.seed = value.toULongLong(&ok);
        return ok;
    });
    m_settings.insert(QStringLiteral("--holds"), [this](const QString& v) { return addHeld(v); });
    m_settings.insert(QStringLiteral("--fault"), [this](const QString& v) { return addFault(v); });
    m_settings.insert(
        QStringLiteral("--fault-file"), [this](const QString& v) { return addFaultFile(v); });
    m_settings.insert(QStringLiteral("--expect"), [this](const QString& value) {
        m_options.expected = jobOfName(value);
        return m_options.expected.has_value();
    });
}

void Parser::addTimes()
{
    constexpr double kMilliseconds = 1e3;
    constexpr double kSeconds = 1e6;
    OwnTimes& times = m_options.board.times;
    const auto ownTime = [this](Time& target) {
        return [this, &target](
                   Time time) { m_givenTimes.emplace_back([&target, time] { target = time; }); };
    };
    addTime("--boot", kMilliseconds, ownTime(times.boot));
    addTime("--erase", kMilliseconds, ownTime(times.erase));
    addTime("--program", kMilliseconds, ownTime(times.program));
    addTime("--image-erase", kMilliseconds, ownTime(times.imageErase));
    addTime("--adapter-latency", kMilliseconds,
        [this](Time time) { m_options.board.adapterLatency = time; });
    addTime("--stop-when-done", kSeconds, [this](Time time) { m_options.stopWhenDone = time; });
    addTime("--timeout", kSeconds, [this](Time time) { m_options.timeout = time; });
}

void Parser::addAll()
{
    addFlag("--line-rate", m_options.board.lineRate);
    addFlag("--progress", m_options.progress);
    addFlag("--window", m_options.window);
    addFlag("--help", m_options.help);
    addFlag("-h", m_options.help);
    addNumber("--boards", 1, kMostBoards, m_options.boards);
    addNumber("--first-port", 0, kMostPorts, m_options.firstPort);
    addText("--serial", m_options.serialPort);
    addText("--release-set", m_options.releaseSet);
    addText("--pictures", m_options.pictures);
    addText("--record", m_options.record);
    addText("--report", m_options.report);
    addBoardSettings();
    addTimes();
}

bool Parser::addHeld(const QString& value)
{
    const QStringList parts = value.split(u':');
    int number = 0;
    int version = 0;
    if (parts.size() != 2 || !readInt(parts.first(), 0, INT_MAX, number)
        || !readInt(parts.last(), 0, INT_MAX, version))
        return false;
    m_options.board.held.emplace_back(number, version);
    return true;
}

bool Parser::addFault(const QString& line)
{
    std::string error;
    auto rule = FaultRule::parse(line.simplified().toStdString(), error);
    if (!rule) {
        m_reason = QString::fromStdString(error);
        return false;
    }
    m_options.board.faults.push_back(std::move(*rule));
    return true;
}

bool Parser::addFaultFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_reason = file.errorString();
        return false;
    }
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString& line : lines) {
        const QString rule = line.section(u'#', 0, 0).trimmed();
        if (!rule.isEmpty() && !addFault(rule))
            return false;
    }
    return true;
}

QString Parser::unknown(const QString& option) const
{
    if (m_flags.contains(option))
        return QStringLiteral("%1 takes no value").arg(option);
    if (!option.startsWith(u'-'))
        return QStringLiteral("\"%1\" is no option; a program goes behind \"--\"").arg(option);
    return QStringLiteral("there is no option \"%1\"").arg(option);
}

bool Parser::takeOption(QString option, QStringList& rest)
{
    if (const auto flag = m_flags.constFind(option); flag != m_flags.cend())
        return (*flag)({});
    QString value;
    const qsizetype equals = option.indexOf(u'=');
    if (equals > 0) {
        value = option.mid(equals + 1);
        option.truncate(equals);
    }
    const auto setting = m_settings.constFind(option);
    if (setting == m_settings.cend()) {
        m_reason = unknown(option);
        return false;
    }
    if (equals < 0 && rest.isEmpty()) {
        m_reason = QStringLiteral("%1 needs a value").arg(option);
        return false;
    }
    if (equals < 0)
        value = rest.takeFirst();
    if ((*setting)(value))
        return true;
    m_reason = m_reason.isEmpty()
        ? QStringLiteral("%1: \"%2\" is not understood").arg(option, value)
        : QStringLiteral("%1: %2").arg(option, m_reason);
    return false;
}

std::optional<Options> Parser::parse(QStringList arguments, QString& error)
{
    addAll();
    m_options.releaseSet = QStringLiteral(VIRTUALBOARD_RELEASE_SET);
    while (!arguments.isEmpty()) {
        const QString argument = arguments.takeFirst();
        if (argument == QLatin1String("--")) {
            m_options.program = arguments;
            break;
        }
        if (!takeOption(argument, arguments)) {
            error = m_reason;
            return std::nullopt;
        }
    }
    if (!m_options.serialPort.isEmpty() && (m_options.boards > 1 || !m_options.program.isEmpty())) {
        error = QStringLiteral("--serial serves one board and starts no program");
        return std::nullopt;
    }
    finish();
    return m_options;
}

void Parser::finish()
{
    if (m_options.board.lineRate)
        m_options.board.times = OwnTimes::realistic();
    for (const auto& set : m_givenTimes)
        set();
}

} // namespace

std::optional<Options> Options::parse(const QStringList& arguments, QString& error)
{
    return Parser().parse(arguments, error);
}

const char* Options::helpText()
{
    return R"(virtual-board [OPTIONS] [-- PROGRAM [ARGUMENTS]]

A display board in software. Starts PROGRAM on a mocked USB bus with an FTDI adapter for each board,
and says in the end what the boards received. Without PROGRAM it prints the port that it serves.

  --boards N               number of boards (1)       --first-port N   ttyUSBN is the first (0)
  --serial PORT            serve a port of this computer, for two computers and a cable
  --kind display|service   firmware: asked for "$MVER" (default), or reporting "$STATUS" itself
  --version TEXT           what the application says  --holds NUMBER:VERSION   an image it has

  --line-rate              every byte takes its ten bit times, and the own times get realistic
  --adapter-latency MS     of the USB adapter's timer (0; 16 is the chip's default)
  --boot MS  --erase MS  --program MS  --image-erase MS     the board's own times
                           (100, 0, 0 and 1000; with --line-rate 300, 45, 12 and 20000)

  --fault 'WHAT WHEN'      repeatable; --fault-file FILE has one a line; --seed N for the dice
      WHAT on a command: drop-command  corrupt-command  garbage [bytes=200]  long-line [bytes=3000]
                         announce  restart  silence [for=2s]  unplug [for=2s]
      WHAT on a reply:   drop-reply  delay-reply [by=300ms]  split-reply [gap=1ms]
                         join-lines [lines=3]
      WHEN: at=NUMBER or rate=PERCENT%, [word=D] counts lines of that word only, [times=N] at most

  --release-set DIR        what should arrive         --expect update|images|erase   (as received)
  --progress               a line on the terminal     --window         the board's display and flash
  --pictures DIR           received images as PNG     --record FILE    every line with its time
  --report FILE            figures as JSON
  --stop-when-done S       end PROGRAM S seconds after all boards are done   --timeout S   anyway

Exit code: 0 flash and images are exactly the release set, 1 they are not or PROGRAM failed,
2 wrong call.
)";
}

} // namespace vboard
