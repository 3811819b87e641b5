#include "tests/session/DebugLog.h"
#include "tests/session/SessionBench.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

namespace {

constexpr auto kHoldOption = "--hold";

/// Another process that has a port open.
class Holder
{
public:
    explicit Holder(const QString& portName)
    {
        m_process.start(
            QCoreApplication::applicationFilePath(), {QLatin1StringView(kHoldOption), portName});
        if (!m_process.waitForStarted() || !m_process.waitForReadyRead())
            qFatal("the other process does not hold the port");
    }
    ~Holder()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

private:
    QProcess m_process;
};

int holdPort(const QString& portName)
{
    QSerialPort port;
    port.setPortName(portName);
    if (!port.open(QIODevice::ReadWrite))
        return 1;
    std::puts("held");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

Adapter adapterBy(const QString& manufacturer, const QString& description, int index)
{
    Adapter adapter;
    adapter.portName = uniquePortName(index);
    adapter.manufacturer = manufacturer;
    adapter.description = description;
    return adapter;
}

} // namespace

/// Which ports are taken, and what happens to them.
class TestPorts : public QObject
{
    Q_OBJECT

private slots:
    void takesEveryFtdiAdapterInOrder();
    void takesAPortByItsManufacturerAlone_data();
    void takesAPortByItsManufacturerAlone();
    void logsWhatEveryPortSaysOfItself();
    void doesNothingWithoutAPort();
    void opensAt19200EightBitsNoParity();
    void startsEverySessionFieldAtZeroButTheState();
    void keepsAPortThatIsHeldByAnotherProcess();
    void opensAHeldPortThatWasGivenFree();
    void readsWhatComesOnEveryPort();
    void closesAndFreesThePortsLastToFirst();
    void freesThePortsOnce();
    void letsTheNextDialogOpenThePortsAgain();
    void closesAnUnpluggedPortAtTheFirstError();
    void goesOnWithTheOtherPortsWhenOneIsUnplugged();
    void closesWithAnUnpluggedPortAndFindsItAgain();
    void closesBeforeItKnowsOfTheUnplugging();
    void sendsBeforeItKnowsOfTheUnplugging();
    void reopensAPortThatWasPluggedInAgainInTime();
    void endsByEscapeWhileRepliesAreWaiting();
    void sendsTheTenthProbeAtTheOldSpeed();
};

void TestPorts::takesEveryFtdiAdapterInOrder()
{
    SessionBench bench(JobUpdate, 3);
    QCOMPARE(bench.probe().ports().size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(bench.port(i).portName(), bench.adapter(i).portName());
        QVERIFY(bench.port(i).isOpen());
        QVERIFY(bench.port(i).portOpen);
    }
    bench.step(2);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(bench.sent(i), framed("$MVER"));
}

void TestPorts::takesAPortByItsManufacturerAlone_data()
{
    QTest::addColumn<QString>("manufacturer");
    QTest::addColumn<QString>("description");
    QTest::addColumn<bool>("taken");
    QTest::newRow("as it is") << "FTDI"
                              << "USB Serial" << true;
    QTest::newRow("within a longer name") << "The FTDI Company"
                                          << "USB Serial" << true;
    QTest::newRow("lower case") << "ftdi"
                                << "FT232R" << false;
    QTest::newRow("mixed case") << "Ftdi"
                                << "FT232R" << false;
    QTest::newRow("in the description") << "Acme"
                                        << "FTDI FT232R" << false;
    QTest::newRow("by another maker") << "Acme"
                                      << "UART" << false;
}

void TestPorts::takesAPortByItsManufacturerAlone()
{
    QFETCH(QString, manufacturer);
    QFETCH(QString, description);
    QFETCH(bool, taken);
    SessionBench bench(JobUpdate,
        {adapterBy(manufacturer, description, 0),
            adapterBy(QStringLiteral("FTDI"), QStringLiteral("UART"), 1)});
    QCOMPARE(bench.probe().ports().size(), taken ? 2 : 1);
    QCOMPARE(bench.port(taken ? 1 : 0).portName(), uniquePortName(1));
    // A port that is no candidate is left alone.
    if (!taken)
        QCOMPARE(bench.adapter(0).baudRate(), PluggedAdapter::kIdleBaudRate);
}

void TestPorts::logsWhatEveryPortSaysOfItself()
{
    const DebugLog log;
    SessionBench bench(
        JobUpdate, {adapterBy(QStringLiteral("Acme"), QStringLiteral("Bridge 9"), 0)});
    QCOMPARE(log.count(QStringLiteral("Acme")), 1);
    QCOMPARE(log.count(QStringLiteral("1027")), 1);
    QCOMPARE(log.count(QStringLiteral("Bridge 9")), 1);
    QVERIFY(bench.probe().ports().isEmpty());
}

void TestPorts::doesNothingWithoutAPort()
{
    SessionBench bench(JobUpdate, 0);
    QVERIFY(bench.probe().ports().isEmpty());
    bench.step(30);
    QCOMPARE(bench.log(), QString());
}

void TestPorts::opensAt19200EightBitsNoParity()
{
    SessionBench bench;
    const PortTest& port = bench.port();
    QCOMPARE(bench.adapter().baudRate(), kApplicationBaudRate);
    QCOMPARE(port.baudRate(QSerialPort::Input), kApplicationBaudRate);
    QCOMPARE(port.baudRate(QSerialPort::Output), kApplicationBaudRate);
    QCOMPARE(port.dataBits(), QSerialPort::Data8);
    QCOMPARE(port.parity(), QSerialPort::NoParity);
    QCOMPARE(port.stopBits(), QSerialPort::OneStop);
    QCOMPARE(port.flowControl(), QSerialPort::NoFlowControl);
    QCOMPARE(port.openMode(), QIODevice::ReadWrite);
    QCOMPARE(port.parent(), nullptr);
}

void TestPorts::startsEverySessionFieldAtZeroButTheState()
{
    SessionBench bench;
    const PortTest& port = bench.port();
    QCOMPARE(port.state, 1);
    for (const qint32 field : {port.startAddress, port.flashAddress, port.phase, port.fwStep,
             port.retries, port.ticks, port.imageIndex, port.imageOffset, port.imageStep,
             port.imageWait, port.blockNumber, qint32{port.rxIndex}})
        QCOMPARE(field, 0);
    for (const char byte : port.rxBuffer)
        QCOMPARE(byte, '\0');
    QVERIFY(!port.file.isOpen());
}

void TestPorts::keepsAPortThatIsHeldByAnotherProcess()
{
    SessionBench bench;
    bench.closeDialog();
    const Holder holder(bench.adapter().portName());
    {
        const DebugLog log;
        bench.openDialog(JobUpdate);
        QCOMPARE(log.count(QStringLiteral("Could not open port")), 1);
    }
    QCOMPARE(bench.probe().ports().size(), 1);
    QVERIFY(!bench.port().isOpen());
    QVERIFY(!bench.port().portOpen);
    QCOMPARE(bench.port().state, qint32(StateStart));

    // Stepped like the others, and nothing of it reaches the wire.
    bench.step(3);
    QCOMPARE(bench.port().state, qint32(StateProbe));
    QCOMPARE(bench.port().retries, kProbeLines - 2);
    QCOMPARE(bench.labelText("labelTX"), QStringLiteral("TX: /"));
    QCOMPARE(bench.sent(), QByteArray());
}

void TestPorts::opensAHeldPortThatWasGivenFree()
{
    SessionBench bench;
    bench.closeDialog();
    {
        const Holder holder(bench.adapter().portName());
        bench.openDialog(JobUpdate);
        bench.step(11);
        QVERIFY(!bench.port().isOpen());
    }
    bench.step(1);
    QVERIFY(bench.port().isOpen());
    QCOMPARE(bench.adapter().baudRate(), kBootloaderBaudRate);
}

void TestPorts::readsWhatComesOnEveryPort()
{
    SessionBench bench(JobUpdate, 2);
    bench.receive("$MVERR,first\n", 0);
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: first"));
    bench.receive("$MVERR,second\n", 1);
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: second"));
    // Answered on the port that it came from.
    QCOMPARE(bench.sent(0), framed("$BOOTLOADM"));
    QCOMPARE(bench.sent(1), framed("$BOOTLOADM"));
}

void TestPorts::closesAndFreesThePortsLastToFirst()
{
    SessionBench bench(JobUpdate, 3);
    QStringList events;
    for (PortTest* const port : bench.probe().ports()) {
        const QString name = port->portName();
        connect(
            port, &QIODevice::aboutToClose, this, [&events, name] { events << "close " + name; });
        connect(port, &QObject::destroyed, this, [&events, name] { events << "free " + name; });
    }
    bench.dialog().done(QDialog::Rejected);
    QStringList expected;
    for (const int i : {2, 1, 0})
        expected << "close " + uniquePortName(i) << "free " + uniquePortName(i);
    QCOMPARE(events, expected);
}

void TestPorts::freesThePortsOnce()
{
    SessionBench bench(JobUpdate, 2);
    int freed = 0;
    for (PortTest* const port : bench.probe().ports())
        connect(port, &QObject::destroyed, this, [&freed] { ++freed; });
    bench.dialog().done(QDialog::Rejected);
    bench.dialog().done(QDialog::Rejected);
    // A tick that was due already when the dialog finished.
    bench.dialog().Timeout();
    QCOMPARE(freed, 2);
    bench.closeDialog();
    QCOMPARE(freed, 2);
}

void TestPorts::letsTheNextDialogOpenThePortsAgain()
{
    SessionBench bench(JobUpdate, 2);
    bench.step(5);
    bench.closeDialog();
    bench.openDialog(JobImagesOnly);
    QCOMPARE(bench.probe().ports().size(), 2);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(bench.port(i).isOpen());
        QCOMPARE(bench.port(i).state, qint32(StateStart));
        QCOMPARE(bench.adapter(i).baudRate(), kApplicationBaudRate);
    }
}

