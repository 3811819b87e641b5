// The cable and the user, in every state of a session: an adapter that is unplugged, a line that
// takes nothing, a dialog that is closed, a port that another program holds.

#include "tests/reliability/ProcessUsage.h"
#include "tests/session/BusFixture.h"
#include "tests/session/DebugLog.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <array>
#include <cerrno>
#include <unistd.h>

namespace {

/// Numbers that a session can have in `state`.
SessionFields somewhereIn(int state)
{
    return {{"state", state}, {"flashAddress", 0x1040}, {"phase", state == StateSendImages ? 3 : 1},
        {"fwStep", 1}, {"retries", state == StateProbe ? 5 : 0}, {"ticks", 4}, {"imageIndex", 1},
        {"imageStep", 1}};
}

constexpr int kMoreThanTheLineHolds = 100; // blocks

QByteArray blockOfAnImage()
{
    return "$F,00" + QByteArray(",A5").repeated(protocol::kBlockSize);
}

void sendBlocks(BusFixture& fixture, int count)
{
    for (int i = 0; i < count; ++i)
        fixture.dialog().AddCRC_nSend(&fixture.port(), QString::fromLatin1(blockOfAnImage()));
}

/// Opens the next dialog. Returns what it sends in its first two steps.
QByteArray probingOfTheNextDialog(BusFixture& fixture)
{
    fixture.openDialog(JobImagesOnly);
    fixture.adapter().discardUnread();
    (void)fixture.sent();
    fixture.step(2);
    return fixture.sent();
}

/// Reads the line until the program has nothing left to send. Returns what it read while the line
/// was there.
QByteArray takeAll(BusFixture& fixture)
{
    QByteArray arrived;
    std::array<char, 4096> chunk{};
    while (fixture.port().bytesToWrite() > 0) {
        const ssize_t count = ::read(fixture.adapter().masterFd(), chunk.data(), chunk.size());
        if (count <= 0)
            return arrived;
        arrived.append(chunk.data(), count);
        QCoreApplication::processEvents();
    }
    return arrived + fixture.sent();
}

} // namespace

class TestCutShort : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("updater.wire=false\nqt.*=false"));
    }
    void bearsAnAdapterThatGoes_data();
    void bearsAnAdapterThatGoes();
    void closesTheDialog_data();
    void closesTheDialog();
    void sendsTheRestOnceTheLineTakesItAgain();
    void leavesOutLinesThatTheLineDoesNotTake();
    void leavesNoDescriptorOpen();
    void aSecondDialogLeavesTheFirstItsPort();
};

void TestCutShort::bearsAnAdapterThatGoes_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("waiting");
    for (int state = StateLoad; state <= StateFinish; ++state) {
        QTest::addRow("state %d", state) << state << false;
        QTest::addRow("state %d, lines wait to be sent", state) << state << true;
    }
}

void TestCutShort::bearsAnAdapterThatGoes()
{
    constexpr int kTrials = 4; // with the 32 rows more than a hundred
    QFETCH(int, state);
    QFETCH(bool, waiting);
    BusFixture fixture(JobUpdate);
    for (int trial = 0; trial < kTrials; ++trial) {
        fixture.setFields(somewhereIn(state));
        sendBlocks(fixture, waiting ? kMoreThanTheLineHolds : 0);
        QCOMPARE(fixture.port().bytesToWrite() > 0, waiting);
        const DebugLog log;
        fixture.adapter().unplug();
        QVERIFY(fixture.port().isOpen());
        // Every other time the session goes on before the port hears of it: what it sends fails.
        if (trial % 2 == 0) {
            fixture.step();
            fixture.reply("$MVERR,D.02n");
        }
        // What a read that found nothing leaves; reading a terminal that hung up does not set it.
        errno = EAGAIN;
        QTRY_VERIFY(!fixture.port().isOpen());
        QCOMPARE(log.count(QStringLiteral("Port has gone")), 1);
        fixture.step(5);
        fixture.closeDialog();
        fixture.adapter().plugAgain();
        QCOMPARE(probingOfTheNextDialog(fixture), framed("$MVER"));
    }
}

