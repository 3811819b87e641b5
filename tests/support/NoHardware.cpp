// Stands in for Qt's own in programs whose ports are in memory (MemoryPort): no port of this
// computer is opened, and nothing waits for a line that is on no wire. The definitions of the
// executable come before those of the Qt libraries.

#include <QSerialPortInfo>
#include <QThread>

QList<QSerialPortInfo> QSerialPortInfo::availablePorts()
{
    return {};
}

void QThread::msleep(unsigned long) { }
void QThread::usleep(unsigned long) { }