void TestPorts::closesAnUnpluggedPortAtTheFirstError()
{
    SessionBench bench;
    int errors = 0;
    connect(&bench.port(), &QSerialPort::errorOccurred, this,
        [&errors](QSerialPort::SerialPortError error) {
            errors += error != QSerialPort::NoError ? 1 : 0;
        });
    bench.adapter().unplug();
    QTRY_VERIFY(!bench.port().isOpen());
    QTest::qWait(50);
    QCOMPARE(errors, 1);

    // Stepping goes on as on a port that never opened.
    bench.step(30);
    QCOMPARE(bench.port().state, qint32(StateWaitForBootloader));
}

void TestPorts::goesOnWithTheOtherPortsWhenOneIsUnplugged()
{
    SessionBench bench(JobUpdate, 3);
    bench.step(2);
    bench.adapter(1).unplug();
    QTRY_VERIFY(!bench.port(1).isOpen());
    for (const int i : {0, 2}) {
        (void)bench.sent(i);
        bench.receive("$MVERR,7\n", i);
        QCOMPARE(bench.sent(i), framed("$BOOTLOADM"));
    }
    bench.step(1);
    for (const int i : {0, 2})
        QCOMPARE(bench.sent(i), framed("$MVER"));
}

void TestPorts::closesWithAnUnpluggedPortAndFindsItAgain()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.adapter().unplug();
    QTRY_VERIFY(!bench.port().isOpen());
    bench.step(5);
    bench.closeDialog();
    bench.openDialog(JobUpdate);
    QVERIFY(bench.probe().ports().isEmpty());
    bench.closeDialog();

    bench.adapter().plugAgain();
    bench.openDialog(JobUpdate);
    QCOMPARE(bench.probe().ports().size(), 1);
    bench.step(2);
    QCOMPARE(bench.sent(), framed("$MVER"));
}

