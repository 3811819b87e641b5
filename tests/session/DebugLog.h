#pragma once

#include <QList>
#include <QStringList>

/// Collects what goes to Qt's log for as long as it lives, and prints none of it. One at a time.
class DebugLog
{
public:
    DebugLog()
    {
        entries().clear();
        m_previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext& context, const QString& text) {
                entries().append({QString::fromUtf8(context.category), text});
            });
    }
    ~DebugLog() { qInstallMessageHandler(m_previous); }
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    /// The lines that contain `text`, in the order in which they were written.
    [[nodiscard]] static QStringList with(const QString& text) { return all().filter(text); }

    /// How many lines contain `text`.
    [[nodiscard]] static qsizetype count(const QString& text) { return with(text).size(); }

    /// All lines, and those of a category, in the order in which they were written.
    [[nodiscard]] static QStringList all() { return linesOf({}); }
    [[nodiscard]] static QStringList in(const QString& category) { return linesOf(category); }

private:
    struct Entry
    {
        QString category;
        QString text;
    };

    static QStringList linesOf(const QString& category)
    {
        QStringList lines;
        for (const Entry& entry : std::as_const(entries())) {
            if (category.isEmpty() || entry.category == category)
                lines << entry.text;
        }
        return lines;
    }

    static QList<Entry>& entries()
    {
        static QList<Entry> all;
        return all;
    }

    QtMessageHandler m_previous;
};
