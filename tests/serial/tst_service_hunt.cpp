// The hunt tick by tick: which port is open at which speed after each tick, held against
// written-out tables. A wait of n ticks shows as n + 1 equal states: the tick that opens, and the n
// that wait.

#include "tests/serial/HuntBench.h"
#include "tests/support/PortNames.h"

#include <QSignalSpy>
#include <QTest>

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
QStringList enter(HuntBench& bench, const Stage& stage)
{
    const PluggedAdapter& adapter = bench.plug(kA);
    bench.plug(kB);
    QStringList states = bench.watch(stage.ticks);
    if (stage.line != nullptr)
        bench.receive(adapter, stage.line);
    return states + bench.watch(stage.furtherTicks);
}

} // namespace

Q_DECLARE_METATYPE(Stage)

class TestServiceHunt : public QObject
{
    Q_OBJECT

private slots:
    // The walk.
    void neverTouchesAPortWithoutAnAdapter();
    void scansEverySixthTickWithoutAnAdapter_data();
    void scansEverySixthTickWithoutAnAdapter();
    void triesTheOneAdapterAtBothSpeeds();
    void triesThreeAdaptersInTheSystemsOrder();
    void isStuckForGoodAfterTheLastCandidate();
    void opensBothWaysWithoutParityAndFlowControl();
    void takesForACandidate_data();
    void takesForACandidate();
    void aPortHeldByAnotherIsAnAttemptWithoutAnswer();
    void aPortThatVanishesIsAnAttemptWithoutAnswer();
    void losesNothingOfWhatAFullLineDoesNotTakeAtOnce();
    void onlyAnIndexBehindTheEndBringsANewScan();
    void onlyCountsDownWhileInputIsIgnored();

    // What the board says.
    void aStatusReportReopensAtTheBootloadersSpeed();
    void aStatusReportInTheFirstAttemptKeepsTheSecondOne();
    void aStatusReportBeforeTheFirstAttemptOpensNothing();
    void aStatusReportAfterTheLastCandidateOpensNothing();
    void theAnnouncementLeavesThePortAsItIs_data();
    void theAnnouncementLeavesThePortAsItIs();

    // What the program says, in every stage.
    void acceptLeavesThePortAsItIs_data();
    void acceptLeavesThePortAsItIs();
    void rejectForbidsScansAndClosesThePort_data();
    void rejectForbidsScansAndClosesThePort();
    void holdFreezesEveryStep_data();
    void holdFreezesEveryStep();
};

void TestServiceHunt::neverTouchesAPortWithoutAnAdapter()
{
    HuntBench bench;
    const QSignalSpy touched(&bench.port, &QSerialPort::errorOccurred);
    QCOMPARE(bench.run(100), QStringList{QStringLiteral("100 x closed")});
    QCOMPARE(touched.count(), 0);
    QVERIFY(bench.port.portName().isEmpty());
    QVERIFY(!bench.probe.portFound);
}

void TestServiceHunt::scansEverySixthTickWithoutAnAdapter_data()
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

void TestServiceHunt::scansEverySixthTickWithoutAnAdapter()
{
    QFETCH(int, pluggedAfterTick);
    QFETCH(int, foundAtTick);
    HuntBench bench;
    bench.watch(pluggedAfterTick);
    bench.plug(kA);
    bench.watch(foundAtTick - pluggedAfterTick - 1);
    QVERIFY(!bench.probe.portFound);
    bench.watch(1);
    QVERIFY(bench.probe.portFound);
    QCOMPARE(bench.probe.portIndex, -1);
    QCOMPARE(bench.run(6),
        QStringList({QStringLiteral("5 x closed"), QStringLiteral("1 x port 3 at 115200")}));
}

void TestServiceHunt::triesTheOneAdapterAtBothSpeeds()
{
    HuntBench bench;
    bench.plug(kA);
    const QStringList expected{
        QStringLiteral("8 x closed"),
        QStringLiteral("26 x port 3 at 115200"),
        QStringLiteral("51 x port 3 at 19200"),
        QStringLiteral("115 x closed"),
    };
    QCOMPARE(bench.run(200), expected);
    QCOMPARE(bench.probe.triedPorts, portNames({kA}));
}

