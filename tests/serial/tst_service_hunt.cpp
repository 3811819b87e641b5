// The hunt tick by tick: which port is open at which speed after each tick, compared
// with written-out tables. A wait of n ticks shows as n + 1 equal states: the tick that opens, and
// the n that wait.

#include "tests/serial/HuntFixture.h"
#include "tests/support/PortNames.h"
#include "tests/support/TestProgram.h"

#include <QSignalSpy>

#include <array>
#include <unistd.h>

namespace {

// The ports' numbers; plugged in this order, which is not that of their names.
constexpr int kA = 3;
constexpr int kB = 1;
constexpr int kC = 2;

QStringList portNames(std::initializer_list<int> numbers)
{
    QStringList names;
    for (const int number : numbers)
        names << uniquePortName(number);
    return names;
}

// Ticks after which the hunt is in these stages, with an adapter present from the start.
constexpr int kScanned = 3;
constexpr int kFirstOpened = 9;
constexpr int kSecondSpeed = 35;
constexpr int kNextCandidate = 86;

constexpr const char* kStatusLine = "$STATUS*3BC1\n";
constexpr const char* kAnnouncement = "$Bootloader\n";

/// How the hunt with the adapters A and B gets into a stage: the ticks from its start, then a line
/// from the board at A, where there is one, and further ticks.
struct Stage
{
    int ticks = 0;
    const char* line = nullptr;
    int furtherTicks = 0;
};

constexpr Stage kStatusAnswered{kSecondSpeed + 10, kStatusLine, 0};
constexpr Stage kReopened{kSecondSpeed + 10, kStatusLine, 4};
constexpr Stage kFound{kFirstOpened, kAnnouncement, 0};

/// Takes a new hunt into `stage` and returns the port's state after each tick.
QStringList enter(HuntFixture& hunt, const Stage& stage)
{
    const PluggedAdapter& adapter = hunt.plug(kA);
    hunt.plug(kB);
    QStringList states = hunt.watch(stage.ticks);
    if (stage.line != nullptr)
        hunt.receive(adapter, stage.line);
    return states + hunt.watch(stage.furtherTicks);
}

} // namespace

Q_DECLARE_METATYPE(Stage)

class TestServiceHunt : public QObject
{
    Q_OBJECT

private slots:
    // The walk.
    void neverTouchesAPortWithoutAnAdapter()
    {
        HuntFixture hunt;
        const QSignalSpy touched(&hunt.port, &QSerialPort::errorOccurred);
        QCOMPARE(hunt.run(100), QStringList{QStringLiteral("100 x closed")});
        QCOMPARE(touched.count(), 0);
        QVERIFY(hunt.port.portName().isEmpty());
        QVERIFY(!hunt.probe.portFound);
    }

    void scansEverySixthTickWithoutAnAdapter_data()
    {
        QTest::addColumn<int>("pluggedAfterTick");
        QTest::addColumn<int>("foundAtTick");
        QTest::newRow("before the first scan") << 2 << 3;
        QTest::newRow("after the first scan") << 3 << 9;
        QTest::newRow("before the second scan") << 8 << 9;
        QTest::newRow("after the second scan") << 9 << 15;
        QTest::newRow("before the third scan") << 14 << 15;
        QTest::newRow("after the third scan") << 15 << 21;
    }

    void scansEverySixthTickWithoutAnAdapter()
    {
        QFETCH(int, pluggedAfterTick);
        QFETCH(int, foundAtTick);
        HuntFixture hunt;
        hunt.watch(pluggedAfterTick);
        hunt.plug(kA);
        hunt.watch(foundAtTick - pluggedAfterTick - 1);
        QVERIFY(!hunt.probe.portFound);
        hunt.watch(1);
        QVERIFY(hunt.probe.portFound);
        QCOMPARE(hunt.probe.portIndex, -1);
        QCOMPARE(hunt.run(6),
            QStringList({QStringLiteral("5 x closed"), QStringLiteral("1 x port 3 at 115200")}));
    }

