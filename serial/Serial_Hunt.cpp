// The hunt for the display board: which port is tried at which speed, and for how many ticks.

#include "protocol/Commands.h"
#include "serial/Adapter.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"

#include <QSerialPortInfo>

namespace {

// Ticks from a scan to the first attempt, or to the next scan when there was no candidate.
constexpr int kScanTicks = 5;

// The bootloader of the boards that this service hunts for announces itself at this speed; that of
// the boards that are updated is faster.
constexpr qint32 kSlowBootloaderBaudRate = 115200;
constexpr int kBootloaderTicks = 25;

// The running firmware reports its status at `protocol::kApplicationBaudRate`.
constexpr int kFirmwareTicks = 50;

} // namespace

void Serial_Connect::OnTimeout()
{
    if (holdChecking)
        return;
    if (ScanIsDue())
        ScanPorts();
    else if (waitTicks > 0)
        --waitTicks;
    else if (portFound && !ignoreInput)
        NextAttempt();
}

bool Serial_Connect::ScanIsDue() const
{
    return !settings->deviceReady && waitTicks == 0 && !portFound && checkingEnabled;
}

void Serial_Connect::ScanPorts()
{
    portIndex = -1;
    statusAnswered = false;
    // A port that was tried before becomes a candidate again.
    triedPorts.clear();
    candidatePorts.clear();
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports) {
        if (!adapter::isOne(port))
            continue;
        candidatePorts.append(port.portName());
        portFound = true;
        advancePending = true;
    }
    waitTicks = kScanTicks;
}

void Serial_Connect::NextAttempt()
{
    settings->port->close();
    if (statusAnswered)
        ReopenAfterStatus();
    else if (advancePending)
        AdvanceToNextCandidate();
    else
        RetryAtFirmwareSpeed();
}

void Serial_Connect::ReopenAfterStatus()
{
    statusAnswered = false;
    if (!HasCandidate())
        return;
    OpenCandidate(kSlowBootloaderBaudRate);
    waitTicks = kBootloaderTicks;
}

void Serial_Connect::AdvanceToNextCandidate()
{
    advancePending = false;
    // Greater, not equal: after the last candidate the index stays at their number, and the hunt
    // stays there for good instead of scanning again.
    if (portIndex > candidatePorts.size()) {
        portFound = false;
        return;
    }
    waitTicks = kBootloaderTicks;
    if (HasCandidate())
        triedPorts.append(candidatePorts.at(portIndex));
    ++portIndex;
    if (HasCandidate())
        OpenCandidate(kSlowBootloaderBaudRate);
}

void Serial_Connect::RetryAtFirmwareSpeed()
{
    if (!HasCandidate())
        return;
    OpenCandidate(protocol::kApplicationBaudRate);
    advancePending = true;
    waitTicks = kFirmwareTicks;
}

bool Serial_Connect::HasCandidate() const
{
    return portIndex >= 0 && portIndex < candidatePorts.size();
}

// A port that cannot be opened is an attempt without an answer, so the result does not matter.
void Serial_Connect::OpenCandidate(qint32 baudRate)
{
    QSerialPort* const port = settings->port;
    connect(port, &QSerialPort::errorOccurred, this, &Serial_Connect::CloseWhenUnplugged,
        Qt::UniqueConnection);
    port->setPortName(candidatePorts.at(portIndex));
    port->setBaudRate(baudRate);
    port->setDataBits(QSerialPort::Data8);
    port->setParity(QSerialPort::NoParity);
    port->setStopBits(QSerialPort::OneStop);
    port->setFlowControl(QSerialPort::NoFlowControl);
    adapter::open(*port);
}

void Serial_Connect::CloseWhenUnplugged(QSerialPort::SerialPortError error)
{
    adapter::closeIfUnplugged(*settings->port, error);
}
