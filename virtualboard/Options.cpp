#include "virtualboard/Options.h"

#include <QCommandLineParser>
#include <QFile>

#include <climits>
#include <functional>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace vboard {

namespace {

constexpr int kMostBoards = 64;
constexpr int kMostPorts = 100'000;

/// Takes an option's value; throws std::runtime_error when it is not understood.
using Setter = std::function<void(const QString&)>;

struct Row
{
    const char* name;
    const char* value; ///< what help calls it; empty: the option has none
    const char* description;
    Setter set;
};

[[noreturn]] void refuse(const QString& reason)
{
    throw std::runtime_error(reason.toStdString());
}

void require(bool understood, const QString& value)
{
    if (!understood)
        refuse(u"\"%1\" is not understood"_s.arg(value));
}

bool readNumber(const QString& text, int least, int most, int& number)
{
    bool ok = false;
    number = text.toInt(&ok);
    return ok && number >= least && number <= most;
}

Setter flag(bool& target)
{
    return [&target](const QString&) { target = true; };
}

Setter text(QString& target)
{
    return [&target](const QString& value) {
        require(!value.isEmpty(), value);
        target = value;
    };
}

template <typename Target> Setter number(int least, int most, Target& target)
{
    return [least, most, &target](const QString& value) {
        int given = 0;
        if (!readNumber(value, least, most, given))
            refuse(u"a number from %1 to %2, not \"%3\""_s.arg(least).arg(most).arg(value));
        target = given;
    };
}

/// "20" is in `plainUnit`; "20ms" and "1.5s" name their own unit.
template <typename Target> Setter time(const char* plainUnit, Target& target)
{
    return [plainUnit, &target](const QString& value) {
        const auto time = readTime(value.toStdString(), plainUnit);
        require(time.has_value(), value);
        target = *time;
    };
}

Setter seed(std::uint64_t& target)
{
    return [&target](const QString& value) {
        bool ok = false;
        target = value.toULongLong(&ok);
        require(ok, value);
    };
}

Setter kind(Kind& target)
{
    return [&target](const QString& value) {
        require(value == "display"_L1 || value == "service"_L1, value);
        target = value == "service"_L1 ? Kind::Service : Kind::Display;
    };
}

Setter held(BoardOptions& board)
{
    return [&board](const QString& value) {
        const QStringList parts = value.split(u':');
        int number = 0;
        int version = 0;
        require(parts.size() == 2 && readNumber(parts.first(), 0, INT_MAX, number)
                && readNumber(parts.last(), 0, INT_MAX, version),
            value);
        board.held.emplace_back(number, version);
    };
}

void addFault(const QString& line, BoardOptions& board)
{
    std::string error;
    auto rule = FaultRule::parse(line.simplified().toStdString(), error);
    if (!rule)
        refuse(QString::fromStdString(error));
    board.faults.push_back(std::move(*rule));
}

void addFaultFile(const QString& path, BoardOptions& board)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        refuse(file.errorString());
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString& line : lines) {
        const QString rule = line.section(u'#', 0, 0).trimmed();
        if (!rule.isEmpty())
            addFault(rule, board);
    }
}

/// All options, with setters into `options`. They are applied in this order: the options after
/// --line-rate override the times that it sets.
std::vector<Row> rows(Options& options)
{
    BoardOptions& board = options.board;
    OwnTimes& times = board.times;
    const auto lineRate = [&board](const QString&) {
        board.lineRate = true;
        board.times = OwnTimes::realistic();
    };
    const auto job = [&options](const QString& value) {
        options.expected = jobOfName(value);
        require(options.expected.has_value(), value);
    };
    return {
        {"boards", "N", "number of boards (1)", number(1, kMostBoards, options.boards)},
        {"first-port", "N", "ttyUSBN is the first of them (0)",
            number(0, kMostPorts, options.firstPort)},
        {"serial", "PORT", "serve a port of this computer", text(options.serialPort)},
        {"kind", "KIND", "display, asked by $MVER (default), or service", kind(board.kind)},
        {"version", "TEXT", "what the application says that it is",
            [&board](const QString& value) { board.version = value.toStdString(); }},
        {"holds", "NUMBER:VERSION", "an image that it has; repeatable", held(board)},
        {"line-rate", "", "bytes take their bit times; realistic own times", lineRate},
        {"adapter-latency", "MS", "of the adapter's timer (0; 16 is usual)",
            time("ms", board.adapterLatency)},
        {"boot", "MS", "from a restart on (100; with --line-rate 300)", time("ms", times.boot)},
        {"erase", "MS", "of a page (0; with --line-rate 45)", time("ms", times.erase)},
        {"program", "MS", "of a page (0; with --line-rate 12)", time("ms", times.program)},
        {"image-erase", "MS", "of all images (1000; with --line-rate 20000)",
            time("ms", times.imageErase)},
        {"image-end", "MS", "after an image's last block (0)", time("ms", times.imageEnd)},
        {"fault", "WHAT WHEN", "see below; repeatable",
            [&board](const QString& value) { addFault(value, board); }},
        {"fault-file", "FILE", "faults, one a line",
            [&board](const QString& value) { addFaultFile(value, board); }},
        {"seed", "N", "of the faults' random numbers (1)", seed(board.seed)},
        {"release-set", "DIR", "what should arrive", text(options.releaseSet)},
        {"expect", "JOB", "update, images or erase (the one received)", job},
        {"progress", "", "a line on the terminal", flag(options.progress)},
        {"window", "", "the board's display and flash", flag(options.window)},
        {"pictures", "DIR", "received images as PNG", text(options.pictures)},
        {"record", "FILE", "every line with its time", text(options.record)},
        {"report", "FILE", "figures as JSON", text(options.report)},
        {"replay", "LOG", "play the boards of the updater's log again", text(options.replay)},
        {"stop-when-done", "S", "end PROGRAM this long after the last board",
            time("s", options.stopWhenDone)},
        {"timeout", "S", "end PROGRAM after this time anyway", time("s", options.timeout)},
        {"help", "", "this text", flag(options.help)},
    };
}

