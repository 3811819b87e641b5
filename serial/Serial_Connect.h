#pragma once

#include "protocol/Line.h"
#include "protocol/WireText.h"

#include <QObject>
#include <QSerialPort>
#include <QStringList>
#include <QTimer>

#include <array>

struct Settings;

/// A supervisor of one serial link that can hunt for the display board on its own: it walks the
/// FTDI ports, asks a running firmware for its bootloader, and stops when the bootloader announces
/// itself. Received lines are checked and handed on as signals.
///
/// The service is dormant until it is wired: connect `settings->port`'s `readyRead()` to
/// `SerialGotData()` and a periodic timer to `OnTimeout()`. Waits are counted in such ticks. It
/// lives in one thread, the port's. Errors of the port are not reported: an attempt that fails is
/// an attempt without an answer.
class Serial_Connect : public QObject, public protocol::WireText
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Serial_Connect)

public:
    /// Works on `*shared` and on its port; both stay the caller's and outlive this object. The two
    /// version texts are kept and not used. Opens nothing and starts nothing.
    Serial_Connect(Settings* shared, QString firstVersion, QString secondVersion);

    /// Leaves the port and the record as they are.
    ~Serial_Connect() override;

    /// Both do nothing: the hunt alone opens and closes the port.
    void Connect();
    void Close();

    /// Writes `text` as UTF-8, without a checksum and without a line feed.
    void WriteMessage(const QString& text);

    /// Writes `data` as it is. Returns the number of bytes taken by the port, -1 on an error.
    qint64 WriteMessage(QByteArray& data);

    /// Appends "*", the checksum of what follows the first "$", and a line feed to `line`, and
    /// writes it while sending is enabled. Positions are counted in 8 bits: a text longer than 247
    /// bytes or without a "$" is not changed and not sent. `line` has room for six more bytes than
    /// its text and NUL; nothing after these is read or written.
    void AddCRC_nSend(char* line);

    /// Ends the hunt as if the bootloader had announced itself: the port stays as it is.
    void Accept();

    /// Closes the port and forbids new scans. A walk that is under way goes on.
    void Reject();

    /// While `hold` is true, a tick does nothing at all.
    void HoldChecking(bool hold);

    /// Handles the line that now ends at the write position of the receive buffer.
    void LocalGotMessage();

    /// The value of a hexadecimal digit of either case, 0 for any other character.
    static unsigned int FromHex(char c);

    /// Signed decimal: an optional "-" and the leading digits, wrapping at 32 bits; 0 when no digit
    /// follows. `text` is NUL-terminated.
    static int StrTo32(const char* text);

signals:
    /// A received line with its line feed, a good checksum or none; `line` is the whole text.
    void GotMessage(const QString& line);

    /// A received line that carries no checksum; `GotMessage` follows with the same text.
    void GotMessageNoCRC(const QString& line);

    /// Not emitted by this service.
    void NewWeightPosition(double Weight, int Position);

    /// Not emitted by this service.
    void FoundBrivanPress(int Port);

public slots:
    /// Reads what has arrived on the port and handles each line that is complete with it.
    void SerialGotData();

    /// One tick of the hunt.
    void OnTimeout();

private:
    friend class SerialConnectProbe;

    void HandleCheckedLine(QByteArrayView text);
    void HandleLineWithoutCheck(QByteArrayView text);
    void AnswerStatus();
    qint64 Write(QByteArrayView bytes);

    [[nodiscard]] bool ScanIsDue() const;
    void ScanPorts();
    void NextAttempt();
    void ReopenAfterStatus();
    void AdvanceToNextCandidate();
    void RetryAtFirmwareSpeed();
    [[nodiscard]] bool HasCandidate() const;
    void OpenCandidate(qint32 baudRate);
    void CloseWhenUnplugged(QSerialPort::SerialPortError error);

    /// `AddCRC_nSend` writes only while this is true; whoever wires the service sets it.
    bool sendEnabled = false;

    /// The two texts given at construction; nothing reads them.
    QString primaryVersion;
    QString secondaryVersion;

    /// The line that is being received, and where its next byte goes.
    char rxBuffer[protocol::kLineCapacity]{};
    qint16 rxIndex = 0;

    /// While true, complete lines are dropped unread and a tick only counts down.
    bool ignoreInput = false;

    /// Lines with a correct checksum so far.
    qint32 crcLineCount = 0;

    /// Back to 0 on every line with a correct checksum.
    qint32 idleTicks = 0;

    /// Meant to drive `OnTimeout()`; neither connected nor started here.
    QTimer timer;

    /// Ticks until the hunt takes its next step.
    qint32 waitTicks = 2;

    /// A scan may start only while this is true.
    bool checkingEnabled = true;

    /// A scan has found candidates and the hunt is walking them.
    bool portFound = false;

    /// The next step of the walk moves on to the next candidate.
    bool advancePending = false;

    /// Not owned.
    Settings* settings;

    /// A "$STATUS" was answered: the port is to be reopened at the bootloader's speed.
    bool statusAnswered = false;

    /// The FTDI ports of the last scan in the system's order, and those of them that were tried
    /// without success.
    QStringList candidatePorts;
    QStringList triedPorts;

    /// Which candidate is being tried: -1 right after a scan, the number of candidates once all
    /// have been tried.
    qint32 portIndex = 0;

    /// While true, a tick does nothing at all.
    bool holdChecking = false;
};
