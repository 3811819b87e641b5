#pragma once

#include <QSerialPort>

class QSerialPortInfo;

/// The machine's adapters, for the update dialog, the connection service and the doctor: which
/// ports they are, how they are opened, and when one was unplugged.
namespace adapter {

/// True when the USB manufacturer of the port that `info` describes contains "FTDI", in capitals.
[[nodiscard]] bool isOne(const QSerialPortInfo& info);
/// The same of a `manufacturer` that is known already.
[[nodiscard]] bool isOne(const QString& manufacturer);

/// Opens `port` for reading and writing; false when it does not open. While it is open, unplugging
/// is reported as ResourceError at once: Qt 6.8 alone reports nothing until something is written,
/// and tries to read at every turn of the event loop.
bool open(QSerialPort& port);

/// To be called with every `error` that `port` reports. Closes the port when its adapter has been
/// unplugged, and returns true then: an open port would report the error again at every turn of the
/// event loop. A full line, or another program that reads what has arrived, gives the same error:
/// the port then stays open and goes on reading and writing.
bool closeIfUnplugged(QSerialPort& port, QSerialPort::SerialPortError error);

} // namespace adapter