void addOptions(const std::vector<Row>& rows, QCommandLineParser& parser)
{
    for (const Row& row : rows) {
        QStringList names{QLatin1String(row.name)};
        if (names.first() == "help"_L1)
            names.prepend(u"h"_s);
        parser.addOption({names, QLatin1String(row.description), QLatin1String(row.value)});
    }
}

/// With a log there is no board to be set up, and nothing that is known of its flash.
void refuseBesideReplay(const std::vector<Row>& rows, const QCommandLineParser& parser)
{
    const QStringList allowed{
        u"replay"_s, u"first-port"_s, u"progress"_s, u"stop-when-done"_s, u"timeout"_s, u"help"_s};
    for (const Row& row : rows) {
        const QString name = QLatin1String(row.name);
        if (parser.isSet(name) && !allowed.contains(name))
            refuse(u"--%1 does not go with --replay: the log says what the boards do"_s.arg(name));
    }
}

void set(const Row& row, const QString& value)
{
    try {
        row.set(value);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string("--") + row.name + ": " + error.what());
    }
}

} // namespace

Options Options::parse(const QStringList& arguments)
{
    Options options;
    options.releaseSet = QStringLiteral(VIRTUALBOARD_RELEASE_SET);
    const std::vector<Row> all = rows(options);
    QCommandLineParser parser;
    addOptions(all, parser);
    // What follows "--" is the program with its own options.
    const qsizetype end = arguments.indexOf("--"_L1);
    if (!parser.parse(QStringList{QString()} + arguments.mid(0, end)))
        refuse(parser.errorText());
    const QStringList stray = parser.positionalArguments();
    if (!stray.isEmpty())
        refuse(u"\"%1\" is no option; a program goes after \"--\""_s.arg(stray.first()));
    for (const Row& row : all) {
        const QString name = QLatin1String(row.name);
        const QStringList values = *row.value != 0 ? parser.values(name)
            : parser.isSet(name)                   ? QStringList{QString()}
                                                   : QStringList();
        for (const QString& value : values)
            set(row, value);
    }
    if (end >= 0)
        options.program = arguments.mid(end + 1);
    if (!options.serialPort.isEmpty() && (options.boards > 1 || !options.program.isEmpty()))
        refuse(u"--serial serves one board and starts no program"_s);
    if (!options.replay.isEmpty())
        refuseBesideReplay(all, parser);
    return options;
}

QString Options::helpText()
{
    Options options;
    QCommandLineParser parser;
    addOptions(rows(options), parser);
    parser.setApplicationDescription(QStringLiteral(
        "A display board in software: starts PROGRAM on a mocked USB bus with an FTDI adapter for "
        "each\nboard, and says what they received. Without PROGRAM it prints the port that it "
        "serves."));
    parser.addPositionalArgument(
        u"PROGRAM"_s, u"is started on the boards"_s, u"[-- PROGRAM [ARGUMENTS]]"_s);
    return parser.helpText() + QStringLiteral(R"(
WHAT on a command: drop-command  corrupt-command  garbage [bytes=200]  long-line [bytes=3000]
                   announce  restart  silence [for=2s]  unplug [for=2s]
WHAT on a reply:   drop-reply  delay-reply [by=300ms]  double-reply [by=0ms]
                   split-reply [gap=1ms]  join-lines [lines=3]
WHEN: at=NUMBER or rate=PERCENT%, [word=D] counts lines of that word only, [times=N] at most,
      [board=N] at that of several only, from 0

Exit code: 0 flash and images are exactly the release set, or with --replay PROGRAM sent what it
sent then; 1 not so, or PROGRAM failed; 2 usage error.
)");
}

} // namespace vboard
