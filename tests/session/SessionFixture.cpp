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
