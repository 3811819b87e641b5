#pragma once

#include <QStringList>

/// Collects what goes to Qt's log for as long as it lives, and prints none of it. One at a time.
class DebugLog
{
public:
    DebugLog()
    {
        lines().clear();
        m_previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&,
                                                const QString& text) { lines().append(text); });
    }
    ~DebugLog() { qInstallMessageHandler(m_previous); }
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    /// The lines that contain `text`, in the order in which they were written.
    [[nodiscard]] static QStringList with(const QString& text) { return lines().filter(text); }

    /// How many lines contain `text`.
    [[nodiscard]] static qsizetype count(const QString& text) { return with(text).size(); }

private:
    static QStringList& lines()
    {
        static QStringList all;
        return all;
    }

    QtMessageHandler m_previous;
};