void TestServiceHunt::triesThreeAdaptersInTheSystemsOrder()
{
    HuntBench bench;
    bench.plug(kA);
    bench.plug(kB);
    bench.plug(kC);
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
    QCOMPARE(bench.run(300), expected);
    QCOMPARE(bench.probe.candidatePorts, portNames({kA, kB, kC}));
    QCOMPARE(bench.probe.triedPorts, portNames({kA, kB, kC}));
    QVERIFY(!bench.settings.deviceReady);
}

void TestServiceHunt::isStuckForGoodAfterTheLastCandidate()
{
    HuntBench bench;
    bench.plug(kA);
    bench.watch(kNextCandidate);
    bench.plug(kB);
    QCOMPARE(bench.run(500), QStringList{QStringLiteral("500 x closed")});
    QCOMPARE(bench.probe.portIndex, 1);
    QCOMPARE(bench.probe.candidatePorts, portNames({kA}));
    QVERIFY(bench.probe.portFound);

    // Each of these ticks closes the port.
    bench.port.setPortName(uniquePortName(kB));
    QVERIFY(bench.port.open(QIODevice::ReadWrite));
    QCOMPARE(bench.run(1), QStringList{QStringLiteral("1 x closed")});
}

void TestServiceHunt::opensBothWaysWithoutParityAndFlowControl()
{
    HuntBench bench;
    const PluggedAdapter& adapter = bench.plug(kA);
    bench.port.setParity(QSerialPort::OddParity);
    bench.port.setDataBits(QSerialPort::Data7);
    bench.port.setStopBits(QSerialPort::TwoStop);
    bench.port.setFlowControl(QSerialPort::HardwareControl);
    bench.watch(kFirstOpened);
    QCOMPARE(adapter.baudRate(), 115200);
    bench.watch(kSecondSpeed - kFirstOpened);
    QCOMPARE(adapter.baudRate(), 19200);
    QCOMPARE(bench.port.openMode(), QIODevice::ReadWrite);
    QCOMPARE(bench.port.baudRate(QSerialPort::Input), 19200);
    QCOMPARE(bench.port.baudRate(QSerialPort::Output), 19200);
    QCOMPARE(bench.port.dataBits(), QSerialPort::Data8);
    QCOMPARE(bench.port.parity(), QSerialPort::NoParity);
    QCOMPARE(bench.port.stopBits(), QSerialPort::OneStop);
    QCOMPARE(bench.port.flowControl(), QSerialPort::NoFlowControl);
}

void TestServiceHunt::takesForACandidate_data()
{
    QTest::addColumn<QString>("manufacturer");
    QTest::addColumn<bool>("taken");
    QTest::newRow("exact") << QStringLiteral("FTDI") << true;
    QTest::newRow("within a longer name") << QStringLiteral("The FTDI Company") << true;
    QTest::newRow("lower case") << QStringLiteral("ftdi") << false;
    QTest::newRow("cut") << QStringLiteral("FTD") << false;
    QTest::newRow("another maker") << QStringLiteral("Prolific") << false;
}

void TestServiceHunt::takesForACandidate()
{
    QFETCH(QString, manufacturer);
    QFETCH(bool, taken);
    HuntBench bench;
    bench.plug(kA, manufacturer);
    bench.watch(kScanned);
    QCOMPARE(bench.probe.portFound, taken);
    QCOMPARE(bench.probe.advancePending, taken);
    QCOMPARE(bench.probe.candidatePorts, taken ? portNames({kA}) : QStringList());
}

void TestServiceHunt::aPortHeldByAnotherIsAnAttemptWithoutAnswer()
{
    HuntBench bench;
    bench.plug(kA);
    bench.plug(kB);
    QSerialPort other(uniquePortName(kA));
    QVERIFY(other.open(QIODevice::ReadWrite));
    const QStringList expected{
        QStringLiteral("85 x closed"),
        QStringLiteral("26 x port 1 at 115200"),
        QStringLiteral("51 x port 1 at 19200"),
        QStringLiteral("38 x closed"),
    };
    QCOMPARE(bench.run(200), expected);
}

void TestServiceHunt::aPortThatVanishesIsAnAttemptWithoutAnswer()
{
    HuntBench bench;
    PluggedAdapter& adapter = bench.plug(kA);
    bench.plug(kB);
    bench.watch(kFirstOpened + 10);
    const QSignalSpy errors(&bench.port, &QSerialPort::errorOccurred);
    adapter.unplug();
    QTRY_VERIFY(!bench.port.isOpen());
    // Closed at the first error: a second one would come with every round of the event loop.
    QTest::qWait(50);
    QVERIFY2(errors.count() <= 2, qPrintable(QString::number(errors.count())));

    const QStringList expected{
        QStringLiteral("66 x closed"),
        QStringLiteral("26 x port 1 at 115200"),
        QStringLiteral("8 x port 1 at 19200"),
    };
    QCOMPARE(bench.run(100), expected);
}

