// The hunt tick by tick: which port is open at which speed after each tick, compared with
// written-out tables. A wait of n ticks shows as n + 1 equal states: the tick that opens, and the n
// that wait.

#include "tests/serial/ServiceFixture.h"
#include "tests/support/PortNames.h"
#include "tests/support/TestProgram.h"
#include "virtualboard/UsbBus.h"

#include <QMap>

#include <memory>
#include <vector>

namespace {

// The ports' numbers; plugged in this order, which is not that of their names.
constexpr int kA = 3;
constexpr int kB = 1;
constexpr int kC = 2;

/// A service on a port in memory and adapters on a mocked bus; the test is its timer.
class Hunt : public ServiceFixture<>
{
public:
    explicit Hunt(const QList<int>& adapters = {})
    {
        for (const int number : adapters)
            plug(number);
    }

    void plug(int number, const QString& manufacturer = QStringLiteral("FTDI"))
    {
        Adapter adapter;
        adapter.portName = uniquePortName(number);
        adapter.manufacturer = manufacturer;
        m_adapters.push_back(m_bus.plug(adapter));
    }

    /// "closed", or the open port's number and its speed.
    [[nodiscard]] QString portState() const
    {
        if (!port.isOpen())
            return QStringLiteral("closed");
        const auto number = port.portName().right(kPortNumberDigits).toInt();
        return QStringLiteral("port %1 at %2").arg(number).arg(port.baudRate());
    }

    /// Ticks `ticks` times and returns the port's state after each tick.
    QStringList watch(int ticks)
    {
        QStringList states;
        for (int tick = 0; tick < ticks; ++tick) {
            service.OnTimeout();
            states << portState();
        }
        return states;
    }

private:
    UsbBus m_bus;
    std::vector<std::unique_ptr<PluggedAdapter>> m_adapters;
};

/// What happens to a hunt after so many ticks.
using Event = void (*)(Hunt&);
using Events = QMap<int, Event>;

/// So many ticks, and the port's state after each of them.
using Runs = QList<std::pair<int, QString>>;

QStringList statesOf(const Runs& runs)
{
    QStringList states;
    for (const auto& [ticks, state] : runs)
        states += QStringList(ticks, state);
    return states;
}

QStringList portNames(const QList<int>& numbers)
{
    QStringList names;
    for (const int number : numbers)
        names << uniquePortName(number);
    return names;
}

const QString kClosed = QStringLiteral("closed");
const QString kFastA = QStringLiteral("port 3 at 115200");
const QString kSlowA = QStringLiteral("port 3 at 19200");
const QString kFastB = QStringLiteral("port 1 at 115200");
const QString kSlowB = QStringLiteral("port 1 at 19200");

const Event kPlugA = [](Hunt& hunt) { hunt.plug(kA); };
const Event kPlugB = [](Hunt& hunt) { hunt.plug(kB); };
const Event kReport = [](Hunt& hunt) { hunt.port.arrive("$STATUS*3BC1\n"); };
const Event kAnnounce = [](Hunt& hunt) { hunt.port.arrive("$Bootloader\n"); };
const Event kReject = [](Hunt& hunt) {
    hunt.service.Reject();
    QVERIFY(!hunt.port.isOpen());
    QVERIFY(!hunt.probe.checkingEnabled);
};
const Event kAdvance = [](Hunt& hunt) { hunt.probe.advancePending = true; };
const Event kSetAnswered = [](Hunt& hunt) { hunt.probe.statusAnswered = true; };

} // namespace

Q_DECLARE_METATYPE(Event)

class TestServiceHunt : public QObject
{
    Q_OBJECT

private slots:
    void walks_data();
    void walks();
    void staysAsItIsWhileHeldAndOnceAccepted_data();
    void staysAsItIsWhileHeldAndOnceAccepted();
    void listsWhatItFoundAndTried();
    void opensBothWaysWithoutParityAndFlowControl();
};

