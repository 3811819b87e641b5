// Finds, opens and closes the ports.

#include "bootload/DialogBootload.h"
#include "bootload/Log.h"
#include "protocol/Commands.h"
#include "serial/Adapter.h"

#include <QSerialPortInfo>
#include <QThread>

#include <algorithm>

void DialogBootload::FindPorts()
{
    const QList<QSerialPortInfo> available = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : available) {
        qCDebug(logJob) << info.manufacturer();
        qCDebug(logJob) << info.vendorIdentifier();
        qCDebug(logJob) << info.description();
        if (adapter::isOne(info))
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
        if (adapter::closeIfUnplugged(*port, error))
            qCDebug(logJob) << "Port has gone" << port->portName();
    });

    port->portOpen = OpenPort(*port);
    // A port that did not open is kept and stepped like the others; its lines are not sent.
    port->state = StateStart;
    port->startAddress = 0;
    ports.append(port);
}

bool DialogBootload::OpenPort(PortTest& port)
{
    const bool opened = adapter::open(port);
    if (!opened)
        qCDebug(logJob) << "Could not open port" << port.portName() << port.errorString();
    return opened;
}

bool DialogBootload::HasSeveralOpenPorts() const
{
    return std::count_if(ports.begin(), ports.end(), [](const PortTest* port) {
        return port->isOpen();
    }) > 1;
}

void DialogBootload::CloseAfterSending(PortTest* port)
{
    // Closing restores the port's old speed at once, while the last line may still be on its way.
    const qint64 remaining = port->onTheWire.remainingTime();
    if (port->isOpen() && remaining > 0)
        QThread::msleep(static_cast<unsigned long>(remaining));
    port->close();
}
