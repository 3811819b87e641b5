// qtpingpong PORT LINES: what pingpong does, by Qt's serial port and event loop, without a window:
// the least that a program on this toolkit can take.

#include <QCoreApplication>
#include <QFile>
#include <QSerialPort>
#include <QTimer>

#include <cstdio>

namespace {

constexpr qint32 kFastBaudRate = 921600;
constexpr int kUntilHeard = 500; // ms

class PingPong
{
public:
    PingPong(const QString& portName, QByteArrayList lines) : m_lines(std::move(lines))
    {
        m_port.setPortName(portName);
        m_port.setBaudRate(QSerialPort::Baud19200);
        QObject::connect(&m_port, &QSerialPort::readyRead, &m_port, [this] { take(); });
    }

    [[nodiscard]] bool start()
    {
        if (!m_port.open(QIODevice::ReadWrite))
            return false;
        send("$BOOTLOADM*9FEC\n");
        // Until the board has surely heard it, at the old speed.
        QTimer::singleShot(kUntilHeard, &m_port, [this] { m_port.setBaudRate(kFastBaudRate); });
        return true;
    }

private:
    void send(const QByteArray& line)
    {
        m_port.write(line);
        m_port.flush();
    }

    void take()
    {
        m_received += m_port.readAll();
        if (!m_received.endsWith('\n'))
            return;
        m_received.clear();
        if (m_next > m_lines.size())
            return;
        if (m_next == m_lines.size())
            QCoreApplication::quit();
        else
            send(m_lines.at(m_next));
        ++m_next;
    }

    QSerialPort m_port;
    QByteArrayList m_lines;
    qsizetype m_next = 0;
    QByteArray m_received;
};

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fputs("usage: qtpingpong PORT LINES\n", stderr);
        return 2;
    }
    QFile file(arguments.at(2));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: %s\n", argv[2], qPrintable(file.errorString()));
        return 1;
    }
    QByteArrayList lines{"$G\n"};
    while (!file.atEnd())
        lines.append(file.readLine());
    PingPong pingPong(arguments.at(1), std::move(lines));
    if (!pingPong.start()) {
        std::fprintf(stderr, "%s cannot be opened\n", argv[1]);
        return 1;
    }
    return QCoreApplication::exec();
}
