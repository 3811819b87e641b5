#include "bootload/DialogBootload.h"
#include "bootload/Log.h"
#include "bootload/Wire.h"

#include <QSerialPortInfo>

void DialogBootload::FindPorts()
{
    const QList<QSerialPortInfo> available = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : available) {
        qCDebug(logJob) << info.manufacturer();
        qCDebug(logJob) << info.vendorIdentifier();
        qCDebug(logJob) << info.description();
        if (info.manufacturer().contains(QStringLiteral("FTDI")))
            CapturePort(info);
    }
}

void DialogBootload::CapturePort(const QSerialPortInfo& info)
{
    auto* const port = new PortTest;
    port->setPort(info);
    port->setBaudRate(kApplicationBaudRate, QSerialPort::AllDirections);
    // Putting the old settings back would change the speed under the last line, which may still be
    // on its way when the port is closed to be reopened faster.
    port->setSettingsRestoredOnClose(false);
    connect(port, SIGNAL(readyRead()), this, SLOT(readyRead()));
    CloseWhenGone(port);

    port->portOpen = port->open(QIODevice::ReadWrite);
    if (!port->portOpen)
        qCDebug(logJob) << "Could not open port" << info.portName() << port->errorString();

    // A port that did not open is kept and stepped like the others; what it sends goes nowhere.
    port->state = StateStart;
    port->startAddress = 0;
    ports.append(port);
}

void DialogBootload::CloseWhenGone(PortTest* port)
{
    // The read error of an unplugged adapter comes back at every turn of the event loop for as long
    // as the port is open.
    connect(port, &QSerialPort::errorOccurred, this, [port](QSerialPort::SerialPortError error) {
        const bool readFailed
            = error == QSerialPort::ReadError || error == QSerialPort::ResourceError;
        if (!readFailed || !port->isOpen())
            return;
        qCDebug(logJob) << "Port has gone" << port->portName() << port->errorString();
        port->close();
    });
}
