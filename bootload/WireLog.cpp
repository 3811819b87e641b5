#include "bootload/WireLog.h"

#include "bootload/Log.h"

#include <utility>

void WireLog::sent(const QString& portName, QByteArrayView line, bool onItsWay)
{
    add(portName, onItsWay ? " TX " : " not sent ", line);
}

void WireLog::received(const QString& portName, QByteArrayView line)
{
    add(portName, " RX ", line);
}

void WireLog::add(const QString& portName, const char* what, QByteArrayView line)
{
    if (!logWire().isDebugEnabled())
        return;
    m_waiting.append(portName.toUtf8() + what + line.trimmed().toByteArray());
    if (m_holds == 0)
        write();
}

void WireLog::write()
{
    const QByteArrayList lines = std::exchange(m_waiting, {});
    for (const QByteArray& line : lines)
        qCDebug(logWire).noquote() << QString::fromUtf8(line);
}

WireLog::Hold::Hold(WireLog& log) : m_log(log)
{
    ++m_log.m_holds;
}

WireLog::Hold::~Hold()
{
    if (--m_log.m_holds == 0)
        m_log.write();
}
