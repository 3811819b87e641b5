#pragma once

#include <QSerialPort>

/// Opens `port` for reading and writing; false when it does not open. Until it closes, the
/// adapter's end is reported as ResourceError at once: Qt 6.8 by itself says nothing while nothing
/// is written, and reads in vain at every turn of the event loop.
bool openPort(QSerialPort& port);

/// To be called with every `error` that `port` reports. Closes the port when its adapter has been
/// unplugged, and returns true then: the error would come back at every turn of the event loop for
/// as long as the port is open. A full line, or another program that takes what has arrived, is
/// reported as the same error: the port stays open then and goes on reading and writing.
bool closeIfUnplugged(QSerialPort& port, QSerialPort::SerialPortError error);