void TestPorts::closesBeforeItKnowsOfTheUnplugging()
{
    SessionBench bench(JobUpdate, 2);
    bench.step(4);
    bench.adapter(0).unplug();
    QVERIFY(bench.port(0).isOpen());
    bench.closeDialog();
    // The news of it comes to nobody now.
    QTest::qWait(50);

    bench.openDialog(JobUpdate);
    QCOMPARE(bench.probe().ports().size(), 1);
    bench.closeDialog();
    bench.adapter(0).plugAgain();
    bench.openDialog(JobUpdate);
    QCOMPARE(bench.probe().ports().size(), 2);
    bench.step(2);
    QCOMPARE(bench.sent(0), framed("$MVER"));
}

void TestPorts::sendsBeforeItKnowsOfTheUnplugging()
{
    SessionBench bench(JobUpdate, 2);
    bench.step(2);
    (void)bench.sent(1);
    int errors = 0;
    connect(&bench.port(0), &QSerialPort::errorOccurred, this, [&errors] { ++errors; });
    bench.adapter(0).unplug();
    QVERIFY(bench.port(0).isOpen());
    QElapsedTimer sinceUnplugged;
    sinceUnplugged.start();
    bench.step(3);
    // It waits for nothing, and the session and the other port go on.
    QVERIFY2(sinceUnplugged.elapsed() < 400, qPrintable(QString::number(sinceUnplugged.elapsed())));
    QCOMPARE(bench.port(0).retries, kProbeLines - 4);
    QCOMPARE(bench.sent(1), framedAll({"$MVER", "$MVER", "$MVER"}));

    QTRY_VERIFY(!bench.port(0).isOpen());
    const int reported = errors;
    QTest::qWait(50);
    QCOMPARE(errors, reported);
    bench.step();
    QCOMPARE(bench.sent(1), framed("$MVER"));
}