void TestServiceHunt::onlyAnIndexBehindTheEndBringsANewScan()
{
    HuntBench bench;
    bench.plug(kA);
    bench.watch(kNextCandidate + 100);
    bench.probe.advancePending = true;
    QCOMPARE(bench.probe.portIndex, 1);
    bench.watch(1);
    QVERIFY(bench.probe.portFound);
    QCOMPARE(bench.probe.portIndex, 2);
    QCOMPARE(bench.probe.waitTicks, 25);

    bench.watch(25);
    bench.probe.advancePending = true;
    bench.watch(1);
    QVERIFY(!bench.probe.portFound);
    QVERIFY(!bench.probe.advancePending);
    QCOMPARE(bench.probe.waitTicks, 0);

    // The scan starts from nothing.
    bench.probe.statusAnswered = true;
    bench.watch(1);
    QVERIFY(bench.probe.portFound);
    QVERIFY(!bench.probe.statusAnswered);
    QCOMPARE(bench.probe.portIndex, -1);
    QCOMPARE(bench.probe.candidatePorts, portNames({kA}));
    QVERIFY(bench.probe.triedPorts.isEmpty());
    QCOMPARE(bench.run(6),
        QStringList({QStringLiteral("5 x closed"), QStringLiteral("1 x port 3 at 115200")}));
}

void TestServiceHunt::onlyCountsDownWhileInputIsIgnored()
{
    HuntBench bench;
    bench.plug(kA);
    bench.watch(kFirstOpened);
    bench.probe.ignoreInput = true;
    QCOMPARE(bench.probe.waitTicks, 25);
    QCOMPARE(bench.run(100), QStringList{QStringLiteral("100 x port 3 at 115200")});
    QCOMPARE(bench.probe.waitTicks, 0);
}

void TestServiceHunt::aStatusReportReopensAtTheBootloadersSpeed()
{
    HuntBench bench;
    const PluggedAdapter& adapter = bench.plug(kA);
    bench.plug(kB);
    bench.watch(kSecondSpeed + 10);
    bench.receive(adapter, kStatusLine);
    const QStringList expected{
        QStringLiteral("3 x port 3 at 19200"),
        QStringLiteral("26 x port 3 at 115200"),
        QStringLiteral("26 x port 1 at 115200"),
        QStringLiteral("45 x port 1 at 19200"),
    };
    QCOMPARE(bench.run(100), expected);
}

void TestServiceHunt::aStatusReportInTheFirstAttemptKeepsTheSecondOne()
{
    HuntBench bench;
    const PluggedAdapter& adapter = bench.plug(kA);
    bench.watch(kFirstOpened + 10);
    bench.receive(adapter, kStatusLine);
    const QStringList expected{
        QStringLiteral("29 x port 3 at 115200"),
        QStringLiteral("51 x port 3 at 19200"),
        QStringLiteral("20 x closed"),
    };
    QCOMPARE(bench.run(100), expected);
}

void TestServiceHunt::aStatusReportBeforeTheFirstAttemptOpensNothing()
{
    HuntBench bench;
    bench.plug(kA);
    bench.watch(kScanned);
    bench.probe.statusAnswered = true;
    QCOMPARE(bench.run(7),
        QStringList({QStringLiteral("6 x closed"), QStringLiteral("1 x port 3 at 115200")}));
    QVERIFY(!bench.probe.statusAnswered);
}

void TestServiceHunt::aStatusReportAfterTheLastCandidateOpensNothing()
{
    HuntBench bench;
    bench.plug(kA);
    bench.watch(kNextCandidate + 100);
    bench.probe.statusAnswered = true;
    QCOMPARE(bench.run(100), QStringList{QStringLiteral("100 x closed")});
    QVERIFY(!bench.probe.statusAnswered);
}

