#include "tests/serial/PtyLink.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kArrivalTimeout = 2000; // ms

// Follows what the service has written, so that the end of it is known without a pause.
constexpr char kMark = '\x01';

} // namespace

PtyLink::PtyLink()
    : settings{&port, false, {}, {}, false},
      service(&settings, QStringLiteral("A.20a"), QStringLiteral("1.00a")), probe(service)
{
    termios raw{};
    cfmakeraw(&raw);
    if (openpty(&m_far, &m_near, nullptr, &raw, nullptr) != 0)
        qFatal("no pseudo terminal to be had");
    port.setPortName(QString::fromLocal8Bit(ttyname(m_near)));
    if (!port.open(QIODevice::ReadWrite))
        qFatal("cannot open the pseudo terminal");
    QObject::connect(&service, &Serial_Connect::GotMessage, &service,
        [this](const QString& line) { m_signals << QStringLiteral("GotMessage ") + line; });
    QObject::connect(&service, &Serial_Connect::GotMessageNoCRC, &service,
        [this](const QString& line) { m_signals << QStringLiteral("GotMessageNoCRC ") + line; });
}

PtyLink::~PtyLink()
{
    port.close();
    ::close(m_near);
    ::close(m_far);
}

void PtyLink::receive(const QByteArray& bytes)
{
    QCOMPARE(::write(m_far, bytes.constData(), static_cast<std::size_t>(bytes.size())),
        static_cast<ssize_t>(bytes.size()));
    while (port.bytesAvailable() < bytes.size())
        QVERIFY(port.waitForReadyRead(kArrivalTimeout));
    service.SerialGotData();
}

QByteArray PtyLink::sent()
{
    if (!port.isOpen())
        return {};
    port.write(&kMark, 1);
    port.flush();
    QByteArray bytes;
    std::array<char, protocol::kLineCapacity> chunk{};
    pollfd arrival{m_far, POLLIN, 0};
    while (!bytes.endsWith(kMark) && poll(&arrival, 1, kArrivalTimeout) > 0) {
        const ssize_t size = ::read(m_far, chunk.data(), chunk.size());
        if (size <= 0)
            break;
        bytes.append(chunk.data(), size);
    }
    bytes.chop(1);
    return bytes;
}

QByteArray PtyLink::arrived()
{
    std::array<char, protocol::kLineCapacity> chunk{};
    pollfd arrival{m_far, POLLIN, 0};
    if (poll(&arrival, 1, kArrivalTimeout) <= 0)
        return {};
    const ssize_t size = ::read(m_far, chunk.data(), chunk.size());
    return {chunk.data(), std::max<ssize_t>(size, 0)};
}

QStringList PtyLink::takeSignals()
{
    return std::exchange(m_signals, {});
}
