#include "doctor/LogReader.h"
#include "doctor/LogRows.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>

#include <cstring>
#include <limits>

using namespace doctor;

namespace {

QByteArray recorded(const char* name)
{
    QFile file(QStringLiteral(RECORDED_LOGS "/%1.log").arg(QLatin1StringView(name)));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(file.fileName()));
    return file.readAll();
}

struct Read
{
    bool well = false;
    Course course;
    QString error;
};

Read readFrom(QIODevice& device)
{
    Read read;
    read.well = readLog(device, read.course, read.error);
    return read;
}

Read readText(QByteArray text)
{
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    return readFrom(buffer);
}

/// The updater's line with a time, `milliseconds` after a certain minute.
QByteArray line(int milliseconds, const QByteArray& message)
{
    const QByteArray category
        = message.contains(" TX ") || message.contains(" RX ") ? "wire" : "job";
    return "2026-11-22 06:40:" + QByteArray::number(milliseconds / 1000).rightJustified(2, '0')
        + '.' + QByteArray::number(milliseconds % 1000).rightJustified(3, '0') + " updater."
        + category + ": " + message + '\n';
}

/// Gives out `block` again and again, until so many bytes are through or for good, after `head`.
class EndlessDevice : public QIODevice
{
public:
    EndlessDevice(QByteArray head, QByteArray block, qint64 size)
        : m_head(std::move(head)), m_block(std::move(block)), m_left(size)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] qint64 given() const { return m_given; }

protected:
    qint64 readData(char* data, qint64 most) override
    {
        qint64 size = 0;
        while (size < most && m_left > 0) {
            const QByteArray& source = m_given < m_head.size() ? m_head : m_block;
            const qint64 at
                = m_given < m_head.size() ? m_given : (m_given - m_head.size()) % m_block.size();
            const qint64 part = std::min({most - size, source.size() - at, m_left});
            std::memcpy(data + size, source.constData() + at, static_cast<std::size_t>(part));
            size += part;
            m_given += part;
            m_left -= part;
        }
        return size;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    const QByteArray m_head;
    const QByteArray m_block;
    qint64 m_left;
    qint64 m_given = 0;
};

/// As a disk that breaks gives it.
class BrokenDevice : public QBuffer
{
protected:
    qint64 readData(char*, qint64) override
    {
        setErrorString(QStringLiteral("the disk is broken"));
        return -1;
    }
};

/// Reads a log and checks that it takes little memory, however long it is.
class BoundedReading
{
public:
    explicit BoundedReading(QIODevice& device)
    {
        // From now on the most is what is in use now.
        QFile reset(QStringLiteral("/proc/self/clear_refs"));
        if (!reset.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || reset.write("5") != 1)
            qFatal("the peak of the memory cannot be set back");
        const qint64 before = peakMemory();
        read = readFrom(device);
        m_grown = peakMemory() - before;
    }

    /// True where a sanitizer has its own allocator, too.
    [[nodiscard]] bool tookLittle() const
    {
#ifdef __SANITIZE_ADDRESS__
        return true;
#else
        constexpr qint64 kKilobytes = 4096;
        return m_grown < kKilobytes;
#endif
    }

    Read read;

private:
    /// The most memory that this process had in use, in kilobytes.
    static qint64 peakMemory()
    {
        QFile status(QStringLiteral("/proc/self/status"));
        if (!status.open(QIODevice::ReadOnly))
            qFatal("no /proc/self/status");
        const QByteArray text = status.readAll();
        const qsizetype at = text.indexOf("VmHWM:");
        return text.mid(at + 6, text.indexOf("kB", at) - at - 6).trimmed().toLongLong();
    }

    qint64 m_grown = 0;
};

qint64 bigLogBytes()
{
    constexpr int kMegabytes = 50;
    bool isSet = false;
    const int megabytes = qEnvironmentVariableIntValue("DOCTOR_LOG_MEGABYTES", &isSet);
    return qint64{isSet ? megabytes : kMegabytes} * 1'000'000;
}

} // namespace

