// How the tool is called: options, windows, ports, signals, exit codes.

#include "tests/support/TestProgram.h"
#include "tests/virtualboard/ToolProcess.h"

#include <QFileInfo>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int kPort = 130;

Run run(const QStringList& options, const QStringList& program = {})
{
    return runTool(kPort, options, program);
}

/// Runs with no word about a display but those in `display`.
Run runIn(const QMap<QString, QString>& display, const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QLatin1String(name));
    for (auto entry = display.cbegin(); entry != display.cend(); ++entry)
        environment.insert(entry.key(), entry.value());
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(VIRTUAL_BOARD),
        QStringList{"--first-port", QString::number(kPort)} + arguments);
    return finish(process);
}

/// The computer's end of a line, without Qt.
class Line
{
public:
    explicit Line(int descriptor) : m_descriptor(descriptor) { }

    QByteArray ask(const QByteArray& text, bool answers = true)
    {
        if (::write(m_descriptor, text.constData(), static_cast<size_t>(text.size()))
            != text.size())
            return {};
        return answers ? readLine() : QByteArray();
    }

    /// Without its line feed; what came when nothing more does.
    QByteArray readLine()
    {
        pollfd waiting{m_descriptor, POLLIN, 0};
        QByteArray text;
        char byte = 0;
        while (::poll(&waiting, 1, 5000) > 0 && ::read(m_descriptor, &byte, 1) == 1 && byte != '\n')
            text += byte;
        return text;
    }

private:
    int m_descriptor;
};

void setRate(int descriptor, speed_t rate)
{
    termios settings{};
    QCOMPARE(tcgetattr(descriptor, &settings), 0);
    cfsetspeed(&settings, rate);
    QCOMPARE(tcsetattr(descriptor, TCSANOW, &settings), 0);
}

speed_t rateOf(int descriptor)
{
    termios settings{};
    tcgetattr(descriptor, &settings);
    return cfgetospeed(&settings);
}

/// An erase job on the device at `path`; returns the last answer.
QByteArray eraseOver(const QString& path)
{
    const int descriptor = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    Line line(descriptor);
    setRate(descriptor, B19200);
    line.ask("$MVER*826A\n");
    line.ask("$BOOTLOADM*9FEC\n", false);
    setRate(descriptor, B921600);
    line.readLine();
    line.ask("$A,1*CF00\n");
    QByteArray last = line.readLine().left(7);
    line.ask("$X*D14A\n", false);
    ::close(descriptor);
    return last;
}

} // namespace

