#include "bootload/WireLog.h"

#include "bootload/Log.h"

#include <utility>

void WireLog::sent(const QString& portName, QByteArrayView line, bool onItsWay)
{
    add(portName, onItsWay ? "TX" : "not sent", line);
}

void WireLog::received(const QString& portName, QByteArrayView line)
{
    add(portName, "RX", line);
}

void WireLog::add(const QString& portName, const char* what, QByteArrayView line)
{
    if (!logWire().isDebugEnabled())
        return;
    m_waiting.append({portName, what, line.toByteArray()});
    if (m_holds == 0)
        write();
}

void WireLog::write()
{
    const QList<Entry> entries = std::exchange(m_waiting, {});
    for (const Entry& entry : entries)
        qCDebug(logWire).noquote().nospace() << entry.portName << ' ' << entry.what << ' '
                                             << QString::fromUtf8(entry.line.trimmed());
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
