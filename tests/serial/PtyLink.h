#pragma once

#include "serial/Settings.h"
#include "tests/serial/SerialConnectProbe.h"

#include <QSerialPort>
#include <QStringList>

/// A service whose open port is one end of a pseudo terminal; the test holds the other end. Nothing
/// here runs an event loop.
class PtyLink
{
public:
    PtyLink();
    ~PtyLink();
    PtyLink(const PtyLink&) = delete;
    PtyLink& operator=(const PtyLink&) = delete;

    /// Lets `bytes` arrive and calls `SerialGotData()` once, when all of them are there.
    void receive(const QByteArray& bytes);

    /// What the service has written since the last call.
    QByteArray sent();

    /// What arrives on the far end without anything being done on the near one.
    QByteArray arrived();

    /// Each signal since the last call as its name, a blank and its text.
    QStringList takeSignals();

private:
    int m_far = -1;
    int m_near = -1;
    QStringList m_signals;

public:
    QSerialPort port;
    Settings settings;
    Serial_Connect service;
    SerialConnectProbe probe;
};