void TestServiceHunt::walks_data()
{
    QTest::addColumn<QList<int>>("adapters");
    QTest::addColumn<Events>("events");
    QTest::addColumn<Runs>("runs");
    const auto row = [](const char* name, const QList<int>& adapters, const Events& events,
                         const Runs& runs) { QTest::newRow(name) << adapters << events << runs; };

    row("no adapter", {}, {}, {{100, kClosed}});
    row("a port by another maker", {},
        {{0, [](Hunt& hunt) { hunt.plug(kA, QStringLiteral("Acme")); }}}, {{100, kClosed}});
    // Without an adapter it scans every sixth tick, and opens six ticks after the scan.
    row("plugged before the first scan", {}, {{2, kPlugA}}, {{8, kClosed}, {1, kFastA}});
    row("plugged after the first scan", {}, {{3, kPlugA}}, {{14, kClosed}, {1, kFastA}});
    row("plugged before the second scan", {}, {{8, kPlugA}}, {{14, kClosed}, {1, kFastA}});
    row("plugged after the second scan", {}, {{9, kPlugA}}, {{20, kClosed}, {1, kFastA}});
    row("one adapter at both speeds", {kA}, {},
        {{8, kClosed}, {26, kFastA}, {51, kSlowA}, {115, kClosed}});
    row("three adapters in the system's order", {kA, kB, kC}, {},
        {{8, kClosed}, {26, kFastA}, {51, kSlowA}, {26, kFastB}, {51, kSlowB},
            {26, QStringLiteral("port 2 at 115200")}, {51, QStringLiteral("port 2 at 19200")},
            {61, kClosed}});
    row("a port that does not open is an attempt without answer", {kA, kB},
        {{0, [](Hunt& hunt) { hunt.port.present = false; }},
            {80, [](Hunt& hunt) { hunt.port.present = true; }}},
        {{85, kClosed}, {26, kFastB}, {51, kSlowB}, {38, kClosed}});
    row("stuck for good after the last candidate, closing the port", {kA},
        {{90, kPlugB}, {200, [](Hunt& hunt) { hunt.port.beOpen(); }}},
        {{8, kClosed}, {26, kFastA}, {51, kSlowA}, {500, kClosed}});
    // The index goes from 1 to 2 first; the scan, in the next tick but one, starts from nothing.
    row("only an index after the end brings a new scan", {kA},
        {{120, kAdvance}, {150, kAdvance}, {151, kSetAnswered}},
        {{8, kClosed}, {26, kFastA}, {51, kSlowA}, {72, kClosed}, {26, kFastA}, {1, kSlowA}});
    row("only counts down while input is ignored", {kA},
        {{9, [](Hunt& hunt) { hunt.probe.ignoreInput = true; }},
            {60, [](Hunt& hunt) { hunt.probe.ignoreInput = false; }}},
        {{8, kClosed}, {52, kFastA}, {51, kSlowA}, {9, kClosed}});

    // What the board says.
    row("a report reopens at the bootloader's speed", {kA, kB}, {{45, kReport}},
        {{8, kClosed}, {26, kFastA}, {14, kSlowA}, {26, kFastA}, {26, kFastB}, {45, kSlowB}});
    row("a report in the first attempt keeps the second one", {kA}, {{19, kReport}},
        {{8, kClosed}, {40, kFastA}, {51, kSlowA}, {20, kClosed}});
    row("a report before the first attempt opens nothing", {kA}, {{3, kSetAnswered}},
        {{9, kClosed}, {1, kFastA}});
    row("a report after the last candidate opens nothing", {kA}, {{186, kSetAnswered}},
        {{8, kClosed}, {26, kFastA}, {51, kSlowA}, {200, kClosed}});
    row("announced in the first attempt", {kA}, {{9, kAnnounce}}, {{8, kClosed}, {200, kFastA}});
    row("announced in its last tick", {kA}, {{34, kAnnounce}}, {{8, kClosed}, {200, kFastA}});
    row("announced in the second attempt", {kA}, {{35, kAnnounce}},
        {{8, kClosed}, {26, kFastA}, {200, kSlowA}});

    // Rejected, it scans no more; a walk that is under way goes on.
    row("rejected when new", {kA}, {{0, kReject}}, {{200, kClosed}});
    row("rejected when about to scan", {kA}, {{2, kReject}}, {{200, kClosed}});
    row("rejected when it has scanned", {kA}, {{3, kReject}},
        {{8, kClosed}, {26, kFastA}, {51, kSlowA}, {50, kClosed}});
    row("rejected in the first attempt", {kA, kB}, {{9, kReject}},
        {{8, kClosed}, {1, kFastA}, {25, kClosed}, {51, kSlowA}, {26, kFastB}, {51, kSlowB},
            {50, kClosed}});
    row("rejected in the second attempt", {kA, kB}, {{42, kReject}},
        {{8, kClosed}, {26, kFastA}, {8, kSlowA}, {43, kClosed}, {26, kFastB}, {51, kSlowB}});
    row("rejected after a report", {kA, kB}, {{45, kReport}, {46, kReject}},
        {{8, kClosed}, {26, kFastA}, {12, kSlowA}, {2, kClosed}, {26, kFastA}, {26, kFastB}});
    row("rejected when found", {kA}, {{9, kAnnounce}, {10, kReject}},
        {{8, kClosed}, {2, kFastA}, {200, kClosed}});
}