class TestLogReader : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatIsNoLog_data();
    void saysWhatIsNoLog();
    void saysThatTheDiskIsBroken();
    void tellsTheTruthOfALogCutAnywhere_data();
    void tellsTheTruthOfALogCutAnywhere();
    void survivesALogWithoutItsBeginning();
    void readsABigLogInLittleMemory();
    void stopsWhenItsThreadIsInterrupted();
    void givesUpAFileWithoutEndThatIsNoLog();
    void passesOverALineWithoutEnd();
    void readsALogWithoutTimes();
    void readsLinesThatEndAsOnWindows();
    void tellsTheLastOfSeveralJobs();
    void tellsEveryPort();
    void tellsProgramSetJobAndBoard();
    void measuresOnlyAnswersToLinesSentOnce();
    void doesNotTakeAPassedOverReplyForAnAnswer();
    void countsWhatWasSentAgainAndWhere();
    void takesAClockThatIsSetBack();
    void tellsAJobWhoseBeginningIsMissing();
    void listsThePortsThatAreNotTaken();
    void showsNothingThatATerminalObeys();
    void keepsATrackShort();
    void findsTheMedian();
};

void TestLogReader::saysWhatIsNoLog_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error");
    QTest::newRow("empty") << QByteArray() << "The file is empty.";
    QTest::newRow("binary") << QByteArray("\x7f"
                                          "ELF\0\0\n\0",
        8) << "This is no text, so it is no log of the updater.";
    QTest::newRow("another program's")
        << QByteArray("2026-11-22 06:40:01.123 other.job: Annealing\nkernel: usb 1-1\n")
        << "This is a text, but no line of it is one of the updater's log.";
    QTest::newRow("one word") << QByteArray("updater")
                              << "This is a text, but no line of it is one of the updater's log.";
}

void TestLogReader::saysWhatIsNoLog()
{
    QFETCH(QByteArray, text);
    const Read read = readText(text);
    QVERIFY(!read.well);
    QTEST(read.error, "error");
}

void TestLogReader::saysThatTheDiskIsBroken()
{
    BrokenDevice device;
    device.open(QIODevice::ReadOnly);
    const Read read = readFrom(device);
    QVERIFY(!read.well);
    QCOMPARE(read.error, QStringLiteral("The log cannot be read: the disk is broken"));
}

void TestLogReader::tellsTheTruthOfALogCutAnywhere_data()
{
    QTest::addColumn<QByteArray>("log");
    for (const char* name : {"job-complete.erase", "no-answer", "port-forbidden"})
        QTest::newRow(name) << recorded(name);
}

void TestLogReader::tellsTheTruthOfALogCutAnywhere()
{
    QFETCH(QByteArray, log);
    for (qsizetype size = 0; size <= log.size(); ++size) {
        const QByteArray text = log.first(size);
        const Read read = readText(text);
        if (!read.well) {
            QVERIFY2(!text.contains("updater.job: "), qPrintable(QString::number(size)));
            continue;
        }
        const Course& course = read.course;
        QCOMPARE(course.cut, !text.endsWith('\n'));
        QCOMPARE(
            course.jobs, text.contains(" Job ") && text.indexOf('\n', text.indexOf(" Job ")) > 0);
        QCOMPARE(course.closed, text.contains("Dialog closed\n"));
        const bool complete = text.contains("Bootload Complete\n");
        QCOMPARE(
            !course.ports.isEmpty() && course.ports.first().stage == Stage::Complete, complete);
        const QList<Row> rows = rowsOf(course);
        QVERIFY(rows.size() >= 3);
        const QString verdict = rows.last().text;
        QCOMPARE(verdict.startsWith(u"nothing"), complete);
        // Nothing was wrong, and the bootloader was not heard before it spoke.
        const bool isUnheard = verdict.contains(u"up to the log's end did not start its bootloader")
            && !text.contains("RX $Bootloader");
        if (log.contains("Bootload Complete") && !complete && !isUnheard)
            QVERIFY2(rows.last().kind == Row::Kind::Unknown, qPrintable(verdict));
    }
}

void TestLogReader::survivesALogWithoutItsBeginning()
{
    const QByteArray log = recorded("job-complete.images");
    for (qsizetype from = 0; from < log.size(); from += 7) {
        const Read read = readText(log.sliced(from));
        if (read.well)
            QVERIFY(!rowsOf(read.course).isEmpty());
    }
    const Read read = readText(log.sliced(log.indexOf("TX $F,02")));
    QVERIFY(read.well);
    QVERIFY(read.course.job.isEmpty());
    QCOMPARE(
        rowsOf(read.course).constFirst().text, QStringLiteral("the log's beginning is missing"));
    QCOMPARE(rowsOf(read.course).constLast().text, QStringLiteral("nothing: the job is complete"));
}

