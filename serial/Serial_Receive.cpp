// Receives bytes, cuts them into lines and acts on these.

#include "serial/Serial_Connect.h"
#include "serial/Settings.h"

#include "protocol/Commands.h"
#include "protocol/Crc.h"
#include "protocol/ReceiveBuffer.h"

#include <algorithm>

namespace {

// The running firmware's report.
constexpr QByteArrayView kStatusWord = "$STATUS";

// The bootloader's announcement: this and nothing else.
constexpr QByteArrayView kBootloaderLine = "$Bootloader\n";

// Asks the board for its version; written without checksum and line feed.
constexpr QLatin1String kVersionQuery("$V");
constexpr int kMaxVersionQueries = 5;

// Ticks that the board gets to leave its application before the port is reopened.
constexpr int kBootloaderRequestTicks = 3;

// A checksum has four digits. Of five, 16 bits keep the last four.
constexpr qsizetype kMaxChecksumDigits = 5;

enum class LineCheck { None, Wrong, Right };

quint16 statedChecksum(QByteArrayView afterStar)
{
    const QByteArrayView digits = protocol::field(afterStar, 0).value_or(QByteArrayView());
    return static_cast<quint16>(
        protocol::hexValue(digits.first(std::min(digits.size(), kMaxChecksumDigits))));
}

// Looks only at the bytes of this line: an earlier, longer line may have left others after it.
LineCheck checkOf(QByteArrayView bytes)
{
    const auto* const dollar = std::find(bytes.begin(), bytes.end(), '$');
    if (dollar == bytes.end())
        return LineCheck::None;
    const auto* const stop
        = std::find_if(dollar + 1, bytes.end(), [](char c) { return c == '*' || c == '\0'; });
    if (stop == bytes.end() || *stop != '*')
        return LineCheck::None;
    const quint16 stated = statedChecksum({stop + 1, bytes.end()});
    return stated == protocol::crcOf({dollar + 1, stop}) ? LineCheck::Right : LineCheck::Wrong;
}

} // namespace

void Serial_Connect::SerialGotData()
{
    const QByteArray data = settings->port->readAll();
    protocol::ReceiveBuffer buffer(rxBuffer, rxIndex);
    for (const char byte : data) {
        if (!buffer.store(byte))
            continue;
        buffer.terminateAt(rxIndex + 1);
        LocalGotMessage();
        buffer.restart();
    }
}

void Serial_Connect::LocalGotMessage()
{
    if (ignoreInput)
        return;
    protocol::ReceiveBuffer(rxBuffer, rxIndex).terminateAt(rxIndex);

    // A line feed in the last byte of the buffer has moved the write position back to the start:
    // nothing is left of such a line. The copy is for receivers of the signals: they may run an
    // event loop, which may call this function again.
    const QByteArray bytes(rxBuffer, rxIndex);
    const QByteArrayView text(bytes.constData());
    switch (checkOf(bytes)) {
    case LineCheck::None:
        HandleLineWithoutCheck(text);
        break;
    case LineCheck::Wrong:
        break;
    case LineCheck::Right:
        HandleCheckedLine(text);
        break;
    }
}

void Serial_Connect::HandleCheckedLine(QByteArrayView text)
{
    emit GotMessage(QString::fromUtf8(text));
    if (crcLineCount < kMaxVersionQueries)
        WriteMessage(kVersionQuery);
    ++crcLineCount;
    idleTicks = 0;
    if (protocol::field(text, 0) == kStatusWord)
        AnswerStatus();
}

void Serial_Connect::AnswerStatus()
{
    protocol::Line request(protocol::kEnterBootloader);
    AddCRC_nSend(request.buffer().data());
    statusAnswered = true;
    waitTicks = kBootloaderRequestTicks;
}

void Serial_Connect::HandleLineWithoutCheck(QByteArrayView text)
{
    if (text == kBootloaderLine)
        Accept();
    if (!text.contains('$') || !text.contains('\n'))
        return;
    const QString line = QString::fromUtf8(text);
    emit GotMessageNoCRC(line);
    emit GotMessage(line);
}