void TestServiceHunt::walks()
{
    QFETCH(QList<int>, adapters);
    QFETCH(Events, events);
    QFETCH(Runs, runs);
    const QStringList expected = statesOf(runs);
    Hunt hunt(adapters);
    QStringList states;
    for (int tick = 0; tick < expected.size(); ++tick) {
        if (const Event happens = events.value(tick))
            happens(hunt);
        states += hunt.watch(1);
    }
    QCOMPARE(states, expected);
}

void TestServiceHunt::staysAsItIsWhileHeldAndOnceAccepted_data()
{
    QTest::addColumn<int>("ticks");
    QTest::newRow("new") << 0;
    QTest::newRow("about to scan") << 2;
    QTest::newRow("scanned") << 3;
    QTest::newRow("about to open") << 8;
    QTest::newRow("first attempt") << 9;
    QTest::newRow("about to change the speed") << 34;
    QTest::newRow("second attempt") << 42;
    QTest::newRow("status answered") << 46;
    QTest::newRow("reopened after it") << 49;
    QTest::newRow("next candidate") << 75;
    QTest::newRow("stuck") << 170;
}

void TestServiceHunt::staysAsItIsWhileHeldAndOnceAccepted()
{
    QFETCH(int, ticks);
    constexpr int kReportTick = 45;
    const Runs whole{{8, kClosed}, {26, kFastA}, {14, kSlowA}, {26, kFastA}, {26, kFastB},
        {51, kSlowB}, {49, kClosed}};
    Hunt hunt({kA, kB});
    QStringList states = hunt.watch(qMin(ticks, kReportTick));
    if (ticks > kReportTick) {
        kReport(hunt);
        states += hunt.watch(ticks - kReportTick);
    }
    const QStringList held(100, hunt.portState());
    const int waitTicks = hunt.probe.waitTicks;
    hunt.service.HoldChecking(true);
    QCOMPARE(hunt.watch(100), held);
    QCOMPARE(hunt.probe.waitTicks, waitTicks);
    hunt.service.HoldChecking(false);
    QCOMPARE(hunt.watch(1), statesOf(whole).mid(ticks, 1));

    const QStringList candidates = hunt.probe.candidatePorts;
    const QStringList accepted(200, hunt.portState());
    hunt.service.Accept();
    QVERIFY(hunt.settings.deviceReady);
    QVERIFY(!hunt.probe.portFound);
    QCOMPARE(hunt.watch(200), accepted);
    QCOMPARE(hunt.probe.waitTicks, 0);
    QCOMPARE(hunt.probe.candidatePorts, candidates);
}

void TestServiceHunt::listsWhatItFoundAndTried()
{
    Hunt hunt({kA, kB});
    hunt.watch(3);
    QCOMPARE(hunt.probe.portIndex, -1);
    hunt.watch(200);
    QCOMPARE(hunt.probe.candidatePorts, portNames({kA, kB}));
    QCOMPARE(hunt.probe.triedPorts, portNames({kA, kB}));
    QCOMPARE(hunt.probe.portIndex, 2);
    QVERIFY(!hunt.settings.deviceReady);

    hunt.plug(kC);
    hunt.probe.portFound = false;
    hunt.watch(1);
    QCOMPARE(hunt.probe.candidatePorts, portNames({kA, kB, kC}));
    QVERIFY(hunt.probe.triedPorts.isEmpty());
    QCOMPARE(hunt.probe.portIndex, -1);
}

void TestServiceHunt::opensBothWaysWithoutParityAndFlowControl()
{
    Hunt hunt({kA});
    hunt.port.setParity(QSerialPort::OddParity);
    hunt.port.setDataBits(QSerialPort::Data7);
    hunt.port.setStopBits(QSerialPort::TwoStop);
    hunt.port.setFlowControl(QSerialPort::HardwareControl);
    hunt.watch(9);
    QCOMPARE(hunt.port.openMode(), QIODevice::ReadWrite);
    QCOMPARE(hunt.port.baudRate(QSerialPort::Input), 115200);
    QCOMPARE(hunt.port.baudRate(QSerialPort::Output), 115200);
    QCOMPARE(hunt.port.dataBits(), QSerialPort::Data8);
    QCOMPARE(hunt.port.parity(), QSerialPort::NoParity);
    QCOMPARE(hunt.port.stopBits(), QSerialPort::OneStop);
    QCOMPARE(hunt.port.flowControl(), QSerialPort::NoFlowControl);
}

static const RegisteredTest<TestServiceHunt> registered(__FILE__);
#include "tst_service_hunt.moc"
