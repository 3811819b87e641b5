#include "tests/session/SessionFixture.h"

#include <utility>

SessionFixture::SessionFixture(int mode, int portCount, const ReleaseSetFiles& files)
    : DialogFixture(files), m_portCount(portCount)
{
    openDialog(mode);
}

void SessionFixture::addPorts()
{
    for (int i = 0; i < m_portCount; ++i) {
        auto port = std::make_unique<MemoryPort<PortTest>>();
        port->setPortName(QStringLiteral("ttyUSB%1").arg(i));
        port->setBaudRate(protocol::kApplicationBaudRate);
        port->portOpen = port->open(QIODevice::ReadWrite);
        port->state = StateStart;
        // The dialog frees its ports when it is closed.
        probe().addPort(port.release());
    }
}

QByteArray SessionFixture::takeSent(int index)
{
    return std::exchange(memoryPort(index).written, {}).join();
}

void SessionFixture::arrive(const QByteArray& bytes, int index)
{
    memoryPort(index).arrive(bytes);
}

SessionFields somewhere(const SessionFields& changes)
{
    return with({{"state", 0}, {"startAddress", 0x1400}, {"flashAddress", 0x1040}, {"phase", 1},
                    {"fwStep", 1}, {"retries", 4}, {"ticks", 1}, {"imageIndex", 1},
                    {"imageOffset", 0}, {"imageStep", 1}, {"imageWait", 2}, {"blockNumber", 9}},
        changes);
}

QByteArray hexByte(int value)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(2, '0');
}

QByteArrayList blockLines(const QByteArray& pixels)
{
    QByteArrayList lines;
    for (int offset = 0; offset < pixels.size(); offset += 256) {
        QByteArray line = "$F," + hexByte(offset / 256);
        const QByteArray block = pixels.mid(offset, 256);
        for (const char byte : block)
            line += "," + hexByte(static_cast<unsigned char>(byte));
        lines << line;
    }
    return lines;
}

QByteArray blockLine(int number, int image)
{
    return blockLines(smallImage(image)).at(number);
}

QByteArray erasedLine(const QByteArray& offset)
{
    return "$D," + offset + QByteArray(",FF").repeated(64);
}
