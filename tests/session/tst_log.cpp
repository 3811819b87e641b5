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
