#include "tests/session/DebugLog.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

namespace {

constexpr QLatin1StringView kJob{"updater.job"};
constexpr QLatin1StringView kWire{"updater.wire"};

/// Runs a job up to a few lines in both directions.
void runForAWhile()
{
    SessionFixture session;
    session.step(2);
    session.receive("$MVERR,7\n");
    session.setFields({{"state", StateLoad}});
    session.step();
}

} // namespace

/// The two categories of the log, and how they are switched.
class TestLog : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QLoggingCategory::setFilterRules({}); }

    void tellsTheJobAndTheLinesApart()
    {
        const DebugLog log;
        runForAWhile();
        const QString name = QStringLiteral("ttyUSB0");
        const auto sent = [&name](const QByteArray& text) {
            return name + QStringLiteral(" TX ") + QString::fromLatin1(framed(text).trimmed());
        };
        QCOMPARE(log.in(kWire),
            (QStringList{
                sent("$MVER"), name + QStringLiteral(" RX $MVERR,7"), sent("$BOOTLOADM")}));
        QCOMPARE(log.in(kJob).filter(QStringLiteral("Files  3")).size(), 1);
        QCOMPARE(log.in(kJob).filter(QStringLiteral("Opened")).size(), 2);
        // Whatever the program says is in one of the two.
        QCOMPARE(log.in(QStringLiteral("default")), QStringList());
    }

    void saysWhichJobOfWhichSetAndHowItEnds_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("name");
        QTest::newRow("update") << int{JobUpdate} << QStringLiteral("Job update");
        QTest::newRow("images") << int{JobImagesOnly} << QStringLiteral("Job images");
        QTest::newRow("erase") << int{JobEraseImages} << QStringLiteral("Job erase");
    }

    void saysWhichJobOfWhichSetAndHowItEnds()
    {
        QFETCH(int, mode);
        const DebugLog log;
        SessionFixture session(mode);
        QTEST(log.in(kJob).constFirst().trimmed(), "name");
        QCOMPARE(log.in(kJob).filter(QStringLiteral("Release set T.07")).size(), 1);
        session.setFields({{"state", StateFinish}, {"ticks", 3}});
        session.step();
        session.closeDialog();
        const QStringList job = log.in(kJob);
        QCOMPARE(job.last(2),
            (QStringList{
                QStringLiteral("ttyUSB0 Bootload Complete"), QStringLiteral("Dialog closed")}));
    }

    void saysWhyAReplyIsPassedOver()
    {
        const DebugLog log;
        SessionFixture session;
        session.receive("$DACK*1234\n$WHAT\n");
        QCOMPARE(log.in(kJob).filter(QStringLiteral(" passed over ")),
            (QStringList{
                QStringLiteral("ttyUSB0 passed over (no data line's answer is awaited) $DACK*1234"),
                QStringLiteral("ttyUSB0 passed over (unknown) $WHAT")}));
    }

    void switchesEachCategoryOffAlone_data()
    {
        QTest::addColumn<QString>("off");
        QTest::addColumn<QString>("on");
        QTest::newRow("job") << QString(kJob) << QString(kWire);
        QTest::newRow("wire") << QString(kWire) << QString(kJob);
    }

    void switchesEachCategoryOffAlone()
    {
        QFETCH(QString, off);
        QFETCH(QString, on);
        qsizetype lines = 0;
        {
            const DebugLog log;
            runForAWhile();
            lines = log.in(on).size();
            QVERIFY(!log.in(off).isEmpty());
        }
        QLoggingCategory::setFilterRules(off + QStringLiteral("=false"));
        const DebugLog log;
        runForAWhile();
        QCOMPARE(log.in(off), QStringList());
        QCOMPARE(log.in(on).size(), lines);
    }
};

static const RegisteredTest<TestLog> registered(__FILE__);
#include "tst_log.moc"
