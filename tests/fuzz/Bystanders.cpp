// What stands in for Qt's own in the fuzz targets: no run may open a port of this computer, and
// none needs to wait for a line that is on no wire. The definitions of the executable come before
// those of Qt's libraries.

#include <QSerialPortInfo>
#include <QThread>

QList<QSerialPortInfo> QSerialPortInfo::availablePorts()
{
    return {};
}

void QThread::msleep(unsigned long) { }
void QThread::usleep(unsigned long) { }
