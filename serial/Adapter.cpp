#include "serial/Adapter.h"

#include <QSerialPortInfo>

#ifdef Q_OS_UNIX
#include <QSocketNotifier>

#include <poll.h>
#endif

namespace adapter {

namespace {

#ifdef Q_OS_UNIX

/// Asks the terminal itself: the error does not tell an unplugged adapter from a full line, since
/// reading a terminal that has hung up sets no error and the one of an earlier call is reported.
bool isUnplugged(const QSerialPort& port, QSerialPort::SerialPortError)
{
    pollfd terminal{port.handle(), 0, 0};
    return ::poll(&terminal, 1, 0) > 0 && (terminal.revents & POLLHUP) != 0;
}

/// Reports a hang-up of `port`, which is open, until it closes.
void reportHangUp(QSerialPort& port)
{
    // For exceptions, since Qt's own notifier watches for reading.
    auto* const hangUp = new QSocketNotifier(port.handle(), QSocketNotifier::Exception, &port);
    const auto end = [hangUp] {
        hangUp->setEnabled(false);
        hangUp->deleteLater();
    };
    QObject::connect(&port, &QIODevice::aboutToClose, hangUp, end);
    QObject::connect(hangUp, &QSocketNotifier::activated, hangUp, [&port, end] {
        end();
        emit port.errorOccurred(QSerialPort::ResourceError);
    });
}

#else

/// On Windows a full line is no error: an error of a read or a wait means, under one code or
/// another, that the adapter was unplugged, and nothing is read after it.
bool isUnplugged(const QSerialPort&, QSerialPort::SerialPortError error)
{
    switch (error) {
    case QSerialPort::DeviceNotFoundError:
    case QSerialPort::PermissionError:
    case QSerialPort::ReadError:
    case QSerialPort::ResourceError:
    case QSerialPort::UnknownError:
        return true;
    default:
        return false;
    }
}

#endif

} // namespace

bool isOne(const QSerialPortInfo& info)
{
    return isOne(info.manufacturer());
}

bool isOne(const QString& manufacturer)
{
    return manufacturer.contains(QLatin1StringView("FTDI"));
}

bool open(QSerialPort& port)
{
    const bool opened = port.open(QIODevice::ReadWrite);
#ifdef Q_OS_UNIX
    if (port.handle() >= 0)
        reportHangUp(port);
#endif
    return opened;
}

bool closeIfUnplugged(QSerialPort& port, QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError || !port.isOpen())
        return false;
    if (isUnplugged(port, error)) {
        port.close();
        return true;
    }
#ifdef Q_OS_UNIX
    // After such an error Qt stops reading until it is asked for more.
    port.peek(1);
#endif
    return false;
}

} // namespace adapter
