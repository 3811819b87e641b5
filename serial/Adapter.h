#pragma once

#include <QSerialPort>

class QSerialPortInfo;

/// What the machine's adapter is, for the update dialog and the connection service: which ports are
/// one, how they are opened, and when one has gone.
namespace adapter {

/// True when the USB manufacturer of the port that `info` describes contains "FTDI", in capitals.
[[nodiscard]] bool isOne(const QSerialPortInfo& info);

/// Opens `port` for reading and writing; false when it does not open. Until it closes, the
/// adapter's end is reported as ResourceError at once: Qt 6.8 by itself says nothing while nothing
/// is written, and reads in vain at every turn of the event loop.
bool open(QSerialPort& port);

/// To be called with every `error` that `port` reports. Closes the port when its adapter has been
/// unplugged, and returns true then: the error would come back at every turn of the event loop for
/// as long as the port is open. A full line, or another program that takes what has arrived, is
/// reported as the same error: the port stays open then and goes on reading and writing.
bool closeIfUnplugged(QSerialPort& port, QSerialPort::SerialPortError error);

} // namespace adapter