    void triesTheOneAdapterAtBothSpeeds()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        const QStringList expected{
            QStringLiteral("8 x closed"),
            QStringLiteral("26 x port 3 at 115200"),
            QStringLiteral("51 x port 3 at 19200"),
            QStringLiteral("115 x closed"),
        };
        QCOMPARE(hunt.run(200), expected);
        QCOMPARE(hunt.probe.triedPorts, portNames({kA}));
    }

    void triesThreeAdaptersInTheSystemsOrder()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.plug(kB);
        hunt.plug(kC);
        const QStringList expected{
            QStringLiteral("8 x closed"),
            QStringLiteral("26 x port 3 at 115200"),
            QStringLiteral("51 x port 3 at 19200"),
            QStringLiteral("26 x port 1 at 115200"),
            QStringLiteral("51 x port 1 at 19200"),
            QStringLiteral("26 x port 2 at 115200"),
            QStringLiteral("51 x port 2 at 19200"),
            QStringLiteral("61 x closed"),
        };
        QCOMPARE(hunt.run(300), expected);
        QCOMPARE(hunt.probe.candidatePorts, portNames({kA, kB, kC}));
        QCOMPARE(hunt.probe.triedPorts, portNames({kA, kB, kC}));
        QVERIFY(!hunt.settings.deviceReady);
    }

    void isStuckForGoodAfterTheLastCandidate()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.watch(kNextCandidate);
        hunt.plug(kB);
        QCOMPARE(hunt.run(500), QStringList{QStringLiteral("500 x closed")});
        QCOMPARE(hunt.probe.portIndex, 1);
        QCOMPARE(hunt.probe.candidatePorts, portNames({kA}));
        QVERIFY(hunt.probe.portFound);

        // Each of these ticks closes the port.
        hunt.port.setPortName(uniquePortName(kB));
        QVERIFY(hunt.port.open(QIODevice::ReadWrite));
        QCOMPARE(hunt.run(1), QStringList{QStringLiteral("1 x closed")});
    }

    void opensBothWaysWithoutParityAndFlowControl()
    {
        HuntFixture hunt;
        const PluggedAdapter& adapter = hunt.plug(kA);
        hunt.port.setParity(QSerialPort::OddParity);
        hunt.port.setDataBits(QSerialPort::Data7);
        hunt.port.setStopBits(QSerialPort::TwoStop);
        hunt.port.setFlowControl(QSerialPort::HardwareControl);
        hunt.watch(kFirstOpened);
        QCOMPARE(adapter.baudRate(), 115200);
        hunt.watch(kSecondSpeed - kFirstOpened);
        QCOMPARE(adapter.baudRate(), 19200);
        QCOMPARE(hunt.port.openMode(), QIODevice::ReadWrite);
        QCOMPARE(hunt.port.baudRate(QSerialPort::Input), 19200);
        QCOMPARE(hunt.port.baudRate(QSerialPort::Output), 19200);
        QCOMPARE(hunt.port.dataBits(), QSerialPort::Data8);
        QCOMPARE(hunt.port.parity(), QSerialPort::NoParity);
        QCOMPARE(hunt.port.stopBits(), QSerialPort::OneStop);
        QCOMPARE(hunt.port.flowControl(), QSerialPort::NoFlowControl);
    }

    void takesForACandidate_data()
    {
        QTest::addColumn<QString>("manufacturer");
        QTest::addColumn<bool>("taken");
        QTest::newRow("exact") << QStringLiteral("FTDI") << true;
        QTest::newRow("within a longer name") << QStringLiteral("The FTDI Company") << true;
        QTest::newRow("lower case") << QStringLiteral("ftdi") << false;
        QTest::newRow("cut") << QStringLiteral("FTD") << false;
        QTest::newRow("another maker") << QStringLiteral("Prolific") << false;
    }

    void takesForACandidate()
    {
        QFETCH(QString, manufacturer);
        QFETCH(bool, taken);
        HuntFixture hunt;
        hunt.plug(kA, manufacturer);
        hunt.watch(kScanned);
        QCOMPARE(hunt.probe.portFound, taken);
        QCOMPARE(hunt.probe.advancePending, taken);
        QCOMPARE(hunt.probe.candidatePorts, taken ? portNames({kA}) : QStringList());
    }

    void aPortHeldByAnotherIsAnAttemptWithoutAnswer()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.plug(kB);
        QSerialPort other(uniquePortName(kA));
        QVERIFY(other.open(QIODevice::ReadWrite));
        const QStringList expected{
            QStringLiteral("85 x closed"),
            QStringLiteral("26 x port 1 at 115200"),
            QStringLiteral("51 x port 1 at 19200"),
            QStringLiteral("38 x closed"),
        };
        QCOMPARE(hunt.run(200), expected);
    }

    void aPortThatVanishesIsAnAttemptWithoutAnswer()
    {
        HuntFixture hunt;
        PluggedAdapter& adapter = hunt.plug(kA);
        hunt.plug(kB);
        hunt.watch(kFirstOpened + 10);
        const QSignalSpy errors(&hunt.port, &QSerialPort::errorOccurred);
        adapter.unplug();
        QTRY_VERIFY(!hunt.port.isOpen());
        // Closed at the first error: a second one would come with every round of the event loop.
        QTest::qWait(50);
        QVERIFY2(errors.count() <= 2, qPrintable(QString::number(errors.count())));

        const QStringList expected{
            QStringLiteral("66 x closed"),
            QStringLiteral("26 x port 1 at 115200"),
            QStringLiteral("8 x port 1 at 19200"),
        };
        QCOMPARE(hunt.run(100), expected);
    }

    // The hunt may close the port before the event loop comes round again.
    void whatIsSentLeavesWithoutATurnOfTheEventLoop()
    {
        HuntFixture hunt;
        hunt.plug(3);
        hunt.watch(kFirstOpened);
        hunt.probe.sendEnabled = true;
        protocol::Line line("$A,1");
        hunt.service.AddCRC_nSend(line.buffer().data());
        QCOMPARE(hunt.port.bytesToWrite(), qint64(0));
        hunt.service.WriteMessage(QStringLiteral("$V"));
        QCOMPARE(hunt.port.bytesToWrite(), qint64(0));
        QByteArray data = "$W";
        hunt.service.WriteMessage(data);
        QCOMPARE(hunt.port.bytesToWrite(), qint64(0));
    }

    void losesNothingOfWhatAFullLineDoesNotTakeAtOnce()
    {
        constexpr qsizetype kMoreThanTheLineHolds = 60'008; // bytes
        HuntFixture hunt;
        PluggedAdapter& adapter = hunt.plug(3);
        hunt.watch(kFirstOpened);
        QByteArray sent(kMoreThanTheLineHolds, '\0');
        for (qsizetype i = 0; i < sent.size(); ++i)
            sent[i] = static_cast<char>(i * 7 + i / 251);
        QCOMPARE(hunt.service.WriteMessage(sent), kMoreThanTheLineHolds);
        // Asked again until the line takes nothing more and says so by an error.
        int errors = 0;
        const auto counting
            = connect(&hunt.port, &QSerialPort::errorOccurred, this, [&errors] { ++errors; });
        QByteArray more = "$V";
        for (int i = 0; errors == 0 && i < kMoreThanTheLineHolds; ++i) {
            sent += more;
            QCOMPARE(hunt.service.WriteMessage(more), more.size());
        }
        QVERIFY(errors > 0);
        disconnect(counting);
        QVERIFY(hunt.port.isOpen());
        QVERIFY(hunt.port.bytesToWrite() > 0);

        QByteArray arrived;
        std::array<char, 4096> chunk{};
        while (arrived.size() < sent.size()) {
            const ssize_t count = ::read(adapter.masterFd(), chunk.data(), chunk.size());
            QVERIFY(count > 0);
            arrived.append(chunk.data(), count);
            QCoreApplication::processEvents();
            QVERIFY(hunt.port.isOpen());
        }
        QCOMPARE(arrived, sent);
    }

    void onlyAnIndexAfterTheEndBringsANewScan()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.watch(kNextCandidate + 100);
        hunt.probe.advancePending = true;
        QCOMPARE(hunt.probe.portIndex, 1);
        hunt.watch(1);
        QVERIFY(hunt.probe.portFound);
        QCOMPARE(hunt.probe.portIndex, 2);
        QCOMPARE(hunt.probe.waitTicks, 25);

        hunt.watch(25);
        hunt.probe.advancePending = true;
        hunt.watch(1);
        QVERIFY(!hunt.probe.portFound);
        QVERIFY(!hunt.probe.advancePending);
        QCOMPARE(hunt.probe.waitTicks, 0);

        // The scan starts from nothing.
        hunt.probe.statusAnswered = true;
        hunt.watch(1);
        QVERIFY(hunt.probe.portFound);
        QVERIFY(!hunt.probe.statusAnswered);
        QCOMPARE(hunt.probe.portIndex, -1);
        QCOMPARE(hunt.probe.candidatePorts, portNames({kA}));
        QVERIFY(hunt.probe.triedPorts.isEmpty());
        QCOMPARE(hunt.run(6),
            QStringList({QStringLiteral("5 x closed"), QStringLiteral("1 x port 3 at 115200")}));
    }

    void onlyCountsDownWhileInputIsIgnored()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.watch(kFirstOpened);
        hunt.probe.ignoreInput = true;
        QCOMPARE(hunt.probe.waitTicks, 25);
        QCOMPARE(hunt.run(100), QStringList{QStringLiteral("100 x port 3 at 115200")});
        QCOMPARE(hunt.probe.waitTicks, 0);
    }

    // What the board says.

    void aStatusReportReopensAtTheBootloadersSpeed()
    {
        HuntFixture hunt;
        const PluggedAdapter& adapter = hunt.plug(kA);
        hunt.plug(kB);
        hunt.watch(kSecondSpeed + 10);
        hunt.receive(adapter, kStatusLine);
        const QStringList expected{
            QStringLiteral("3 x port 3 at 19200"),
            QStringLiteral("26 x port 3 at 115200"),
            QStringLiteral("26 x port 1 at 115200"),
            QStringLiteral("45 x port 1 at 19200"),
        };
        QCOMPARE(hunt.run(100), expected);
    }

    void aStatusReportInTheFirstAttemptKeepsTheSecondOne()
    {
        HuntFixture hunt;
        const PluggedAdapter& adapter = hunt.plug(kA);
        hunt.watch(kFirstOpened + 10);
        hunt.receive(adapter, kStatusLine);
        const QStringList expected{
            QStringLiteral("29 x port 3 at 115200"),
            QStringLiteral("51 x port 3 at 19200"),
            QStringLiteral("20 x closed"),
        };
        QCOMPARE(hunt.run(100), expected);
    }

    void aStatusReportBeforeTheFirstAttemptOpensNothing()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.watch(kScanned);
        hunt.probe.statusAnswered = true;
        QCOMPARE(hunt.run(7),
            QStringList({QStringLiteral("6 x closed"), QStringLiteral("1 x port 3 at 115200")}));
        QVERIFY(!hunt.probe.statusAnswered);
    }

    void aStatusReportAfterTheLastCandidateOpensNothing()
    {
        HuntFixture hunt;
        hunt.plug(kA);
        hunt.watch(kNextCandidate + 100);
        hunt.probe.statusAnswered = true;
        QCOMPARE(hunt.run(100), QStringList{QStringLiteral("100 x closed")});
        QVERIFY(!hunt.probe.statusAnswered);
    }

    void theAnnouncementLeavesThePortAsItIs_data()
    {
        QTest::addColumn<int>("ticks");
        QTest::addColumn<QString>("state");
        QTest::newRow("first attempt") << kFirstOpened << QStringLiteral("port 3 at 115200");
        QTest::newRow("its last tick") << kSecondSpeed - 1 << QStringLiteral("port 3 at 115200");
        QTest::newRow("second attempt") << kSecondSpeed << QStringLiteral("port 3 at 19200");
    }

    void theAnnouncementLeavesThePortAsItIs()
    {
        QFETCH(int, ticks);
        QFETCH(QString, state);
        HuntFixture hunt;
        const PluggedAdapter& adapter = hunt.plug(kA);
        hunt.watch(ticks);
        hunt.receive(adapter, kAnnouncement);
        QVERIFY(hunt.settings.deviceReady);
        QVERIFY(!hunt.probe.portFound);
        QCOMPARE(hunt.run(200), QStringList{QStringLiteral("200 x ") + state});
        QCOMPARE(hunt.probe.waitTicks, 0);
    }

    // What the program says, in every stage.

    void acceptLeavesThePortAsItIs_data()
    {
        QTest::addColumn<Stage>("stage");
        QTest::addColumn<QString>("state");
        const auto row = [](const char* name, const Stage& stage, const char* state) {
            QTest::newRow(name) << stage << QString::fromLatin1(state);
        };
        row("new", {0}, "closed");
        row("about to scan", {kScanned - 1}, "closed");
        row("scanned", {kScanned}, "closed");
        row("first attempt", {kFirstOpened}, "port 3 at 115200");
        row("second attempt", {kSecondSpeed + 7}, "port 3 at 19200");
        row("status answered", kStatusAnswered, "port 3 at 19200");
        row("reopened after it", kReopened, "port 3 at 115200");
        row("found", kFound, "port 3 at 115200");
        row("next candidate", {kNextCandidate}, "port 1 at 115200");
        row("stuck", {300}, "closed");
    }

    void acceptLeavesThePortAsItIs()
    {
        QFETCH(Stage, stage);
        QFETCH(QString, state);
        HuntFixture hunt;
        enter(hunt, stage);
        hunt.service.Accept();
        QVERIFY(hunt.settings.deviceReady);
        QVERIFY(!hunt.probe.portFound);
        const QStringList candidates = hunt.probe.candidatePorts;
        QCOMPARE(hunt.run(200), QStringList{QStringLiteral("200 x ") + state});
        QCOMPARE(hunt.probe.waitTicks, 0);
        QCOMPARE(hunt.probe.candidatePorts, candidates);
    }

    void rejectForbidsScansAndClosesThePort_data()
    {
        QTest::addColumn<Stage>("stage");
        QTest::addColumn<QStringList>("states");
        const auto row = [](const char* name, const Stage& stage, const QStringList& states) {
            QTest::newRow(name) << stage << states;
        };
        const auto closed = [](int ticks) { return QStringLiteral("%1 x closed").arg(ticks); };
        const QString fastA = QStringLiteral("26 x port 3 at 115200");
        const QString slowA = QStringLiteral("51 x port 3 at 19200");
        const QString fastB = QStringLiteral("26 x port 1 at 115200");
        const QString slowB = QStringLiteral("51 x port 1 at 19200");
        row("new", {0}, {closed(200)});
        row("about to scan", {kScanned - 1}, {closed(200)});
        // A walk that is under way goes on.
        row("scanned", {kScanned}, {closed(5), fastA, slowA, fastB, slowB, closed(41)});
        row("first attempt", {kFirstOpened}, {closed(25), slowA, fastB, slowB, closed(47)});
        row("second attempt", {kSecondSpeed + 7}, {closed(43), fastB, slowB, closed(80)});
        row("status answered", kStatusAnswered, {closed(3), fastA, fastB, slowB, closed(94)});
        row("reopened after it", kReopened, {closed(25), fastB, slowB, closed(98)});
        row("found", kFound, {closed(200)});
        row("next candidate", {kNextCandidate}, {closed(25), slowB, closed(124)});
        row("stuck", {300}, {closed(200)});
    }

    void rejectForbidsScansAndClosesThePort()
    {
        QFETCH(Stage, stage);
        QFETCH(QStringList, states);
        HuntFixture hunt;
        enter(hunt, stage);
        hunt.service.Reject();
        QCOMPARE(hunt.portState(), QStringLiteral("closed"));
        QVERIFY(!hunt.probe.checkingEnabled);
        QCOMPARE(hunt.run(200), states);
    }

    void holdFreezesEveryStep_data()
    {
        QTest::addColumn<Stage>("stage");
        QTest::addColumn<QStringList>("wholeHunt");
        const QStringList unanswered{
            QStringLiteral("8 x closed"),
            QStringLiteral("26 x port 3 at 115200"),
            QStringLiteral("51 x port 3 at 19200"),
            QStringLiteral("26 x port 1 at 115200"),
            QStringLiteral("51 x port 1 at 19200"),
            QStringLiteral("138 x closed"),
        };
        const QStringList answered{
            QStringLiteral("8 x closed"),
            QStringLiteral("26 x port 3 at 115200"),
            QStringLiteral("14 x port 3 at 19200"),
            QStringLiteral("26 x port 3 at 115200"),
            QStringLiteral("26 x port 1 at 115200"),
            QStringLiteral("51 x port 1 at 19200"),
            QStringLiteral("149 x closed"),
        };
        const QStringList found{
            QStringLiteral("8 x closed"),
            QStringLiteral("292 x port 3 at 115200"),
        };
        const auto row = [](const char* name, const Stage& stage, const QStringList& wholeHunt) {
            QTest::newRow(name) << stage << wholeHunt;
        };
        row("new", {0}, unanswered);
        row("about to scan", {kScanned - 1}, unanswered);
        row("scanned", {kScanned}, unanswered);
        row("about to open", {kFirstOpened - 1}, unanswered);
        row("first attempt", {kFirstOpened}, unanswered);
        row("about to change the speed", {kSecondSpeed - 1}, unanswered);
        row("second attempt", {kSecondSpeed + 7}, unanswered);
        row("status answered", kStatusAnswered, answered);
        row("reopened after it", kReopened, answered);
        row("found", kFound, found);
        row("about to move on", {kNextCandidate - 1}, unanswered);
        row("next candidate", {kNextCandidate + 3}, unanswered);
        row("stuck", {250}, unanswered);
    }

    void holdFreezesEveryStep()
    {
        QFETCH(Stage, stage);
        QFETCH(QStringList, wholeHunt);
        constexpr qsizetype kAllTicks = 300;
        HuntFixture hunt;
        QStringList states = enter(hunt, stage);
        const QString held = hunt.portState();
        const int waitTicks = hunt.probe.waitTicks;
        hunt.service.HoldChecking(true);
        QCOMPARE(hunt.run(100), QStringList{QStringLiteral("100 x ") + held});
        QCOMPARE(hunt.probe.waitTicks, waitTicks);

        hunt.service.HoldChecking(false);
        states += hunt.watch(static_cast<int>(kAllTicks - states.size()));
        QCOMPARE(HuntFixture::counted(states), wholeHunt);
    }
};

static const RegisteredTest<TestServiceHunt> registered(__FILE__);
#include "tst_service_hunt.moc"
