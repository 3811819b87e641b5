#include "tests/session/PortHolder.h"

#include <QCoreApplication>
#include <QSerialPort>

#include <cstdio>

namespace {

constexpr auto kHoldOption = "--hold";

} // namespace

PortHolder::PortHolder(const QString& portName)
{
    m_process.start(
        QCoreApplication::applicationFilePath(), {QLatin1StringView(kHoldOption), portName});
    if (!m_process.waitForStarted() || !m_process.waitForReadyRead())
        qFatal("the other process does not hold the port");
}

void PortHolder::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}

int PortHolder::runAsHolder(int argc, char** argv)
{
    if (argc != 3 || qstrcmp(argv[1], kHoldOption) != 0)
        return -1;
    QSerialPort port;
    port.setPortName(QString::fromLocal8Bit(argv[2]));
    if (!port.open(QIODevice::ReadWrite))
        return 1;
    std::puts("held");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