void TestCutShort::closesTheDialog_data()
{
    QTest::addColumn<int>("state");
    for (int state = StateLoad; state <= StateFinish; ++state)
        QTest::addRow("state %d", state) << state;
}

void TestCutShort::closesTheDialog()
{
    QFETCH(int, state);
    BusFixture fixture(JobUpdate);
    const QByteArray portName = fixture.adapter().portName().toLatin1();
    QCOMPARE(portLocks(portName.constData()), 1);
    fixture.setFields(somewhereIn(state));
    fixture.step();
    // A line has begun to arrive, and nobody reads what was sent.
    QVERIFY(::write(fixture.adapter().masterFd(), "$DA", 3) == 3);
    fixture.dialog().reject();
    QCOMPARE(portLocks(portName.constData()), 0);
    fixture.dialog().Timeout(); // a tick that was on its way
    fixture.closeDialog();
    QCOMPARE(probingOfTheNextDialog(fixture), framed("$MVER"));
}

// With several boards lines can be sent faster than a slow adapter takes them.
void TestCutShort::sendsTheRestOnceTheLineTakesItAgain()
{
    BusFixture fixture(JobUpdate);
    fixture.setFields({{"state", StateWaitForBootloader}});
    sendBlocks(fixture, kMoreThanTheLineHolds);
    QVERIFY(fixture.port().bytesToWrite() > 0);
    // A full line is not an unplugged one.
    QTest::qWait(200);
    emit fixture.port().errorOccurred(QSerialPort::ResourceError);
    QVERIFY(fixture.port().isOpen());

    QCOMPARE(takeAll(fixture), framed(blockOfAnImage()).repeated(kMoreThanTheLineHolds));
}

void TestCutShort::leavesOutLinesThatTheLineDoesNotTake()
{
    constexpr int kFarMoreThanIsKept = 1000;
    const QByteArray line = blockOfAnImage();
    BusFixture fixture(JobUpdate);
    fixture.setFields({{"state", StateWaitForBootloader}});
    sendBlocks(fixture, kFarMoreThanIsKept);
    QVERIFY(fixture.port().bytesToWrite() >= kMaxUnsentBytes);
    QVERIFY(fixture.port().bytesToWrite() < kMaxUnsentBytes + framed(line).size());

    // Only whole lines were sent, and once the line takes them again, the program sends more.
    const QByteArray arrived = takeAll(fixture);
    QVERIFY(arrived.size() > kMaxUnsentBytes);
    QCOMPARE(arrived, framed(line).repeated(arrived.size() / framed(line).size()));
    sendBlocks(fixture, 1);
    QCOMPARE(fixture.sent(), framed(line));
}

void TestCutShort::leavesNoDescriptorOpen()
{
    constexpr int kDialogs = 20;
    BusFixture fixture(JobUpdate); // opens what Qt keeps open from its first use on
    const int descriptors = openDescriptors();
    for (int i = 0; i < kDialogs; ++i) {
        fixture.closeDialog();
        fixture.openDialog(JobUpdate);
        fixture.step(i);
        (void)fixture.sent();
    }
    // The mocked bus opens and closes its own descriptors in a thread.
    QTRY_VERIFY(openDescriptors() <= descriptors);
}

void TestCutShort::aSecondDialogLeavesTheFirstItsPort()
{
    BusFixture fixture(JobImagesOnly);
    DialogBootload second(&fixture.service(), JobUpdate, nullptr);
    DialogBootloadProbe probe(second);
    probe.timer().stop();
    QCOMPARE(probe.ports().size(), qsizetype(1));
    QVERIFY(!probe.ports().first()->isOpen());
    for (int i = 0; i < 20; ++i)
        second.Timeout();
    QCOMPARE(fixture.sent(), QByteArray());
    fixture.step(2);
    QCOMPARE(fixture.sent(), framed("$MVER"));
    second.reject();
}

static const RegisteredTest<TestCutShort> registered(__FILE__);
#include "tst_cutshort.moc"
