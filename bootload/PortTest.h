#pragma once

#include "bootload/Answers.h"
#include "bootload/Session.h"
#include "protocol/ReceiveBuffer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QSerialPort>

/// A candidate serial port with its receive line buffer and the state of its update session. Every
/// number starts at 0. Owned by the dialog that found it, without a parent.
class PortTest : public QSerialPort
{
public:
    /// A port that is not bound to any device yet.
    PortTest() = default;
    ~PortTest() override = default;

    /// The receive line buffer, with its bounds checked.
    [[nodiscard]] protocol::ReceiveBuffer received() { return {rxBuffer, rxIndex}; }

    /// True when the port could be opened when it was found.
    bool portOpen = false;
    /// The incoming line, and where its next byte goes.
    char rxBuffer[protocol::kLineCapacity]{};
    qint16 rxIndex = 0;

    /// What the session does next: a `SessionState`.
    qint32 state = 0;
    /// The start address that the release set carries.
    qint32 startAddress = 0;
    /// First the start address, then the firmware image, open for the whole session.
    QFile file;
    /// Not used.
    QFile secondFile;
    /// Flash address of the next data line, in bytes.
    qint32 flashAddress = 0;
    /// How far the bootloader is with the firmware: a `BootPhase`.
    qint32 phase = 0;
    /// Where the session is within a page: a `FirmwareStep`.
    qint32 fwStep = 0;
    /// Probing lines left to send.
    qint32 retries = 0;
    /// Steps since the last firmware line.
    qint32 ticks = 0;
    /// The image being sent, as an index into the dialog's images.
    qint32 imageIndex = 0;
    /// Offset of the next block in that image, in bytes.
    qint32 imageOffset = 0;
    /// Where the session is within an image: an `ImageStep`.
    qint32 imageStep = 0;
    /// Steps to let pass before the next action on the images.
    qint32 imageWait = 0;
    /// Number of the block sent last.
    qint32 blockNumber = 0;

    /// The answers that may come.
    Answers answers;
    /// How often the current page was started over.
    qint32 pageRefills = 0;

    /// Until when the last line may still be on its way to the board.
    QDeadlineTimer onTheWire;
};
