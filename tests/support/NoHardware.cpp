// Replaces Qt's own functions in programs whose ports are in memory (MemoryPort): no port of this
// computer is opened, and nothing sleeps until a line has left. The definitions of the executable
// come before those of the Qt libraries.

#include "tests/support/NoHardware.h"

#include <QSerialPortInfo>
#include <QThread>

#include <utility>

namespace {

std::chrono::microseconds slept{};

} // namespace

std::chrono::microseconds takeSlept()
{
    return std::exchange(slept, {});
}

QList<QSerialPortInfo> QSerialPortInfo::availablePorts()
{
    return {};
}

void QThread::msleep(unsigned long milliseconds)
{
    slept += std::chrono::milliseconds(milliseconds);
}

void QThread::usleep(unsigned long microseconds)
{
    slept += std::chrono::microseconds(microseconds);
}
