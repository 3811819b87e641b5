// The adapter is pulled out: in every state, with and without lines that wait to be sent.

#include "tests/session/BusFixture.h"
#include "tests/session/DebugLog.h"
#include "tests/support/TestProgram.h"

#include <cerrno>

class TestUnplugging : public QObject
{
    Q_OBJECT

private slots:
    void closesThePortInEveryState_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("waiting");
        for (int state = StateLoad; state <= StateFinish; ++state) {
            QTest::addRow("state %d", state) << state << false;
            QTest::addRow("state %d, lines wait to be sent", state) << state << true;
        }
    }

    void closesThePortInEveryState()
    {
        constexpr int kTrials = 4; // with the 32 rows more than a hundred
        constexpr int kLinesThatFillTheLine = 100;
        QFETCH(int, state);
        QFETCH(bool, waiting);
        const QString line
            = QStringLiteral("$F,00") + QStringLiteral(",A5").repeated(protocol::kBlockSize);
        BusFixture session(JobUpdate);
        for (int trial = 0; trial < kTrials; ++trial) {
            session.setFields({{"state", state}});
            for (int i = 0; waiting && i < kLinesThatFillTheLine; ++i)
                session.dialog().AddCRC_nSend(&session.port(), line);
            QCOMPARE(session.port().bytesToWrite() > 0, waiting);
            const DebugLog log;
            session.adapter().unplug();
            // Every other time the session takes its step before the port hears of it.
            if (trial % 2 == 0)
                session.step();
            // What a read that found nothing leaves; reading a terminal that hung up does not set
            // it.
            errno = EAGAIN;
            QTRY_VERIFY(!session.port().isOpen());
            QCOMPARE(log.count(QStringLiteral("Port has gone")), 1);
            session.closeDialog();
            session.adapter().plugAgain();
            session.openDialog(JobUpdate);
        }
    }
};

static const RegisteredTest<TestUnplugging> registered(__FILE__);
#include "tst_unplugging.moc"
