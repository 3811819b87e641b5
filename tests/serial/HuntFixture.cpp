#include "tests/serial/HuntFixture.h"

#include "tests/support/PortNames.h"

#include <QTest>

#include <unistd.h>

HuntFixture::HuntFixture()
    : settings{&port, false, {}, {}, false},
      service(&settings, QStringLiteral("A.20a"), QStringLiteral("1.00a")), probe(service)
{
    if (!UsbBus::isSeenByThisProcess())
        qFatal("this test runs with the preloaded library of the mocked bus");
}

PluggedAdapter& HuntFixture::plug(int number, const QString& manufacturer)
{
    Adapter adapter;
    adapter.portName = uniquePortName(number);
    adapter.manufacturer = manufacturer;
    m_adapters.push_back(m_bus.plug(adapter));
    return *m_adapters.back();
}

QString HuntFixture::portState() const
{
    if (!port.isOpen())
        return QStringLiteral("closed");
    const auto number = port.portName().right(kPortNumberDigits).toInt();
    return QStringLiteral("port %1 at %2").arg(number).arg(port.baudRate());
}

QStringList HuntFixture::watch(int ticks)
{
    QStringList states;
    for (int tick = 0; tick < ticks; ++tick) {
        service.OnTimeout();
        states << portState();
    }
    return states;
}

QStringList HuntFixture::counted(const QStringList& states)
{
    QStringList runs;
    int length = 0;
    for (qsizetype i = 0; i < states.size(); ++i) {
        ++length;
        if (i + 1 < states.size() && states.at(i + 1) == states.at(i))
            continue;
        runs << QStringLiteral("%1 x %2").arg(length).arg(states.at(i));
        length = 0;
    }
    return runs;
}

void HuntFixture::receive(const PluggedAdapter& adapter, const QByteArray& bytes)
{
    constexpr int kArrivalTimeout = 2000; // ms
    QCOMPARE(::write(adapter.masterFd(), bytes.constData(), static_cast<std::size_t>(bytes.size())),
        static_cast<ssize_t>(bytes.size()));
    while (port.bytesAvailable() < bytes.size())
        QVERIFY(port.waitForReadyRead(kArrivalTimeout));
    service.SerialGotData();
}
