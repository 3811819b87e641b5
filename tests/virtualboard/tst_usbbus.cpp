#include "tests/support/TestProgram.h"
#include "virtualboard/UsbBus.h"

#include <QSerialPort>
#include <QSerialPortInfo>

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
    void listsAdaptersInTheOrderOfPlugging()
    {
        UsbBus bus;
        QCOMPARE(portNames(), QStringList());
        std::vector<std::unique_ptr<PluggedAdapter>> plugged;
        QStringList expected;
        for (int number = 89; number >= 70; --number) {
            expected << QStringLiteral("ttyUSB%1").arg(number);
            plugged.push_back(bus.plug(adapter(expected.last())));
        }
        QCOMPARE(portNames(), expected);

        // In its old place when it comes back.
        plugged.front()->unplug();
        QCOMPARE(portNames(), expected.mid(1));
        plugged.front()->plugAgain();
        QCOMPARE(portNames(), expected);
    }

    void showsWhatTheAdapterSaysAboutItself()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapter(QStringLiteral("ttyUSB63"), QStringLiteral("ftdi")));
        const QSerialPortInfo info = QSerialPortInfo::availablePorts().value(0);
        QCOMPARE(info.manufacturer(), QStringLiteral("ftdi"));
        QCOMPARE(info.description(), QStringLiteral("FT232R USB UART"));
        QCOMPARE(info.vendorIdentifier(), quint16(0x0403));
        QCOMPARE(info.productIdentifier(), quint16(0x6001));
        QCOMPARE(info.serialNumber(), QStringLiteral("A10K0001"));
        QCOMPARE(info.systemLocation(), QStringLiteral("/dev/ttyUSB63"));
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
};

static const RegisteredTest<TestUsbBus> registered(__FILE__);
#include "tst_usbbus.moc"