void TestServiceHunt::theAnnouncementLeavesThePortAsItIs_data()
{
    QTest::addColumn<int>("ticks");
    QTest::addColumn<QString>("state");
    QTest::newRow("first attempt") << kFirstOpened << QStringLiteral("port 3 at 115200");
    QTest::newRow("its last tick") << kSecondSpeed - 1 << QStringLiteral("port 3 at 115200");
    QTest::newRow("second attempt") << kSecondSpeed << QStringLiteral("port 3 at 19200");
}

void TestServiceHunt::theAnnouncementLeavesThePortAsItIs()
{
    QFETCH(int, ticks);
    QFETCH(QString, state);
    HuntBench bench;
    const PluggedAdapter& adapter = bench.plug(kA);
    bench.watch(ticks);
    bench.receive(adapter, kAnnouncement);
    QVERIFY(bench.settings.deviceReady);
    QVERIFY(!bench.probe.portFound);
    QCOMPARE(bench.run(200), QStringList{QStringLiteral("200 x ") + state});
    QCOMPARE(bench.probe.waitTicks, 0);
}

void TestServiceHunt::acceptLeavesThePortAsItIs_data()
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

void TestServiceHunt::acceptLeavesThePortAsItIs()
{
    QFETCH(Stage, stage);
    QFETCH(QString, state);
    HuntBench bench;
    enter(bench, stage);
    bench.service.Accept();
    QVERIFY(bench.settings.deviceReady);
    QVERIFY(!bench.probe.portFound);
    const QStringList candidates = bench.probe.candidatePorts;
    QCOMPARE(bench.run(200), QStringList{QStringLiteral("200 x ") + state});
    QCOMPARE(bench.probe.waitTicks, 0);
    QCOMPARE(bench.probe.candidatePorts, candidates);
}

void TestServiceHunt::losesNothingOfWhatAFullLineDoesNotTakeAtOnce()
{
    constexpr qsizetype kMoreThanTheLineHolds = 60'008; // bytes
    HuntBench bench;
    PluggedAdapter& adapter = bench.plug(3);
    bench.watch(kFirstOpened);
    QByteArray sent(kMoreThanTheLineHolds, '\0');
    for (qsizetype i = 0; i < sent.size(); ++i)
        sent[i] = static_cast<char>(i * 7 + i / 251);
    QCOMPARE(bench.service.WriteMessage(sent), kMoreThanTheLineHolds);
    // Asked again while the line is full.
    QByteArray more = "$V";
    sent += more;
    QCOMPARE(bench.service.WriteMessage(more), more.size());
    QVERIFY(bench.port.isOpen());
    QVERIFY(bench.port.bytesToWrite() > 0);

    QByteArray arrived;
    std::array<char, 4096> chunk{};
    while (arrived.size() < sent.size()) {
        const ssize_t count = ::read(adapter.masterFd(), chunk.data(), chunk.size());
        QVERIFY(count > 0);
        arrived.append(chunk.data(), count);
        QCoreApplication::processEvents();
        QVERIFY(bench.port.isOpen());
    }
    QCOMPARE(arrived, sent);
}

void TestServiceHunt::rejectForbidsScansAndClosesThePort_data()
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

void TestServiceHunt::rejectForbidsScansAndClosesThePort()
{
    QFETCH(Stage, stage);
    QFETCH(QStringList, states);
    HuntBench bench;
    enter(bench, stage);
    bench.service.Reject();
    QCOMPARE(bench.portState(), QStringLiteral("closed"));
    QVERIFY(!bench.probe.checkingEnabled);
    QCOMPARE(bench.run(200), states);
}

void TestServiceHunt::holdFreezesEveryStep_data()
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

void TestServiceHunt::holdFreezesEveryStep()
{
    QFETCH(Stage, stage);
    QFETCH(QStringList, wholeHunt);
    constexpr qsizetype kAllTicks = 300;
    HuntBench bench;
    QStringList states = enter(bench, stage);
    const QString held = bench.portState();
    const int waitTicks = bench.probe.waitTicks;
    bench.service.HoldChecking(true);
    QCOMPARE(bench.run(100), QStringList{QStringLiteral("100 x ") + held});
    QCOMPARE(bench.probe.waitTicks, waitTicks);

    bench.service.HoldChecking(false);
    states += bench.watch(static_cast<int>(kAllTicks - states.size()));
    QCOMPARE(HuntBench::counted(states), wholeHunt);
}

QTEST_GUILESS_MAIN(TestServiceHunt)
#include "tst_service_hunt.moc"
