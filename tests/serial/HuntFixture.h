#pragma once

#include "serial/Settings.h"
#include "tests/serial/SerialConnectProbe.h"
#include "virtualboard/UsbBus.h"

#include <QSerialPort>
#include <QStringList>

#include <memory>
#include <vector>

/// A service with a closed port on a mocked bus; the test is its timer.
class HuntFixture
{
public:
    HuntFixture();
    ~HuntFixture() = default;
    HuntFixture(const HuntFixture&) = delete;
    HuntFixture& operator=(const HuntFixture&) = delete;

    /// Plugs in an adapter whose port is uniquePortName(`number`).
    PluggedAdapter& plug(int number, const QString& manufacturer = QStringLiteral("FTDI"));

    /// The port as the hunt has left it: "closed", or its number and its speed.
    [[nodiscard]] QString portState() const;

    /// Ticks `ticks` times and returns the port's state after each tick.
    QStringList watch(int ticks);

    /// The same with equal neighbours put together: how many ticks, and the state.
    QStringList run(int ticks) { return counted(watch(ticks)); }

    /// Lets `bytes` arrive from `adapter` on the open port.
    void receive(const PluggedAdapter& adapter, const QByteArray& bytes);

    [[nodiscard]] static QStringList counted(const QStringList& states);

private:
    UsbBus m_bus;
    std::vector<std::unique_ptr<PluggedAdapter>> m_adapters;

public:
    QSerialPort port;
    Settings settings;
    Serial_Connect service;
    SerialConnectProbe probe;
};
