#pragma once

#include <QSerialPort>

/// To be called with every `error` that `port` reports. Closes the port when its adapter has been
/// unplugged, and returns true then: the error would come back at every turn of the event loop for
/// as long as the port is open. A full line, or another program that takes what has arrived, is
/// reported as the same error: the port stays open then and goes on reading and writing.
bool closeIfUnplugged(QSerialPort& port, QSerialPort::SerialPortError error);

/// To be called with `port` each time it was opened. Sees to it that the adapter's end is reported,
/// as ResourceError: Qt 6.8 says nothing while nothing is written, and reads in vain at every turn
/// of the event loop. What it makes belongs to `port` and goes when that closes. On Windows Qt
/// reports it.
void reportUnplugging(QSerialPort& port);