void TestPorts::endsByEscapeWhileRepliesAreWaiting()
{
    SessionBench bench(JobUpdate, 2);
    bench.step(2);
    int freed = 0;
    for (PortTest* const port : bench.probe().ports())
        connect(port, &QObject::destroyed, this, [&freed] { ++freed; });
    QTimer::singleShot(0, &bench.dialog(), [&bench] {
        for (const int i : {0, 1}) {
            const QByteArray replies = "$MVERR,1\n$DACK\n$Bootl";
            QCOMPARE(::write(bench.adapter(i).masterFd(), replies.constData(),
                         static_cast<std::size_t>(replies.size())),
                static_cast<ssize_t>(replies.size()));
        }
        QTest::keyClick(&bench.dialog(), Qt::Key_Escape);
    });
    QCOMPARE(bench.dialog().exec(), static_cast<int>(QDialog::Rejected));
    QCOMPARE(freed, 2);
    // Whatever is due meanwhile finds no port.
    bench.probe().timer().start(1);
    QTest::qWait(50);
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
    bench.closeDialog();
    QCOMPARE(freed, 2);
}

void TestPorts::reopensAPortThatWasPluggedInAgainInTime()
{
    SessionBench bench;
    bench.step(4);
    bench.adapter().unplug();
    QTRY_VERIFY(!bench.port().isOpen());
    bench.adapter().plugAgain();
    bench.step(8);
    QVERIFY(bench.port().isOpen());
    bench.receive("$Bootloader\n");
    QCOMPARE(bench.sent(), QByteArray("$G\n"));
}

void TestPorts::sendsTheTenthProbeAtTheOldSpeed()
{
    SessionBench bench;
    bench.step(10);
    (void)bench.sent();
    // Closing puts the old speed back: not before a board had time to look at the line.
    QElapsedTimer sinceStep;
    sinceStep.start();
    bench.step(1);
    QVERIFY(sinceStep.elapsed() >= kAdapterDelay.count());
    QVERIFY(!bench.port().isOpen());
    QCOMPARE(bench.sent(), framed("$BOOTLOADM"));
}

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], kHoldOption) == 0)
        return holdPort(QString::fromLocal8Bit(argv[2]));
    TestPorts test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_ports.moc"
