#pragma once

#include "serial/Settings.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/support/MemoryPort.h"

/// A service on a closed `Port`: one in memory, or a QSerialPort on a mocked bus.
template <typename Port = MemoryPort<QSerialPort>> class ServiceFixture
{
public:
    ServiceFixture()
    {
        QObject::connect(&port, &QSerialPort::readyRead, &service, &Serial_Connect::SerialGotData);
    }
    ~ServiceFixture() = default;
    ServiceFixture(const ServiceFixture&) = delete;
    ServiceFixture& operator=(const ServiceFixture&) = delete;

    Port port;
    Settings settings{&port, false, {}, {}, false};
    Serial_Connect service{&settings, QStringLiteral("A.20a"), QStringLiteral("1.00a")};
    SerialConnectProbe probe{service};
};
