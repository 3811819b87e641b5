#include "tests/session/BusFixture.h"
#include "tests/session/DebugLog.h"
#include "tests/session/PortHolder.h"
#include "tests/support/TestProgram.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTimer>

#include <unistd.h>

namespace {

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
    void takesEveryFtdiAdapterInOrder()
    {
        // The order of the bus, not that of the names.
        std::vector<Adapter> adapters = ftdiAdapters(3);
        adapters.front().portName = uniquePortName(5);
        BusFixture session(JobUpdate, adapters);
        QCOMPARE(session.probe().ports().size(), 3);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(session.port(i).portName(), session.adapter(i).portName());
            QVERIFY(session.port(i).isOpen());
            QVERIFY(session.port(i).portOpen);
        }
        session.step(2);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(session.sent(i), framed("$MVER"));
    }

    void takesAPortByItsManufacturerAlone_data()
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

    void takesAPortByItsManufacturerAlone()
    {
        QFETCH(QString, manufacturer);
        QFETCH(QString, description);
        QFETCH(bool, taken);
        BusFixture session(JobUpdate,
            {adapterBy(manufacturer, description, 0),
                adapterBy(QStringLiteral("FTDI"), QStringLiteral("UART"), 1)});
        QCOMPARE(session.probe().ports().size(), taken ? 2 : 1);
        QCOMPARE(session.port(taken ? 1 : 0).portName(), uniquePortName(1));
        // A port that is no candidate is left alone.
        if (!taken)
            QCOMPARE(session.adapter(0).baudRate(), PluggedAdapter::kIdleBaudRate);
    }

    void logsWhatEveryPortSaysOfItself()
    {
        const DebugLog log;
        BusFixture session(
            JobUpdate, {adapterBy(QStringLiteral("Acme"), QStringLiteral("Bridge 9"), 0)});
        QCOMPARE(log.count(QStringLiteral("Acme")), 1);
        QCOMPARE(log.count(QStringLiteral("1027")), 1);
        QCOMPARE(log.count(QStringLiteral("Bridge 9")), 1);
        QVERIFY(session.probe().ports().isEmpty());
    }

    void findsThePortsBeforeItReadsTheManifest()
    {
        const DebugLog log;
        BusFixture session(
            JobUpdate, {adapterBy(QStringLiteral("FTDI"), QStringLiteral("Looked at"), 0)});
        static const QRegularExpression kFound(QStringLiteral("Looked at|settings.json|file  "));
        const QStringList course = log.all().filter(kFound);
        QCOMPARE(course.size(), 5);
        QVERIFY2(course.first().contains(QStringLiteral("Looked at")), qPrintable(course.first()));
    }

    void opensAt19200EightBitsNoParity()
    {
        BusFixture session;
        const PortTest& port = session.port();
        QCOMPARE(session.adapter().baudRate(), protocol::kApplicationBaudRate);
        QCOMPARE(port.baudRate(QSerialPort::Input), protocol::kApplicationBaudRate);
        QCOMPARE(port.baudRate(QSerialPort::Output), protocol::kApplicationBaudRate);
        QCOMPARE(port.dataBits(), QSerialPort::Data8);
        QCOMPARE(port.parity(), QSerialPort::NoParity);
        QCOMPARE(port.stopBits(), QSerialPort::OneStop);
        QCOMPARE(port.flowControl(), QSerialPort::NoFlowControl);
        QCOMPARE(port.openMode(), QIODevice::ReadWrite);
        QCOMPARE(port.parent(), nullptr);
    }

    void startsEverySessionFieldAtZeroButTheState()
    {
        BusFixture session;
        const PortTest& port = session.port();
        QCOMPARE(port.state, 1);
        for (const qint32 field : {port.startAddress, port.flashAddress, port.phase, port.fwStep,
                 port.retries, port.ticks, port.imageIndex, port.imageOffset, port.imageStep,
                 port.imageWait, port.blockNumber, qint32{port.rxIndex}})
            QCOMPARE(field, 0);
        for (const char byte : port.rxBuffer)
            QCOMPARE(byte, '\0');
        QVERIFY(!port.file.isOpen());
    }

    void keepsAPortThatIsHeldByAnotherProcess()
    {
        BusFixture session;
        session.closeDialog();
        const PortHolder holder(session.adapter().portName());
        {
            const DebugLog log;
            session.openDialog(JobUpdate);
            QCOMPARE(log.count(QStringLiteral("Could not open port")), 1);
        }
        QCOMPARE(session.probe().ports().size(), 1);
        QVERIFY(!session.port().isOpen());
        QVERIFY(!session.port().portOpen);
        QCOMPARE(session.port().state, qint32(StateStart));

        // It is stepped like the others, and nothing is sent.
        session.step(3);
        QCOMPARE(session.port().state, qint32(StateProbe));
        QCOMPARE(session.port().retries, kProbeLines - 2);
        QCOMPARE(session.labelText("labelTX"), QStringLiteral("TX: /"));
        QCOMPARE(session.sent(), QByteArray());
    }

    void opensAHeldPortThatWasGivenFree()
    {
        BusFixture session;
        session.closeDialog();
        {
            const PortHolder holder(session.adapter().portName());
            session.openDialog(JobUpdate);
            session.step(11);
            QVERIFY(!session.port().isOpen());
        }
        session.step(1);
        QVERIFY(session.port().isOpen());
        QCOMPARE(session.adapter().baudRate(), protocol::kBootloaderBaudRate);
    }

    void readsWhatComesOnEveryPort()
    {
        BusFixture session(JobUpdate, 2);
        session.receive("$MVERR,first\n", 0);
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: first"));
        session.receive("$MVERR,second\n", 1);
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: second"));
        // Answered on the port that it came from.
        QCOMPARE(session.sent(0), framed("$BOOTLOADM"));
        QCOMPARE(session.sent(1), framed("$BOOTLOADM"));
    }

    void closesAndFreesThePortsLastToFirst()
    {
        BusFixture session(JobUpdate, 3);
        QStringList events;
        for (PortTest* const port : session.probe().ports()) {
            const QString name = port->portName();
            connect(port, &QIODevice::aboutToClose, this,
                [&events, name] { events << "close " + name; });
            connect(port, &QObject::destroyed, this, [&events, name] { events << "free " + name; });
        }
        session.dialog().done(QDialog::Rejected);
        QStringList expected;
        for (const int i : {2, 1, 0})
            expected << "close " + uniquePortName(i) << "free " + uniquePortName(i);
        QCOMPARE(events, expected);
    }

    void freesThePortsOnce()
    {
        BusFixture session(JobUpdate, 2);
        int freed = 0;
        for (PortTest* const port : session.probe().ports())
            connect(port, &QObject::destroyed, this, [&freed] { ++freed; });
        session.dialog().done(QDialog::Rejected);
        session.dialog().done(QDialog::Rejected);
        // A tick that was due already when the dialog finished.
        session.dialog().Timeout();
        QCOMPARE(freed, 2);
        session.closeDialog();
        QCOMPARE(freed, 2);
    }

    void findsThePortsAnewForEveryDialog()
    {
        BusFixture session;
        session.step(5);
        session.closeDialog();
        session.plug(ftdiAdapters(2).back());
        session.openDialog(JobImagesOnly);
        QCOMPARE(session.probe().ports().size(), 2);
        for (int i = 0; i < 2; ++i) {
            QVERIFY(session.port(i).isOpen());
            QCOMPARE(session.port(i).state, qint32(StateStart));
            QCOMPARE(session.adapter(i).baudRate(), protocol::kApplicationBaudRate);
        }
    }

    void closesAnUnpluggedPortAtTheFirstError()
    {
        int errors = 0;
        BusFixture session;
        connect(&session.port(), &QSerialPort::errorOccurred, this,
            [&errors](QSerialPort::SerialPortError error) {
                errors += error != QSerialPort::NoError ? 1 : 0;
            });
        session.adapter().unplug();
        QTRY_VERIFY(!session.port().isOpen());
        QTest::qWait(50);
        QCOMPARE(errors, 1);

        // Stepping goes on as on a port that never opened.
        session.step(30);
        QCOMPARE(session.port().state, qint32(StateWaitForBootloader));
    }

    void goesOnWithTheOtherPortsWhenOneIsUnplugged()
    {
        BusFixture session(JobUpdate, 3);
        session.step(2);
        session.adapter(1).unplug();
        QTRY_VERIFY(!session.port(1).isOpen());
        for (const int i : {0, 2}) {
            (void)session.sent(i);
            session.receive("$MVERR,7\n", i);
            QCOMPARE(session.sent(i), framed("$BOOTLOADM"));
        }
        session.step(1);
        for (const int i : {0, 2})
            QCOMPARE(session.sent(i), framed("$MVER"));
    }

    void closesBeforeItKnowsOfTheUnplugging()
    {
        BusFixture session(JobUpdate, 2);
        session.step(4);
        session.adapter(0).unplug();
        QVERIFY(session.port(0).isOpen());
        session.closeDialog();
        // The port is gone when its error is due.
        QTest::qWait(50);

        session.openDialog(JobUpdate);
        QCOMPARE(session.probe().ports().size(), 1);
        session.closeDialog();
        session.adapter(0).plugAgain();
        session.openDialog(JobUpdate);
        QCOMPARE(session.probe().ports().size(), 2);
        session.step(2);
        QCOMPARE(session.sent(0), framed("$MVER"));
    }

    void sendsBeforeItKnowsOfTheUnplugging()
    {
        int errors = 0;
        BusFixture session(JobUpdate, 2);
        session.step(2);
        (void)session.sent(1);
        connect(&session.port(0), &QSerialPort::errorOccurred, this, [&errors] { ++errors; });
        session.adapter(0).unplug();
        QVERIFY(session.port(0).isOpen());
        session.step(3);
        // The session and the other port go on.
        QCOMPARE(session.port(0).retries, kProbeLines - 4);
        QCOMPARE(session.sent(1), framedAll({"$MVER", "$MVER", "$MVER"}));

        QTRY_VERIFY(!session.port(0).isOpen());
        const int reported = errors;
        QTest::qWait(50);
        QCOMPARE(errors, reported);
        session.step();
        QCOMPARE(session.sent(1), framed("$MVER"));
    }

    void reopensAPortThatWasPluggedInAgainInTime()
    {
        BusFixture session;
        session.step(4);
        session.adapter().unplug();
        QTRY_VERIFY(!session.port().isOpen());
        session.adapter().plugAgain();
        session.step(8);
        QVERIFY(session.port().isOpen());
        session.receive("$Bootloader\n");
        QCOMPARE(session.sent(), QByteArray("$G\n"));
    }

    void endsByEscapeWhileRepliesAreWaiting()
    {
        BusFixture session(JobUpdate, 2);
        session.step(2);
        int freed = 0;
        for (PortTest* const port : session.probe().ports())
            connect(port, &QObject::destroyed, this, [&freed] { ++freed; });
        QTimer::singleShot(0, &session.dialog(), [&session] {
            for (const int i : {0, 1}) {
                const QByteArray replies = "$MVERR,1\n$DACK\n$Bootl";
                QCOMPARE(::write(session.adapter(i).masterFd(), replies.constData(),
                             static_cast<std::size_t>(replies.size())),
                    static_cast<ssize_t>(replies.size()));
            }
            QTest::keyClick(&session.dialog(), Qt::Key_Escape);
        });
        QCOMPARE(session.dialog().exec(), static_cast<int>(QDialog::Rejected));
        QCOMPARE(freed, 2);
        // A tick that is due meanwhile finds no port.
        session.probe().timer().start(1);
        QTest::qWait(50);
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
        session.closeDialog();
        QCOMPARE(freed, 2);
    }

    void sendsTheTenthProbeAtTheOldSpeed()
    {
        BusFixture session;
        session.step(10);
        (void)session.sent();
        // Closing restores the old speed: not before the line has left.
        QElapsedTimer sinceStep;
        sinceStep.start();
        session.step(1);
        QVERIFY(sinceStep.elapsed() >= kAdapterDelay.count());
        QVERIFY(!session.port().isOpen());
        QCOMPARE(session.sent(), framed("$BOOTLOADM"));
    }

    void aLineLeavesWithoutATurnOfTheEventLoop()
    {
        BusFixture session;
        session.dialog().SendMessage(&session.port(), QStringLiteral("$G"));
        QCOMPARE(session.port().bytesToWrite(), qint64(0));
        QCOMPARE(session.sent(), QByteArray("$G\n"));
    }
};

static const RegisteredTest<TestPorts> registered(__FILE__);
#include "tst_ports.moc"
