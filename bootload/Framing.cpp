// Sends lines and receives bytes.

#include "bootload/DialogBootload.h"
#include "bootload/Log.h"
#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "ui_DialogBootload.h"

#include <QSignalBlocker>

using protocol::kLineCapacity;
using protocol::Line;

namespace {

/// How long the last line, of `bytes` bytes, may be on its way after it was written to `port`. The
/// lines before it have nearly always left by then: they were answered.
std::chrono::milliseconds timeOnTheWire(const PortTest& port, qsizetype bytes)
{
    constexpr qint64 kMillisecondsPerSecond = 1000;
    const qint64 time
        = bytes * protocol::kBitsPerByte * kMillisecondsPerSecond / qMax(port.baudRate(), 1);
    return kAdapterDelay + std::chrono::milliseconds(time + 1);
}

} // namespace

void DialogBootload::AddCRC_nSend(PortTest* port, char* line)
{
    const std::span<char, kLineCapacity> buffer(line, kLineCapacity);
    if (!protocol::appendChecksum(buffer))
        return;
    Write(port, protocol::textOf(buffer));
    txSpin = txSpin <= 2 ? txSpin + 1 : 0;
    ui->labelTX->setText(QStringLiteral("TX: ") + QLatin1Char(spinChars[txSpin]));
}

void DialogBootload::AddCRC_nSend(PortTest* port, QString line)
{
    Send(port, Line(line.toUtf8()));
}

void DialogBootload::nSend(PortTest* port, char* line)
{
    const std::span<char, kLineCapacity> buffer(line, kLineCapacity);
    if (protocol::appendLineFeed(buffer))
        Write(port, protocol::textOf(buffer));
}

void DialogBootload::nSend(PortTest* port, QString line)
{
    Line copy(line.toUtf8());
    if (copy.complete())
        nSend(port, copy.buffer().data());
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
        AddCRC_nSend(port, line.buffer().data());
}

void DialogBootload::Write(PortTest* port, QByteArrayView bytes)
{
    // A device that takes nothing must not fill the memory: what is left out is resent later.
    const bool sends = port->isOpen() && port->bytesToWrite() < kMaxUnsentBytes;
    if (sends) {
        // A failed write says nothing about the port: the line is resent if no answer comes, and
        // reading notices an unplugged adapter.
        const QSignalBlocker blocker(port);
        port->write(bytes.data(), bytes.size());
        // The line leaves now, before anything is painted or logged.
        port->flush();
        const std::chrono::milliseconds wireTime = timeOnTheWire(*port, bytes.size());
        port->onTheWire.setRemainingTime(wireTime);
        // Each answer of one board steps the sessions of all others, which shortens their waits.
        if (HasSeveralOpenPorts())
            port->answers.setUnanswerableFor(wireTime + kAnswerTime);
    }
    qCDebug(logWire).noquote().nospace() << port->portName() << (sends ? " TX " : " not sent ")
                                         << QString::fromUtf8(bytes.trimmed());
}

void DialogBootload::readyRead()
{
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
        // By the TX counter: prescribed so, this indicator moves only when something was sent in
        // between. Read before the line is handled, shown after it.
        const QLatin1Char activity(spinChars[txSpin]);
        GotMessage(port, QString::fromUtf8(received.text()));
        received.restart();
        ui->labelRX->setText(QStringLiteral("RX: ") + activity);
    }
}
