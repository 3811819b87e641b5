// The adapter is pulled out: in every state, with and without lines that wait to be sent.

#include "tests/session/DebugLog.h"
#include "tests/session/SessionBench.h"

#include <QTest>

#include <cerrno>

class TestUnplugging : public QObject
{
    Q_OBJECT

private slots:
    void closesThePortInEveryState_data();
    void closesThePortInEveryState();
};

void TestUnplugging::closesThePortInEveryState_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("waiting");
    for (int state = StateLoad; state <= StateFinish; ++state) {
        QTest::addRow("state %d", state) << state << false;
        QTest::addRow("state %d, lines wait to be sent", state) << state << true;
    }
}

void TestUnplugging::closesThePortInEveryState()
{
    constexpr int kTrials = 4; // with the 32 rows more than a hundred
    constexpr int kLinesThatFillTheLine = 100;
    QFETCH(int, state);
    QFETCH(bool, waiting);
    const QString line = QStringLiteral("$F,00") + QStringLiteral(",A5").repeated(kBlockSize);
    SessionBench bench(JobUpdate);
    for (int trial = 0; trial < kTrials; ++trial) {
        bench.setFields({{"state", state}});
        for (int i = 0; waiting && i < kLinesThatFillTheLine; ++i)
            bench.dialog().AddCRC_nSend(&bench.port(), line);
        QCOMPARE(bench.port().bytesToWrite() > 0, waiting);
        const DebugLog log;
        // Lets the port read once, as it does between two lines.
        QCoreApplication::processEvents();
        QVERIFY(bench.port().isOpen());

        bench.adapter().unplug();
        // What a read that found nothing leaves; reading a terminal that hung up does not set it.
        errno = EAGAIN;
        QTRY_VERIFY(!bench.port().isOpen());
        QCOMPARE(log.count(QStringLiteral("Port has gone")), 1);
        bench.closeDialog();
        bench.adapter().plugAgain();
        bench.openDialog(JobUpdate);
    }
}

QTEST_MAIN(TestUnplugging)
#include "tst_unplugging.moc"
