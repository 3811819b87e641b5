#pragma once

#include <QString>

class QSerialPort;

/// What the main window and the serial connection service share: one record for the life of the
/// process, created and filled by the main window.
struct Settings
{
    /// The port that the service reads, writes, opens and closes; set before the service is
    /// created, and never null from then on. The record does not own it.
    QSerialPort* port = nullptr;

    /// True once the board's bootloader has been found: the service scans for ports only while it
    /// is false.
    bool deviceReady = false;

    /// Room for whoever wires the service; nothing reads these three.
    QString extraText1;
    QString extraText2;
    bool extraFlag = false;
};
