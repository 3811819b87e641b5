#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

/// The log of the lines on the wire, in the category `logWire`. Writing it takes time that
/// the next line would wait for, so it can be held back while there are lines to send. The order
/// among its own lines is kept; what goes to another category meanwhile is written before them.
class WireLog
{
public:
    /// Logs a line for `portName`; `onItsWay` is false when the port did not take it.
    void sent(const QString& portName, QByteArrayView line, bool onItsWay);
    /// Logs a line that was received on `portName`.
    void received(const QString& portName, QByteArrayView line);

    /// For as long as it lives, what is logged waits; then it is written, in order.
    class Hold
    {
    public:
        explicit Hold(WireLog& log);
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        WireLog& m_log;
    };

private:
    /// What is logged, put together only when it is written.
    struct Entry
    {
        QString portName;
        const char* what;
        QByteArray line;
    };

    void add(const QString& portName, const char* what, QByteArrayView line);
    void write();

    QList<Entry> m_waiting;
    int m_holds = 0;
};
