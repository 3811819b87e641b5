// peer_qt PORT RELEASE_SET: runs an update job by Qt's serial port and event loop without a window,
// to measure what a turnaround takes with this toolkit.

#include "tests/bench/JobLines.h"

#include <QCoreApplication>
#include <QSerialPort>
#include <QTimer>

#include <cstdio>
#include <exception>

namespace {

constexpr int kUntilHeard = 500; // ms until the board has surely heard it, at the slow speed

class Peer
{
public:
    Peer(const QString& portName, const QString& releaseSet) : m_lines(releaseSet)
    {
        m_port.setPortName(portName);
        m_port.setBaudRate(protocol::kApplicationBaudRate);
        QObject::connect(&m_port, &QSerialPort::readyRead, &m_port, [this] { receive(); });
    }

    [[nodiscard]] bool start()
    {
        if (!m_port.open(QIODevice::ReadWrite))
            return false;
        send(m_lines.askForBootloader());
        QTimer::singleShot(
            kUntilHeard, &m_port, [this] { m_port.setBaudRate(protocol::kBootloaderBaudRate); });
        return true;
    }

private:
    void send(QByteArrayView line)
    {
        m_port.write(line.data(), line.size());
        m_port.flush();
    }

    void receive()
    {
        m_received += m_port.readAll();
        if (!m_received.endsWith('\n'))
            return;
        try {
            send(m_lines.answerTo(m_received));
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "peer_qt: %s\n", failure.what());
            QCoreApplication::exit(1);
        }
        m_received.clear();
        if (m_lines.finished()) {
            m_port.close();
            QCoreApplication::quit();
        }
    }

    JobLines m_lines;
    QSerialPort m_port;
    QByteArray m_received;
};

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc != 3) {
        std::fputs("usage: peer_qt PORT RELEASE_SET\n", stderr);
        return 2;
    }
    try {
        Peer peer(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
        if (!peer.start()) {
            std::fprintf(stderr, "peer_qt: cannot open %s\n", argv[1]);
            return 1;
        }
        return QCoreApplication::exec();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "peer_qt: %s\n", failure.what());
        return 1;
    }
}