void TestLogReader::readsABigLogInLittleMemory()
{
    const QByteArray log = recorded("lines-lost");
    const QByteArray body = log.sliced(log.indexOf("TX $I"));
    EndlessDevice device(
        log.first(log.indexOf("TX $I")), body.first(body.indexOf("TX $X")), bigLogBytes());
    QElapsedTimer timer;
    timer.start();
    const BoundedReading reading(device);
    qInfo("%lld MB in %lld ms", device.given() / 1'000'000, timer.elapsed());
    const Read& read = reading.read;
    QVERIFY(read.well);
    QCOMPARE(device.given(), bigLogBytes());
    QVERIFY(read.course.ports.first().sent > bigLogBytes() / 2000);
    QVERIFY(rowsOf(read.course).size() < 15);
    QVERIFY(reading.tookLittle());
}

void TestLogReader::stopsWhenItsThreadIsInterrupted()
{
    const std::unique_ptr<QThread> thread(QThread::create([] {
        const QByteArray log = recorded("job-complete.images");
        EndlessDevice device({}, log, std::numeric_limits<qint64>::max());
        Course course;
        QString error;
        (void)readLog(device, course, error);
    }));
    thread->start();
    QVERIFY(!thread->wait(50));
    thread->requestInterruption();
    QVERIFY(thread->wait());
}

void TestLogReader::givesUpAFileWithoutEndThatIsNoLog()
{
    constexpr qint64 kEnough = 100'000'000;
    for (const QByteArray& block : {QByteArray("x"), QByteArray(1, '\0'), QByteArray("a line\n")}) {
        EndlessDevice device({}, block.repeated(1000), 50 * kEnough);
        QVERIFY(!readFrom(device).well);
        QVERIFY(device.given() < kEnough);
    }
}

