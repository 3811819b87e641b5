#pragma once

#include "serial/Serial_Connect.h"

/// The inside of a service, laid open for the tests: each member is the service's field of its
/// name.
class SerialConnectProbe
{
public:
    explicit SerialConnectProbe(Serial_Connect& service)
        : sendEnabled(service.sendEnabled), primaryVersion(service.primaryVersion),
          secondaryVersion(service.secondaryVersion), rxBuffer(service.rxBuffer),
          rxIndex(service.rxIndex), ignoreInput(service.ignoreInput),
          crcLineCount(service.crcLineCount), idleTicks(service.idleTicks), timer(service.timer),
          waitTicks(service.waitTicks), checkingEnabled(service.checkingEnabled),
          portFound(service.portFound), advancePending(service.advancePending),
          settings(service.settings), statusAnswered(service.statusAnswered),
          candidatePorts(service.candidatePorts), triedPorts(service.triedPorts),
          portIndex(service.portIndex), holdChecking(service.holdChecking)
    {
    }

    bool& sendEnabled;
    QString& primaryVersion;
    QString& secondaryVersion;
    char (&rxBuffer)[protocol::kLineCapacity];
    qint16& rxIndex;
    bool& ignoreInput;
    qint32& crcLineCount;
    qint32& idleTicks;
    QTimer& timer;
    qint32& waitTicks;
    bool& checkingEnabled;
    bool& portFound;
    bool& advancePending;
    Settings*& settings;
    bool& statusAnswered;
    QStringList& candidatePorts;
    QStringList& triedPorts;
    qint32& portIndex;
    bool& holdChecking;
};