class TestToolCalls : public QObject
{
    Q_OBJECT

private slots:
    void helpFitsAScreen()
    {
        const Run help = run({QStringLiteral("--help")});
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.output.count(u'\n') <= 45);
        const QStringList lines = help.output.split(u'\n');
        for (const QString& line : lines)
            QVERIFY2(line.size() <= 100, qPrintable(line));
    }

    void aWrongCallIsOneClearLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("says");
        const auto row = [](const char* name, const QStringList& arguments, const char* says) {
            QTest::newRow(name) << arguments << QString::fromLatin1(says);
        };
        row("unknown option", {"--bogus"}, "Unknown option 'bogus'");
        row("no value", {"--boards", "2", "--record"}, "Missing value after '--record'");
        row("flag with a value", {"--progress=1"}, "Unexpected value after '--progress'");
        row("program without --", {"some-program"},
            "\"some-program\" is no option; a program goes after \"--\"");
        row("no number", {"--boards=many"}, "--boards: a number from 1 to 64, not \"many\"");
        row("too many", {"--boards=65"}, "--boards: a number from 1 to 64, not \"65\"");
        row("kind", {"--kind=toaster"}, "--kind: \"toaster\" is not understood");
        row("job", {"--expect=magic"}, "--expect: \"magic\" is not understood");
        row("time", {"--boot=-3"}, "--boot: \"-3\" is not understood");
        row("held", {"--holds=3"}, "--holds: \"3\" is not understood");
        row("fault", {"--fault=explode at=3"}, "there is no fault \"explode\"");
        row("fault when", {"--fault=drop-reply"}, "needs either at=NUMBER or rate=PERCENT%");
        row("release set", {"--release-set=/nowhere"}, "/nowhere/settings.json");
        row("serial and program", {"--serial=/dev/null", "--", "true"}, "starts no program");
        row("serial port", {"--serial=/nowhere/tty"}, "/nowhere/tty");
        row("program", {"--", "/nowhere/program"}, "/nowhere/program");
        row("no log", {"--replay=/nowhere/log"}, "/nowhere/log: No such file");
        row("folder as log", {"--replay=/tmp"}, "/tmp: ");
        row("log of another program", {"--replay=" + QString::fromLatin1(JOB_CLIENT)},
            "this is no log of the updater");
        row("log and fault", {"--replay=/nowhere/log", "--fault=drop-reply at=1"},
            "--fault does not go with --replay");
        row("log and boards", {"--replay=/nowhere/log", "--boards=1"}, "--boards does not go");
    }

    void aWrongCallIsOneClearLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, says);
        QProcess process;
        process.start(QStringLiteral(VIRTUAL_BOARD), arguments);
        const Run refused = finish(process);
        QCOMPARE(refused.exitCode, 2);
        QCOMPARE(refused.errors.count(u'\n'), 1);
        QVERIFY2(refused.errors.contains(says), qPrintable(refused.errors));
    }

    void nothingReceivedIsAFailure()
    {
        const Run nothing = run({}, {QStringLiteral("true")});
        QCOMPARE(nothing.exitCode, 1);
        QVERIFY(nothing.output.contains(QStringLiteral("NOT EXACT, no job was received")));
    }

    void aProgramThatCrashesOrFailsIsAFailure()
    {
        const Run crash = run({}, {"sh", "-c", "kill -ABRT $$"});
        QCOMPARE(crash.exitCode, 1);
        QVERIFY(crash.errors.contains(QStringLiteral("the program crashed")));
        const Run failure = run({}, {QStringLiteral("false")});
        QCOMPARE(failure.exitCode, 1);
        QVERIFY(failure.output.contains(QStringLiteral("and the program failed")));
    }

    void timesOut()
    {
        const Run ended = run({"--timeout", "0.3"}, {"sleep", "1000"});
        QCOMPARE(ended.exitCode, 1);
        QVERIFY(ended.output.contains(QStringLiteral("ended by the timeout")));
    }

    void aSignalEndsTheProgramAndStillGivesTheVerdict()
    {
        for (const int number : {SIGTERM, SIGINT}) {
            QProcess process;
            process.start(QStringLiteral(VIRTUAL_BOARD),
                {"--first-port", QString::number(kPort), "--", "sh", "-c",
                    "echo up; exec sleep 1000"});
            QTRY_VERIFY(process.bytesAvailable() > 0);
            ::kill(static_cast<pid_t>(process.processId()), number);
            const Run ended = finish(process);
            QCOMPARE(ended.exitCode, 1);
            QVERIFY(ended.output.contains(QStringLiteral("VERDICT: NOT EXACT")));
        }
    }

    void watchesInAWindow()
    {
        const Run watched = runIn({{"QT_QPA_PLATFORM", "offscreen"}},
            {"--window", "--holds", "1:1", "--", kClient, "erase", kReleaseSet});
        QVERIFY2(watched.exitCode == 0, qPrintable(watched.output + watched.errors));
    }

    void refusesAWindowWithoutADisplay()
    {
        const Run refused = runIn({}, {"--window", "--", "true"});
        QCOMPARE(refused.exitCode, 2);
        QVERIFY(refused.errors.contains(QStringLiteral("--window: there is no display")));
    }

    void printsThePortThatItServesWithoutAProgram()
    {
        QProcess process;
        process.start(QStringLiteral(VIRTUAL_BOARD), {"--stop-when-done", "0"});
        QTRY_VERIFY(process.canReadLine());
        const QString line = QString::fromLocal8Bit(process.readLine()).trimmed();
        const QString path = line.section(u' ', -1);
        QVERIFY2(QFileInfo::exists(path), qPrintable(line));
        const QByteArray answer = eraseOver(path);
        QCOMPARE(answer, QByteArray("$AACK,1"));
        const Run served = finish(process);
        QVERIFY2(served.exitCode == 0, qPrintable(served.output + served.errors));
    }

    void servesAPortOfThisComputer()
    {
        int master = -1;
        int slave = -1;
        QCOMPARE(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
        QProcess process;
        process.start(QStringLiteral(VIRTUAL_BOARD),
            {"--serial", QString::fromLocal8Bit(ttyname(slave)), "--stop-when-done", "0"});
        QTRY_VERIFY(process.canReadLine());
        Line line(master);
        QCOMPARE(line.ask("$MVER*826A\n").left(6), QByteArray("$MVERR"));
        QTRY_COMPARE(rateOf(slave), speed_t(B19200));
        QCOMPARE(line.ask("$BOOTLOADM*9FEC\n"), QByteArray("$Bootloader"));
        QTRY_COMPARE(rateOf(slave), speed_t(B921600));
        QCOMPARE(line.ask("$A,1*CF00\n").left(7), QByteArray("$AACK,0"));
        QCOMPARE(line.readLine().left(7), QByteArray("$AACK,1"));
        line.ask("$X*D14A\n", false);
        const Run served = finish(process);
        ::close(master);
        ::close(slave);
        QVERIFY2(served.exitCode == 0, qPrintable(served.output + served.errors));
    }
};

static const RegisteredTest<TestToolCalls> registered(__FILE__);
#include "tst_toolcalls.moc"
