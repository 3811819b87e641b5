#include "tests/serial/ServiceFixture.h"

#include <utility>

ServiceFixture::ServiceFixture()
    : settings{&port, false, {}, {}, false},
      service(&settings, QStringLiteral("A.20a"), QStringLiteral("1.00a")), probe(service)
{
    port.open(QIODevice::ReadWrite);
    QObject::connect(&port, &QSerialPort::readyRead, &service, &Serial_Connect::SerialGotData);
    QObject::connect(&service, &Serial_Connect::GotMessage, &service,
        [this](const QString& line) { m_signals << QStringLiteral("GotMessage ") + line; });
    QObject::connect(&service, &Serial_Connect::GotMessageNoCRC, &service,
        [this](const QString& line) { m_signals << QStringLiteral("GotMessageNoCRC ") + line; });
}

QByteArray ServiceFixture::sent()
{
    return std::exchange(port.written, {}).join();
}

QStringList ServiceFixture::takeSignals()
{
    return std::exchange(m_signals, {});
}
