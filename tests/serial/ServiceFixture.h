#pragma once

#include "serial/Settings.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/support/MemoryPort.h"

#include <QStringList>

/// A service on an open port in memory.
class ServiceFixture
{
public:
    ServiceFixture();
    ~ServiceFixture() = default;
    ServiceFixture(const ServiceFixture&) = delete;
    ServiceFixture& operator=(const ServiceFixture&) = delete;

    /// Lets `bytes` arrive at once.
    void receive(const QByteArray& bytes) { port.arrive(bytes); }

    /// What the service has written since the last call.
    QByteArray sent();

    /// Each signal since the last call as its name, a blank and its text.
    QStringList takeSignals();

private:
    QStringList m_signals;

public:
    MemoryPort<QSerialPort> port;
    Settings settings;
    Serial_Connect service;
    SerialConnectProbe probe;
};
