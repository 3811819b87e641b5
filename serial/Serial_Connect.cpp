// The service's construction, its control from outside, and what it sends.

#include "serial/Serial_Connect.h"
#include "serial/Settings.h"

#include "protocol/Crc.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// Positions in a line are counted in 8 bits here, and after the text there must be room for "*",
// four digits, the line feed and the NUL.
constexpr std::size_t kMaxTextLength = 247;

} // namespace

Serial_Connect::Serial_Connect(Settings* shared, QString firstVersion, QString secondVersion)
    : primaryVersion(std::move(firstVersion)), secondaryVersion(std::move(secondVersion)),
      settings(shared)
{
}

Serial_Connect::~Serial_Connect() = default;

void Serial_Connect::Connect() { }
void Serial_Connect::Close() { }

void Serial_Connect::Accept()
{
    portFound = false;
    settings->deviceReady = true;
}

void Serial_Connect::Reject()
{
    settings->port->close();
    checkingEnabled = false;
}

void Serial_Connect::HoldChecking(bool hold)
{
    holdChecking = hold;
}

void Serial_Connect::WriteMessage(const QString& text)
{
    Write(text.toUtf8());
}

qint64 Serial_Connect::WriteMessage(QByteArray& data)
{
    return Write(data);
}

void Serial_Connect::AddCRC_nSend(char* line)
{
    const std::size_t length = strnlen(line, kMaxTextLength + 1);
    if (length > kMaxTextLength)
        return;
    const char* const textEnd = line + length;
    const char* const start = std::find(static_cast<const char*>(line), textEnd, '$');
    if (start == textEnd)
        return;

    char* end = line + length;
    const quint32 crc = protocol::crcOf({start + 1, textEnd});
    *end++ = '*';
    end += u32ToHexStr(crc, end);
    // Directly after the last digit, however many there are: unlike the update dialog's lines, one
    // with a short checksum keeps its line feed.
    *end++ = '\n';
    *end = '\0';
    if (sendEnabled)
        Write(QByteArrayView(line, end));
}

qint64 Serial_Connect::Write(QByteArrayView bytes)
{
    const qint64 taken = settings->port->write(bytes.data(), bytes.size());
    // The hunt may close the port in the next tick, and closing drops what is still waiting.
    if (taken > 0)
        settings->port->flush();
    return taken;
}

unsigned int Serial_Connect::FromHex(char c)
{
    return HexCharDecode(c);
}

int Serial_Connect::StrTo32(const char* text)
{
    const bool negative = *text == '-';
    // Unsigned throughout: there the wrap at 32 bits is defined.
    const quint32 value = StrToU32(negative ? text + 1 : text);
    return static_cast<int>(negative ? 0U - value : value);
}
