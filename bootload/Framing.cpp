#include "bootload/DialogBootload.h"
#include "bootload/Wire.h"
#include "protocol/Crc.h"
#include "ui_DialogBootload.h"

#include <QSignalBlocker>
#include <QThread>

#include <algorithm>

using protocol::kLineCapacity;
using protocol::Line;

namespace {

// Behind the checksum's "*" the board's lines have room for four digits, and the line feed stands
// behind that room even when there are fewer.
constexpr qsizetype kLineFeedOffset = 5;

/// Appends "*", the checksum and a line feed to the line in `buffer`. Returns false, with the
/// buffer unchanged, when there is no "$", no NUL behind it or no room.
bool appendChecksum(std::span<char, kLineCapacity> buffer)
{
    const auto dollar = std::find(buffer.begin(), buffer.end(), '$');
    if (dollar == buffer.end())
        return false;
    const auto body = dollar + 1;
    const auto end = std::find(body, buffer.end(), '\0');
    if (buffer.end() - end <= kLineFeedOffset + 1)
        return false;

    const protocol::HexText checksum(protocol::crcOf({body, end}));
    const QByteArrayView digits = checksum.view();
    *end = '*';
    *std::copy(digits.begin(), digits.end(), end + 1) = '\0';
    // A checksum of fewer than four digits is followed by its NUL, so that such a line goes out
    // without a line feed; the board knows the end of such a line by the silence after it.
    *(end + kLineFeedOffset) = '\n';
    *(end + kLineFeedOffset + 1) = '\0';
    return true;
}

/// Appends a line feed to the line in `buffer`. Returns false, with the buffer unchanged, when
/// there is no NUL or no room.
bool appendLineFeed(std::span<char, kLineCapacity> buffer)
{
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    if (buffer.end() - end <= 1)
        return false;
    *end = '\n';
    *(end + 1) = '\0';
    return true;
}

/// Lets go of the processor for an instant: where the system carries a line on in a task of its
/// own, that one runs before anything is painted or logged.
void letTheLineGoFirst()
{
    // A yield would last a time slice on a busy computer. Elsewhere the least sleep is far longer
    // than a line, and drivers take a line within the write.
#ifdef Q_OS_LINUX
    QThread::usleep(1);
#endif
}

/// Notes until when what was just written may be on its way. Only the last line counts: those
/// before it have mostly been answered, and left when it was written.
void noteTimeOnTheWire(PortTest* port, qsizetype bytes)
{
    constexpr qint64 kMillisecondsPerSecond = 1000;
    const qint64 time = bytes * kBitsPerByte * kMillisecondsPerSecond / qMax(port->baudRate(), 1);
    port->onTheWire.setRemainingTime(kAdapterDelay + std::chrono::milliseconds(time + 1));
}

} // namespace

void DialogBootload::AddCRC_nSend(PortTest* port, char* line)
{
    const std::span<char, kLineCapacity> buffer(line, kLineCapacity);
    if (!appendChecksum(buffer))
        return;
    Write(port, protocol::textOf(buffer));
    ShowSent();
}

void DialogBootload::AddCRC_nSend(PortTest* port, QString line)
{
    Send(port, Line(line.toUtf8()));
}

void DialogBootload::nSend(PortTest* port, char* line)
{
    const std::span<char, kLineCapacity> buffer(line, kLineCapacity);
    if (appendLineFeed(buffer))
        Write(port, protocol::textOf(buffer));
}

void DialogBootload::nSend(PortTest* port, QString line)
{
    Line copy(line.toUtf8());
    if (copy.complete())
        nSend(port, copy.data());
}

void DialogBootload::SendMessage(PortTest* port, QString line)
{
    QByteArray text = line.toUtf8();
    if (text.isEmpty())
        return;
    if (!text.endsWith('\n'))
        text.append('\n');
    Write(port, text);
}

void DialogBootload::Send(PortTest* port, Line line)
{
    if (line.complete())
        AddCRC_nSend(port, line.data());
}

void DialogBootload::Write(PortTest* port, QByteArrayView bytes)
{
    // A device that takes nothing must not fill the memory: what is not sent is sent again later.
    const bool sends = port->isOpen() && port->bytesToWrite() < kMaxUnsentBytes;
    if (sends) {
        // A failed write says nothing about the port: the line is sent again if no answer comes,
        // and whether the adapter has gone is told by reading.
        const QSignalBlocker blocker(port);
        port->write(bytes.data(), bytes.size());
        // The line leaves now: what is painted or logged next is so while it is on the wire.
        port->flush();
        letTheLineGoFirst();
        noteTimeOnTheWire(port, bytes.size());
    }
    wireLog.sent(port->portName(), bytes, sends);
}

void DialogBootload::ShowSent()
{
    txSpin = txSpin <= 2 ? txSpin + 1 : 0;
    ShowActivity(ui->labelTX, txPainted, QStringLiteral("TX: ") + QLatin1Char(spinChars[txSpin]));
}

void DialogBootload::ShowActivity(QLabel* label, QElapsedTimer& painted, const QString& text)
{
    // The text is always the newest; it is painted at most once in an interval, by this line, a
    // later one or the next tick.
    const bool paint = !painted.isValid() || painted.hasExpired(kActivityInterval.count());
    label->setUpdatesEnabled(paint);
    label->setText(text);
    if (paint)
        painted.start();
}

void DialogBootload::PaintActivity()
{
    ui->labelTX->setUpdatesEnabled(true);
    ui->labelRX->setUpdatesEnabled(true);
}

void DialogBootload::readyRead()
{
    const WireLog::Hold hold(wireLog);
    auto* const port = dynamic_cast<PortTest*>(sender());
    if (port == nullptr)
        return;
    const QByteArray bytes = port->readAll();
    protocol::ReceiveBuffer received = port->received();
    for (const char byte : bytes) {
        if (!received.store(byte))
            continue;
        received.endLine();
        rxSpin = rxSpin > 2 ? 0 : rxSpin + 1;
        // By the TX counter on purpose: this indicator moves only when something was sent in
        // between. It is taken before the line is answered, and shown after.
        const QLatin1Char activity(spinChars[txSpin]);
        GotMessage(port, QString::fromUtf8(received.text()));
        received.restart();
        ShowActivity(ui->labelRX, rxPainted, QStringLiteral("RX: ") + activity);
    }
}
