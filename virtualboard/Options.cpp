#include "virtualboard/Options.h"

#include <QCommandLineParser>
#include <QFile>

#include <climits>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace vboard {

namespace {

constexpr int kMostBoards = 64;
constexpr int kMostPorts = 100'000;
constexpr double kMilliseconds = 1e3; // in microseconds
constexpr double kSeconds = 1e6;

void addOptions(QCommandLineParser& parser)
{
    const auto add = [&parser](const char* name, const char* value, const char* description) {
        parser.addOption({QLatin1String(name), QLatin1String(description), QLatin1String(value)});
    };
    add("boards", "N", "number of boards (1)");
    add("first-port", "N", "ttyUSBN is the first of them (0)");
    add("serial", "PORT", "serve a port of this computer");
    add("kind", "KIND", "display, asked by $MVER (default), or service");
    add("version", "TEXT", "what the application says that it is");
    add("holds", "NUMBER:VERSION", "an image that it has; repeatable");
    add("line-rate", "", "bytes take their bit times; realistic own times");
    add("adapter-latency", "MS", "of the adapter's timer (0; 16 is usual)");
    add("boot", "MS", "from a restart on (100; with --line-rate 300)");
    add("erase", "MS", "of a page (0; with --line-rate 45)");
    add("program", "MS", "of a page (0; with --line-rate 12)");
    add("image-erase", "MS", "of all images (1000; with --line-rate 20000)");
    add("fault", "WHAT WHEN", "see below; repeatable");
    add("fault-file", "FILE", "faults, one a line");
    add("seed", "N", "of the faults' random numbers (1)");
    add("release-set", "DIR", "what should arrive");
    add("expect", "JOB", "update, images or erase (the one received)");
    add("progress", "", "a line on the terminal");
    add("window", "", "the board's display and flash");
    add("pictures", "DIR", "received images as PNG");
    add("record", "FILE", "every line with its time");
    add("report", "FILE", "figures as JSON");
    add("stop-when-done", "S", "end PROGRAM this long after the last board");
    add("timeout", "S", "end PROGRAM after this time anyway");
    parser.addOption({{u"h"_s, u"help"_s}, u"this text"_s});
}

[[noreturn]] void refuse(const QString& reason)
{
    throw std::runtime_error(reason.toStdString());
}

[[noreturn]] void refuse(const QString& option, const QString& value)
{
    refuse(u"--%1: \"%2\" is not understood"_s.arg(option, value));
}

bool parseNumber(const QString& text, int least, int most, int& number)
{
    bool ok = false;
    number = text.toInt(&ok);
    return ok && number >= least && number <= most;
}

/// "20" is in `plainUnit`; "20ms" and "1.5s" name their own unit.
bool parseTime(const QString& text, double plainUnit, Time& time)
{
    QString digits = text;
    double unit = plainUnit;
    if (text.endsWith("ms"_L1)) {
        digits.chop(2);
        unit = kMilliseconds;
    } else if (text.endsWith(u's')) {
        digits.chop(1);
        unit = kSeconds;
    }
    bool ok = false;
    const double value = digits.toDouble(&ok) * unit;
    constexpr double kDay = 86'400e6;
    if (!ok || !(value >= 0 && value <= kDay))
        return false;
    time = Time(qRound64(value));
    return true;
}

FaultRule parseFault(const QString& option, const QString& line)
{
    std::string error;
    auto rule = FaultRule::parse(line.simplified().toStdString(), error);
    if (!rule)
        refuse(u"--%1: %2"_s.arg(option, QString::fromStdString(error)));
    return std::move(*rule);
}

/// What a command line gives. An option that is absent leaves its target as it is; a value that is
/// not understood throws.
class Reader
{
public:
    explicit Reader(const QCommandLineParser& parser) : m_parser(parser) { }

    void number(const QString& option, int least, int most, int& target) const
    {
        if (!m_parser.isSet(option))
            return;
        const QString value = m_parser.value(option);
        if (!parseNumber(value, least, most, target))
            refuse(u"--%1: a number from %2 to %3, not \"%4\""_s.arg(
                option, QString::number(least), QString::number(most), value));
    }

    void text(const QString& option, QString& target) const
    {
        if (!m_parser.isSet(option))
            return;
        target = m_parser.value(option);
        if (target.isEmpty())
            refuse(option, target);
    }

    template <typename Target>
    void time(const QString& option, double plainUnit, Target& target) const
    {
        Time time{};
        if (!m_parser.isSet(option))
            return;
        if (!parseTime(m_parser.value(option), plainUnit, time))
            refuse(option, m_parser.value(option));
        target = time;
    }

    void board(BoardOptions& board) const;
    void faults(std::vector<FaultRule>& faults) const;
    void expected(std::optional<Job>& job) const;

private:
    void held(std::vector<std::pair<std::uint32_t, std::uint32_t>>& images) const;

