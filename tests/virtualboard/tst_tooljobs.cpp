// What the tool says of the jobs that a program does on its boards.

#include "tests/support/TestProgram.h"
#include "tests/virtualboard/ToolProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

namespace {

constexpr int kPort = 120;

Run run(const QStringList& options, const QStringList& program = {})
{
    return runTool(kPort, options, program);
}

} // namespace

class TestToolJobs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void imagesJobEndsExactWithPicturesRecordAndReport()
    {
        const QString pictures = m_folder.filePath(QStringLiteral("pictures"));
        const QString record = m_folder.filePath(QStringLiteral("record.txt"));
        const QString report = m_folder.filePath(QStringLiteral("report.json"));
        const Run images = job(QStringLiteral("images"),
            {"--pictures", pictures, "--record", record, "--report", report});
        QVERIFY2(images.exitCode == 0, qPrintable(images.output + images.errors));

        QCOMPARE(QDir(pictures).entryList({"*.png"}), QStringList{"image7-v1.png"});

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
        QCOMPARE(board[QStringLiteral("lines")][QStringLiteral("I")].toInt(), 1);
        QVERIFY(board[QStringLiteral("turnaroundMicroseconds")][QStringLiteral("p50")].toInt() > 0);
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

    void stopsTheProgramWhenTheBoardsAreDone()
    {
        const QString lasting
            = QStringLiteral("'%1' erase '%2'; sleep 1000 & trap 'kill $!' EXIT TERM; wait");
        const Run stopped
            = run({"--stop-when-done", "0.2"}, {"sh", "-c", lasting.arg(kClient, m_set)});
        QVERIFY2(stopped.exitCode == 0, qPrintable(stopped.output + stopped.errors));
    }

    void everyBoardGetsItsVerdict()
    {
        const Run two = job(QStringLiteral("erase"),
            {"--boards", "2", "--fault", "split-reply at=1", "--fault", "silence at=1 board=1"});
        QCOMPARE(two.exitCode, 1); // the client works on the first one only
        QVERIFY(two.output.contains(QStringLiteral("board 0 (ttyUSB120): EXACT, erase")));
        QVERIFY(two.output.contains(QStringLiteral("board 1 (ttyUSB121): NOT EXACT")));
        QVERIFY(two.output.contains(QStringLiteral("VERDICT: NOT EXACT (1 of 2 boards exact)")));
        // A fault is every board's, or that of the one that it names.
        QVERIFY(two.output.contains(QStringLiteral("s: split-reply at=1")));
        QVERIFY(!two.output.contains(QStringLiteral("s: silence")));
    }

    void lineRateTakesItsTime()
    {
        QElapsedTimer timer;
        timer.start();
        const Run erase = job(QStringLiteral("erase"), {"--line-rate", "--image-erase", "800"});
        QVERIFY2(erase.exitCode == 0, qPrintable(erase.output + erase.errors));
        QVERIFY(timer.elapsed() > 300 + 800);
    }

private:
    /// A job of the client with the small set.
    Run job(const QString& name, const QStringList& options = {})
    {
        return run(QStringList{"--release-set", m_set} + options, {kClient, name, m_set});
    }

    QTemporaryDir m_folder;
    QString m_set;
};

// One image of 200 blocks; the firmware is mostly erased flash.
void TestToolJobs::initTestCase()
{
    QVERIFY(m_folder.isValid());
    m_set = m_folder.filePath(QStringLiteral("set"));
    QVERIFY(QDir().mkpath(m_set));
    writeFile(m_set + QStringLiteral("/fw1.bin"), QByteArray(0x1800, 'f'));
    writeFile(m_set + QStringLiteral("/settings.json"),
        R"({"Images":[{"FileName":"a.c","ImageName":7,"ImageVersion":1}]})");
    writeFile(m_set + QStringLiteral("/a.c"),
        "m[] = {\n" + QByteArray("0x01, 0x02, ").repeated(160 * 160)
            + "};\nd = { .header.w = 160, .header.h = 160, };");
}

static const RegisteredTest<TestToolJobs> registered(__FILE__);
#include "tst_tooljobs.moc"