void TestLogReader::passesOverALineWithoutEnd()
{
    const QByteArray longLine(200'000, 'x');
    EndlessDevice device(
        line(0, "Annealing DB Updater 1.1.0") + line(1, longLine) + line(2, "Job images"), longLine,
        bigLogBytes());
    const BoundedReading reading(device);
    QVERIFY(reading.read.well);
    QCOMPARE(device.given(), bigLogBytes());
    QCOMPARE(reading.read.course.job, QStringLiteral("images"));
    QVERIFY(reading.read.course.cut);
    QVERIFY(reading.tookLittle());
}

void TestLogReader::readsALogWithoutTimes()
{
    const QByteArrayList lines = recorded("board-silent.image").split('\n');
    QByteArray log;
    for (const QByteArray& withTime : lines)
        log += withTime.sliced(std::min(withTime.size(), qsizetype{24})) + '\n';
    const Read read = readText(log);
    QVERIFY(read.well);
    QVERIFY(!read.course.hasTimes);
    const PortCourse& port = read.course.ports.first();
    QCOMPARE(port.image, 2);
    QCOMPARE(port.tally(LineKind::ImageBlock).answers.count(), 0);
    const QString verdict = rowsOf(read.course).constLast().text;
    QVERIFY2(verdict.contains(u"silent up to the log's end, in image 2 of 5, block 2 of 4"),
        qPrintable(verdict));
}

void TestLogReader::readsLinesThatEndAsOnWindows()
{
    QByteArray log = recorded("board-silent.image");
    const Read asOnLinux = readText(log);
    const Read asOnWindows = readText(log.replace("\n", "\r\n"));
    QVERIFY(asOnWindows.well);
    QCOMPARE(rowsOf(asOnWindows.course), rowsOf(asOnLinux.course));
}

void TestLogReader::tellsTheLastOfSeveralJobs()
{
    const Read read = readText(recorded("job-complete.second-job"));
    QVERIFY(read.well);
    QCOMPARE(read.course.jobs, 2);
    QCOMPARE(read.course.job, QStringLiteral("images"));
    QCOMPARE(read.course.ports.size(), 1);
    QCOMPARE(read.course.ports.first().tally(LineKind::EraseImages).sent, 0);
    const QString job = rowsOf(read.course).at(1).text;
    QVERIFY2(job.endsWith(u"; the last of 2 jobs in this log, and the only one told here"),
        qPrintable(job));
}

void TestLogReader::tellsEveryPort()
{
    const Read read = readText(recorded("board-silent.one-of-three"));
    QVERIFY(read.well);
    const QList<PortCourse>& ports = read.course.ports;
    QCOMPARE(ports.size(), 3);
    QCOMPARE(ports.at(1).stage, Stage::Images);
    for (const PortCourse& port : {ports.at(0), ports.at(2)}) {
        QCOMPARE(port.stage, Stage::Complete);
        QCOMPARE(port.image, 5);
    }
}

void TestLogReader::tellsProgramSetJobAndBoard()
{
    const Read read = readText(recorded("job-complete.images"));
    const Course& course = read.course;
    QCOMPARE(course.program, QStringLiteral(UPDATER_VERSION));
    QCOMPARE(course.releaseSet, QStringLiteral("T.09"));
    QCOMPARE(course.images, 5);
    QCOMPARE(course.job, QStringLiteral("images"));
    QCOMPARE(course.jobs, 1);
    QCOMPARE(course.adapters, 1);
    QVERIFY(course.begin && course.end && *course.end > *course.begin + 5000);
    const PortCourse& port = course.ports.first();
    QCOMPARE(port.boardVersion, QStringLiteral("D.01a"));
    QCOMPARE(port.image, 5);
    QCOMPARE(port.block, 4);
    QCOMPARE(port.blocks, 4);
    QCOMPARE(port.tally(LineKind::ImageBlock).answers.count(), 20);
}

void TestLogReader::measuresOnlyAnswersToLinesSentOnce()
{
    const Read read = readText(line(0, "Job images") + line(100, "ttyUSB0 TX $I,00,01,20,10*1")
        + line(112, "ttyUSB0 RX $IACK,0*2") + line(200, "ttyUSB0 TX $F,00,11*3")
        + line(2200, "ttyUSB0 TX $F,00,11*3") + line(2207, "ttyUSB0 RX $FACK,0*4")
        + line(2300, "ttyUSB0 TX $F,01,11*3") + line(2320, "ttyUSB0 RX $FACK,1*4"));
    const PortCourse& port = read.course.ports.first();
    QCOMPARE(port.tally(LineKind::ImageHeader).answers.median(), 12);
    const LineTally& blocks = port.tally(LineKind::ImageBlock);
    QCOMPARE(blocks.answers.count(), 1);
    QCOMPARE(blocks.answers.slowest(), 20);
    QCOMPARE(blocks.sent, 3);
    QCOMPARE(blocks.sentAgain, 1);
}

void TestLogReader::doesNotTakeAPassedOverReplyForAnAnswer()
{
    const QByteArray log = line(0, "Job images") + line(100, "ttyUSB0 TX $I,00,01,20,10*1")
        + line(101, "ttyUSB0 RX $IACK,0*2") + line(110, "ttyUSB0 TX $F,00,11*3")
        + line(111, "ttyUSB0 RX $FACK,7,0*4") + line(112, "FACK 7 0");
    const Read taken = readText(log);
    const Read passedOver
        = readText(log + line(113, "ttyUSB0 passed over (surplus, sent twice) $FACK,7,0*4"));
    QCOMPARE(taken.course.ports.first().tally(LineKind::ImageBlock).answers.count(), 1);
    const PortCourse& port = passedOver.course.ports.first();
    QCOMPARE(port.tally(LineKind::ImageBlock).answers.count(), 0);
    QCOMPARE(port.passedOver.value(QStringLiteral("surplus, sent twice")), 1);
    QCOMPARE(port.unanswered, 1);
}

void TestLogReader::countsWhatWasSentAgainAndWhere()
{
    const Read read = readText(recorded("lines-lost"));
    const PortCourse& port = read.course.ports.first();
    const QByteArrayList lines = recorded("lines-lost").split('\n');
    qint64 again = 0;
    QByteArray last;
    for (const QByteArray& text : lines) {
        const qsizetype at = text.indexOf(" TX $F");
        const qsizetype header = text.indexOf(" TX $I");
        if (at >= 0 && text.sliced(at) == last)
            ++again;
        if (at >= 0 || header >= 0)
            last = text.sliced(std::max(at, header));
    }
    QVERIFY(again > 0);
    QCOMPARE(port.tally(LineKind::ImageBlock).sentAgain, again);
    QVERIFY(!port.tally(LineKind::ImageBlock).placesSentAgain.isEmpty());
    QCOMPARE(port.imagesAgain.points().isEmpty(), false);
}

void TestLogReader::takesAClockThatIsSetBack()
{
    const Read read = readText(line(9000, "Job images") + line(9100, "ttyUSB0 TX $I,00,01,20,10*1")
        + line(9112, "ttyUSB0 RX $IACK,0*2") + line(9120, "ttyUSB0 TX $F,00,11*3")
        + line(100, "ttyUSB0 RX $FACK,0*2") + line(110, "ttyUSB0 TX $F,01,11*3")
        + line(120, "ttyUSB0 RX $FACK,1*2"));
    const PortCourse& port = read.course.ports.first();
    QCOMPARE(port.tally(LineKind::ImageBlock).answers.count(), 1);
    QCOMPARE(port.tally(LineKind::ImageBlock).answers.slowest(), 10);
    const QList<CoursePoint> points = port.images.points();
    QCOMPARE(points.size(), 3);
    QVERIFY(std::ranges::is_sorted(points, {}, &CoursePoint::at));
    QVERIFY(!rowsOf(read.course).isEmpty());
}

void TestLogReader::tellsAJobWhoseBeginningIsMissing()
{
    const Read read = readText(line(0, "Job erase") + line(100, "ttyUSB0 TX $A,1*CF00")
        + line(200, "Dialog closed") + line(9100, "ttyUSB0 TX $I,00,01,20,10*1"));
    QCOMPARE(read.course.jobs, 2);
    QCOMPARE(read.course.job, QString());
    QVERIFY(!read.course.closed);
    QCOMPARE(read.course.ports.first().sent, 1);
}

void TestLogReader::listsThePortsThatAreNotTaken()
{
    const Read read = readText(line(0, "Job update") + line(1, "\"Prolific\"") + line(1, "1659")
        + line(1, "\"USB-Serial \\\"A\\\"\"") + line(2, "\"FTDI\"") + line(2, "1027")
        + line(2, "\"FT232R\"") + line(3, "\":/res/settings.json\"") + line(4, "true")
        + line(5, "4000") + line(6, "\"a.c\""));
    QCOMPARE(read.course.adapters, 1);
    QCOMPARE(read.course.otherPorts, QStringList{QStringLiteral("USB-Serial \"A\"")});
}

void TestLogReader::showsNothingThatATerminalObeys()
{
    const Read read = readText(line(0, "Job images") + line(1, "ttyUSB0 TX $MVER*1")
        + line(2, "ttyUSB0 RX $MVERR,\x1b[2J" + QByteArray(500, 'v')));
    const QString version = read.course.ports.first().boardVersion;
    QVERIFY(version.startsWith(u"?[2Jvvv"));
    QVERIFY(version.size() <= 100);
}

void TestLogReader::keepsATrackShort()
{
    Track track;
    constexpr int kMany = 1'000'000;
    for (int i = 0; i < kMany; ++i)
        track.add({static_cast<double>(i), i / 2.0});
    const QList<CoursePoint> points = track.points();
    QVERIFY(points.size() <= 1001);
    QVERIFY(points.size() >= 400);
    QCOMPARE(points.first().at, 0);
    QCOMPARE(points.last().at, kMany - 1);
    for (qsizetype i = 1; i < points.size(); ++i)
        QVERIFY(points.at(i).at >= points.at(i - 1).at);
}

void TestLogReader::findsTheMedian()
{
    AnswerTimes times;
    QCOMPARE(times.median(), 0);
    for (const int time : {3, 16, 16, 17, 40'123})
        times.note(time);
    QCOMPARE(times.median(), 16);
    QCOMPARE(times.quick(), 3);
    QCOMPARE(times.slowest(), 40'123);
    QCOMPARE(times.count(), 5);
}

static const RegisteredTest<TestLogReader> registered(__FILE__);
#include "tst_logreader.moc"