    const QCommandLineParser& m_parser;
};

void Reader::board(BoardOptions& board) const
{
    QString kind = u"display"_s;
    text(u"kind"_s, kind);
    if (kind != "display"_L1 && kind != "service"_L1)
        refuse(u"kind"_s, kind);
    board.kind = kind == "service"_L1 ? Kind::Service : Kind::Display;
    if (m_parser.isSet(u"version"_s))
        board.version = m_parser.value(u"version"_s).toStdString();
    held(board.held);

    board.lineRate = m_parser.isSet(u"line-rate"_s);
    if (board.lineRate)
        board.times = OwnTimes::realistic();
    time(u"adapter-latency"_s, kMilliseconds, board.adapterLatency);
    time(u"boot"_s, kMilliseconds, board.times.boot);
    time(u"erase"_s, kMilliseconds, board.times.erase);
    time(u"program"_s, kMilliseconds, board.times.program);
    time(u"image-erase"_s, kMilliseconds, board.times.imageErase);
    faults(board.faults);
    if (const QString seed = m_parser.value(u"seed"_s); !seed.isNull()) {
        bool ok = false;
        board.seed = seed.toULongLong(&ok);
        if (!ok)
            refuse(u"seed"_s, seed);
    }
}

void Reader::held(std::vector<std::pair<std::uint32_t, std::uint32_t>>& images) const
{
    const QStringList values = m_parser.values(u"holds"_s);
    for (const QString& value : values) {
        const QStringList parts = value.split(u':');
        int number = 0;
        int version = 0;
        if (parts.size() != 2 || !parseNumber(parts.first(), 0, INT_MAX, number)
            || !parseNumber(parts.last(), 0, INT_MAX, version))
            refuse(u"holds"_s, value);
        images.emplace_back(number, version);
    }
}

void Reader::faults(std::vector<FaultRule>& faults) const
{
    const QStringList given = m_parser.values(u"fault"_s);
    for (const QString& fault : given)
        faults.push_back(parseFault(u"fault"_s, fault));
    const QStringList paths = m_parser.values(u"fault-file"_s);
    for (const QString& path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            refuse(u"--fault-file: %1: %2"_s.arg(path, file.errorString()));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
        for (const QString& line : lines) {
            const QString rule = line.section(u'#', 0, 0).trimmed();
            if (!rule.isEmpty())
                faults.push_back(parseFault(u"fault-file"_s, rule));
        }
    }
}

void Reader::expected(std::optional<Job>& job) const
{
    QString name;
    text(u"expect"_s, name);
    job = jobOfName(name);
    if (!name.isEmpty() && !job)
        refuse(u"expect"_s, name);
}

} // namespace

Options Options::parse(const QStringList& arguments)
{
    QCommandLineParser parser;
    addOptions(parser);
    // What follows "--" is the program with its own options.
    const qsizetype end = arguments.indexOf(u"--"_s);
    if (!parser.parse(QStringList{QString()} + arguments.mid(0, end)))
        refuse(parser.errorText());
    if (!parser.positionalArguments().isEmpty())
        refuse(u"\"%1\" is no option; a program goes after \"--\""_s.arg(
            parser.positionalArguments().first()));

    const Reader read(parser);
    Options options;
    options.help = parser.isSet(u"help"_s);
    options.releaseSet = QStringLiteral(VIRTUALBOARD_RELEASE_SET);
    read.board(options.board);
    read.number(u"boards"_s, 1, kMostBoards, options.boards);
    read.number(u"first-port"_s, 0, kMostPorts, options.firstPort);
    read.text(u"serial"_s, options.serialPort);
    read.text(u"release-set"_s, options.releaseSet);
    read.text(u"pictures"_s, options.pictures);
    read.text(u"record"_s, options.record);
    read.text(u"report"_s, options.report);
    read.expected(options.expected);
    options.progress = parser.isSet(u"progress"_s);
    options.window = parser.isSet(u"window"_s);
    read.time(u"stop-when-done"_s, kSeconds, options.stopWhenDone);
    read.time(u"timeout"_s, kSeconds, options.timeout);
    if (end >= 0)
        options.program = arguments.mid(end + 1);
    if (!options.serialPort.isEmpty() && (options.boards > 1 || !options.program.isEmpty()))
        refuse(u"--serial serves one board and starts no program"_s);
    return options;
}

QString Options::helpText()
{
    QCommandLineParser parser;
    addOptions(parser);
    parser.setApplicationDescription(QStringLiteral(
        "A display board in software: starts PROGRAM on a mocked USB bus with an FTDI adapter for "
        "each\n"
        "board, and says what they received. Without PROGRAM it prints the port that it serves."));
    parser.addPositionalArgument(
        u"PROGRAM"_s, u"is started on the boards"_s, u"[-- PROGRAM [ARGUMENTS]]"_s);
    return parser.helpText() + QStringLiteral(R"(
WHAT on a command: drop-command  corrupt-command  garbage [bytes=200]  long-line [bytes=3000]
                   announce  restart  silence [for=2s]  unplug [for=2s]
WHAT on a reply:   drop-reply  delay-reply [by=300ms]  double-reply [by=0ms]
                   split-reply [gap=1ms]  join-lines [lines=3]
WHEN: at=NUMBER or rate=PERCENT%, [word=D] counts lines of that word only, [times=N] at most

Exit code: 0 flash and images are exactly the release set, 1 they are not or PROGRAM failed,
2 wrong call.
)");
}

} // namespace vboard
