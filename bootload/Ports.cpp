// Finding the ports, and losing them.

#include "bootload/DialogBootload.h"
#include "bootload/Log.h"
#include "protocol/Commands.h"
#include "serial/UnpluggedPort.h"

#include <QSerialPortInfo>
#include <QThread>

namespace {

/// What the USB manufacturer of the machine's adapter contains.
constexpr QLatin1StringView kAdapterMaker{"FTDI"};

} // namespace

void DialogBootload::FindPorts()
{
    const QList<QSerialPortInfo> available = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : available) {
        qCDebug(logJob) << info.manufacturer();
        qCDebug(logJob) << info.vendorIdentifier();
        qCDebug(logJob) << info.description();
        if (info.manufacturer().contains(kAdapterMaker))
            CapturePort(info);
    }
}

void DialogBootload::CapturePort(const QSerialPortInfo& info)
{
    auto* const port = new PortTest;
    port->setPort(info);
    port->setBaudRate(protocol::kApplicationBaudRate, QSerialPort::AllDirections);
    connect(port, SIGNAL(readyRead()), this, SLOT(readyRead()));
    connect(port, &QSerialPort::errorOccurred, this, [port](QSerialPort::SerialPortError error) {
        if (closeIfUnplugged(*port, error))
            qCDebug(logJob) << "Port has gone" << port->portName();
    });

    port->portOpen = openPort(*port);
    if (!port->portOpen)
        qCDebug(logJob) << "Could not open port" << info.portName() << port->errorString();

    // A port that did not open is kept and stepped like the others; what it sends goes nowhere.
    port->state = StateStart;
    port->startAddress = 0;
    ports.append(port);
}

void DialogBootload::CloseAfterSending(PortTest* port)
{
    // Closing puts the port's old speed back at once, under a line that is still on its way.
    const qint64 remaining = port->onTheWire.remainingTime();
    if (port->isOpen() && remaining > 0)
        QThread::msleep(static_cast<unsigned long>(remaining));
    port->close();
}
