#include "tests/support/TestProgram.h"
#include "virtualboard/UsbBus.h"

#include <QProcess>
#include <QSerialPort>
#include <QSerialPortInfo>
#include <QSignalSpy>

#include <array>
#include <poll.h>
#include <unistd.h>

namespace {

Adapter adapter(const QString& portName, const QString& manufacturer = QStringLiteral("FTDI"))
{
    Adapter result;
    result.portName = portName;
    result.manufacturer = manufacturer;
    return result;
}

QStringList portNames()
{
    QStringList names;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports)
        names << port.portName();
    return names;
}

QByteArray readFrom(int fd, qsizetype size)
{
    QByteArray bytes;
    std::array<char, 256> chunk{};
    pollfd waiting{fd, POLLIN, 0};
    while (bytes.size() < size && poll(&waiting, 1, 2000) > 0) {
        const ssize_t got = ::read(fd, chunk.data(), chunk.size());
        if (got <= 0)
            break;
        bytes.append(chunk.data(), got);
    }
    return bytes;
}

} // namespace

class TestUsbBus : public QObject
{
    Q_OBJECT

private slots:
    void thisProcessSeesTheBus()
    {
        UsbBus bus;
        QVERIFY(UsbBus::isSeenByThisProcess());
    }

    void anEmptyBusHasNoPorts()
    {
        UsbBus bus;
        QCOMPARE(portNames(), QStringList());
    }

    void listsAdaptersInTheOrderOfPlugging()
    {
        UsbBus bus;
        const auto second = bus.plug(adapter(QStringLiteral("ttyUSB64")));
        const auto first = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        QCOMPARE(portNames(), QStringList({"ttyUSB64", "ttyUSB63"}));
    }

    void keepsTheOrderOverTwentyAdapters()
    {
        UsbBus bus;
        std::vector<std::unique_ptr<PluggedAdapter>> plugged;
        QStringList expected;
        for (int number = 70; number < 90; ++number) {
            expected << QStringLiteral("ttyUSB%1").arg(number);
            plugged.push_back(bus.plug(adapter(expected.last())));
        }
        QCOMPARE(portNames(), expected);
    }

    void showsWhatTheAdapterSaysAboutItself()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        const QSerialPortInfo info = QSerialPortInfo::availablePorts().value(0);
        QCOMPARE(info.manufacturer(), QStringLiteral("FTDI"));
        QCOMPARE(info.description(), QStringLiteral("FT232R USB UART"));
        QCOMPARE(info.vendorIdentifier(), quint16(0x0403));
        QCOMPARE(info.productIdentifier(), quint16(0x6001));
        QCOMPARE(info.serialNumber(), QStringLiteral("A10K0001"));
        QCOMPARE(info.systemLocation(), QStringLiteral("/dev/ttyUSB63"));
    }

    void keepsALowerCaseManufacturer()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapter(QStringLiteral("ttyUSB63"), QStringLiteral("ftdi")));
        QCOMPARE(QSerialPortInfo::availablePorts().value(0).manufacturer(), QStringLiteral("ftdi"));
    }

    void bytesAndBaudRateGoThrough()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        QCOMPARE(plugged->baudRate(), int(PluggedAdapter::kIdleBaudRate));
        QSerialPort port(QSerialPortInfo::availablePorts().value(0));
        port.setBaudRate(921600);
        QVERIFY2(port.open(QIODevice::ReadWrite), qPrintable(port.errorString()));
        QCOMPARE(plugged->baudRate(), 921600);

        port.write("$MVER\r\n\x11\x13");
        port.flush();
        QCOMPARE(readFrom(plugged->masterFd(), 9), QByteArray("$MVER\r\n\x11\x13"));

        QCOMPARE(::write(plugged->masterFd(), "$GACK\n", 6), ssize_t(6));
        QTRY_COMPARE(port.bytesAvailable(), qint64(6));
        QCOMPARE(port.readAll(), QByteArray("$GACK\n"));
        port.close();
        QCOMPARE(plugged->baudRate(), int(PluggedAdapter::kIdleBaudRate));
    }

    void unpluggingFailsTheOpenPort()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        QSerialPort port(QSerialPortInfo::availablePorts().value(0));
        QVERIFY(port.open(QIODevice::ReadWrite));
        bool failed = false;
        // Closed at the first error: Qt reports it over and over while the port is open.
        connect(&port, &QSerialPort::errorOccurred, this, [&](QSerialPort::SerialPortError error) {
            if (error != QSerialPort::NoError) {
                failed = true;
                port.close();
            }
        });
        plugged->unplug();
        QVERIFY(!plugged->isPlugged());
        QCOMPARE(plugged->baudRate(), 0);
        port.write("x"); // reading alone does not fail with every Qt
        QTRY_VERIFY(failed);
        QCOMPARE(portNames(), QStringList());
    }

    void isFoundAgainInItsPlaceWhenPluggedAgain()
    {
        UsbBus bus;
        const auto first = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        const auto second = bus.plug(adapter(QStringLiteral("ttyUSB64")));
        first->unplug();
        QCOMPARE(portNames(), QStringList({"ttyUSB64"}));
        first->plugAgain();
        QCOMPARE(portNames(), QStringList({"ttyUSB63", "ttyUSB64"}));

        QSerialPort port(QSerialPortInfo::availablePorts().value(0));
        QVERIFY2(port.open(QIODevice::ReadWrite), qPrintable(port.errorString()));
        port.write("again");
        port.flush();
        QCOMPARE(readFrom(first->masterFd(), 5), QByteArray("again"));
    }

    void twoPortsAreOpenAtOnce()
    {
        UsbBus bus;
        const auto first = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        const auto second = bus.plug(adapter(QStringLiteral("ttyUSB64")));
        const QList<QSerialPortInfo> infos = QSerialPortInfo::availablePorts();
        QSerialPort one(infos.value(0));
        QSerialPort two(infos.value(1));
        QVERIFY(one.open(QIODevice::ReadWrite));
        QVERIFY(two.open(QIODevice::ReadWrite));
        two.write("2");
        two.flush();
        one.write("1");
        one.flush();
        QCOMPARE(readFrom(first->masterFd(), 1), QByteArray("1"));
        QCOMPARE(readFrom(second->masterFd(), 1), QByteArray("2"));
    }

    void aChildProcessSeesTheBusToo()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapter(QStringLiteral("ttyUSB63")));
        QProcess child;
        child.setProcessEnvironment(bus.environment());
        child.start(QStringLiteral("ls"), {QStringLiteral("/dev/ttyUSB63")});
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitCode(), 0);
    }
};

static const RegisteredTest<TestUsbBus> registered(__FILE__);
#include "tst_usbbus.moc"
