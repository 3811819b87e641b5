#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int kJobTimeout = 120'000; // ms; a job takes seconds, a loaded machine more

constexpr QLatin1String kClient(JOB_CLIENT);
constexpr QLatin1String kReleaseSet(JOB_RELEASE_SET);

struct Run
{
    int exitCode = -1;
    QString output;
    QString errors;
};

Run finish(QProcess& process)
{
    if (!process.waitForFinished(kJobTimeout))
        process.kill();
    return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
        QString::fromLocal8Bit(process.readAllStandardError())};
}

Run run(QStringList arguments, const QStringList& program = {})
{
    QProcess process;
    arguments << QStringLiteral("--first-port") << QStringLiteral("120");
    if (!program.isEmpty())
        arguments << QStringLiteral("--") << program;
    process.start(QStringLiteral(VIRTUAL_BOARD), arguments);
    return finish(process);
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
    process.start(QStringLiteral(VIRTUAL_BOARD), QStringList{"--first-port", "122"} + arguments);
    return finish(process);
}

Run job(const QString& name, const QStringList& options = {})
{
    return run(options, {kClient, name, kReleaseSet});
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

} // namespace

class TestVirtualBoard : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(m_folder.isValid()); }

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
        row("unknown option", {"--bogus"}, "there is no option \"--bogus\"");
        row("no value", {"--boards", "2", "--record"}, "--record needs a value");
        row("flag with a value", {"--progress=1"}, "--progress takes no value");
        row("program without --", {"some-program"},
            "\"some-program\" is no option; a program goes behind \"--\"");
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

    void updateJobEndsExact()
    {
        const Run update = job(QStringLiteral("update"));
        QVERIFY2(update.output.contains(QStringLiteral("EXACT, update, 223 of 223 pages")),
            qPrintable(update.output + update.errors));
        QVERIFY(update.output.contains(QStringLiteral("VERDICT: EXACT (1 of 1 boards exact)")));
        QCOMPARE(update.exitCode, 0);
    }

    void imagesJobEndsExactWithPicturesRecordAndReport()
    {
        const QString pictures = m_folder.filePath(QStringLiteral("pictures"));
        const QString record = m_folder.filePath(QStringLiteral("record.txt"));
        const QString report = m_folder.filePath(QStringLiteral("report.json"));
        const Run images = job(QStringLiteral("images"),
            {"--pictures", pictures, "--record", record, "--report", report});
        QVERIFY2(images.exitCode == 0, qPrintable(images.output + images.errors));

        QFile manifest(kReleaseSet + QStringLiteral("/settings.json"));
        QVERIFY(manifest.open(QIODevice::ReadOnly));
        const QJsonArray entries
            = QJsonDocument::fromJson(manifest.readAll())[QStringLiteral("Images")].toArray();
        QCOMPARE(QDir(pictures).entryList({"*.png"}).size(), entries.size());

        QFile transcript(record);
        QVERIFY(transcript.open(QIODevice::ReadOnly));
        const QByteArray text = transcript.readAll();
        QVERIFY(text.contains(" board 0 -> $MVER*"));
        QVERIFY(text.contains(" board 0 <- $Bootloader\n"));

        QFile json(report);
        QVERIFY(json.open(QIODevice::ReadOnly));
        const QJsonValue board
            = QJsonDocument::fromJson(json.readAll())[QStringLiteral("boards")][0];
        QCOMPARE(board[QStringLiteral("exact")].toBool(), true);
        QCOMPARE(board[QStringLiteral("lines")][QStringLiteral("I")].toInt(), entries.size());
        QVERIFY(board[QStringLiteral("turnaroundMicroseconds")][QStringLiteral("p50")].toInt() > 0);
    }

    void eraseJobEndsExact()
    {
        const Run erase = job(QStringLiteral("erase"), {"--holds", "3:2", "--image-erase", "50"});
        QVERIFY2(erase.exitCode == 0, qPrintable(erase.output + erase.errors));
        QVERIFY(erase.output.contains(QStringLiteral("EXACT, erase")));
    }

    void anotherJobThanExpectedIsNotExact()
    {
        const Run erase = job(QStringLiteral("erase"), {"--expect", "images"});
        QCOMPARE(erase.exitCode, 1);
        QVERIFY(erase.output.contains(QStringLiteral("is missing")));
    }

    void otherBytesThanTheReleaseSetAreNotExact()
    {
        const QString folder = m_folder.filePath(QStringLiteral("other"));
        QDir().mkpath(folder);
        writeFile(folder + QStringLiteral("/fw1.bin"), "x");
        writeFile(folder + QStringLiteral("/settings.json"),
            R"({"Images":[{"FileName":"a.c","ImageName":7,"ImageVersion":1}]})");
        writeFile(folder + QStringLiteral("/a.c"),
            "m[] = {\n0x01, 0x02, 0x03, 0x04 };\nd = { .header.w = 2, .header.h = 1, };");
        const Run own = run({"--release-set", folder}, {kClient, "images", folder});
        QVERIFY2(own.exitCode == 0, qPrintable(own.output + own.errors));

        writeFile(folder + QStringLiteral("/a.c"),
            "m[] = {\n0x01, 0x02, 0x03, 0x05 };\nd = { .header.w = 2, .header.h = 1, };");
        const Run other = run({}, {kClient, "images", folder});
        QCOMPARE(other.exitCode, 1);
        QVERIFY(other.output.contains(QStringLiteral("image 7 is not in the release set")));
    }

    void nothingReceivedIsAFailure()
    {
        const Run nothing = run({}, {QStringLiteral("true")});
        QCOMPARE(nothing.exitCode, 1);
        QVERIFY(nothing.output.contains(QStringLiteral("NOT EXACT, no job was received")));
    }

    void aProgramThatCrashesOrFailsIsAFailure()
    {
        const Run crash = run({}, {kClient, "erase", kReleaseSet, "--crash"});
        QCOMPARE(crash.exitCode, 1);
        QVERIFY(crash.errors.contains(QStringLiteral("the program crashed")));
        const Run failure = run({}, {QStringLiteral("false")});
        QCOMPARE(failure.exitCode, 1);
        QVERIFY(failure.output.contains(QStringLiteral("and the program failed")));
    }

    void stopsTheProgramWhenTheBoardsAreDone()
    {
        const QString lasting
            = QStringLiteral("'%1' erase '%2'; sleep 1000 & trap 'kill $!' EXIT TERM; wait");
        const Run stopped
            = run({"--stop-when-done", "0.2"}, {"sh", "-c", lasting.arg(kClient, kReleaseSet)});
        QVERIFY2(stopped.exitCode == 0, qPrintable(stopped.output + stopped.errors));
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
                {"--first-port", "121", "--", "sh", "-c", "echo up; exec sleep 1000"});
            QTRY_VERIFY(process.bytesAvailable() > 0);
            ::kill(static_cast<pid_t>(process.processId()), number);
            const Run ended = finish(process);
            QCOMPARE(ended.exitCode, 1);
            QVERIFY(ended.output.contains(QStringLiteral("VERDICT: NOT EXACT")));
        }
    }

    void everyBoardGetsItsVerdict()
    {
        const Run two = job(QStringLiteral("erase"), {"--boards", "2"});
        QCOMPARE(two.exitCode, 1); // the client works on the first one only
        QVERIFY(two.output.contains(QStringLiteral("board 0 (ttyUSB120): EXACT, erase")));
        QVERIFY(two.output.contains(QStringLiteral("board 1 (ttyUSB121): NOT EXACT")));
        QVERIFY(two.output.contains(QStringLiteral("VERDICT: NOT EXACT (1 of 2 boards exact)")));
    }

    void recoversFromFaultsAndSaysThem_data()
    {
        QTest::addColumn<QString>("fault");
        for (const char* fault : {"drop-command rate=1% times=5", "drop-reply rate=1% times=5",
                 "corrupt-command rate=1% times=5", "split-reply rate=2% times=5",
                 "join-lines rate=10% times=5", "garbage rate=1% times=5",
                 "long-line rate=1% times=5", "announce rate=5% times=5",
                 "silence at=300 for=700ms"})
            QTest::newRow(fault) << QString::fromLatin1(fault);
    }

    void recoversFromFaultsAndSaysThem()
    {
        QFETCH(QString, fault);
        const Run images = job(QStringLiteral("images"), {"--fault", fault});
        QVERIFY2(images.exitCode == 0, qPrintable(images.output + images.errors));
        QVERIFY(images.output.contains(QStringLiteral("s: ") + fault));
    }

    void readsFaultsFromAFile()
    {
        const QString plan = m_folder.filePath(QStringLiteral("plan.txt"));
        writeFile(plan, "# two of them\ndrop-command at=1\n\ndrop-reply at=1  # the answer\n");
        const Run erase = job(QStringLiteral("erase"), {"--fault-file", plan});
        QCOMPARE(erase.exitCode, 0);
        QVERIFY(erase.output.contains(QStringLiteral("s: drop-command at=1")));
        QVERIFY(erase.output.contains(QStringLiteral("s: drop-reply at=1")));
    }

    void anUnpluggedBoardFailsTheProgramAndComesBack()
    {
        // The first attempt loses its port; the second one finds the adapter again.
        const QString twice = QStringLiteral("'%1' images '%2'; sleep 1; '%1' images '%2'");
        const Run images = run(
            {"--fault", "unplug at=100 for=500ms"}, {"sh", "-c", twice.arg(kClient, kReleaseSet)});
        QVERIFY2(images.output.contains(QStringLiteral("s: unplug at=100")),
            qPrintable(images.output + images.errors));
        QVERIFY(images.errors.contains(QStringLiteral("job_client: no ")));
        QVERIFY(images.output.contains(QStringLiteral("NOT EXACT")));
    }

    void lineRateTakesItsTime()
    {
        QElapsedTimer timer;
        timer.start();
        const QString report = m_folder.filePath(QStringLiteral("rate.json"));
        const Run erase = job(
            QStringLiteral("erase"), {"--line-rate", "--image-erase", "800", "--report", report});
        QVERIFY2(erase.exitCode == 0, qPrintable(erase.output + erase.errors));
        QVERIFY(timer.elapsed() > 300 + 800);
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

private:
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
            while (::poll(&waiting, 1, 5000) > 0 && ::read(m_descriptor, &byte, 1) == 1
                && byte != '\n')
                text += byte;
            return text;
        }

    private:
        int m_descriptor;
    };

    static void setRate(int descriptor, speed_t rate)
    {
        termios settings{};
        QCOMPARE(tcgetattr(descriptor, &settings), 0);
        cfsetspeed(&settings, rate);
        QCOMPARE(tcsetattr(descriptor, TCSANOW, &settings), 0);
    }

    static speed_t rateOf(int descriptor)
    {
        termios settings{};
        tcgetattr(descriptor, &settings);
        return cfgetospeed(&settings);
    }

    /// An erase job on the device at `path`; returns the last answer.
    static QByteArray eraseOver(const QString& path)
    {
        const int descriptor
            = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
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

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(TestVirtualBoard)
#include "tst_virtualboard.moc"
