#pragma once

#include <QBasicTimer>
#include <QCoreApplication>
#include <QEvent>
#include <QWidget>

#include <chrono>
#include <utility>

/// Lets a window be painted at most once in `kPaintInterval`, whatever changes on it: nobody reads
/// faster, and painting takes longer than a line. Its widgets are always current; a change that
/// comes too soon is painted when the interval is over. A window that is uncovered is painted at
/// once: that is no update request.
class SeldomPaint : public QObject
{
public:
    static constexpr std::chrono::milliseconds kPaintInterval{100};

    /// `window` stays the caller's and outlives this object.
    explicit SeldomPaint(QWidget& window) : m_window(window) { window.installEventFilter(this); }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() != QEvent::UpdateRequest)
            return false;
        const bool tooSoon = m_interval.isActive();
        if (!tooSoon)
            m_interval.start(static_cast<int>(kPaintInterval.count()), this);
        m_waiting = tooSoon;
        return tooSoon;
    }

    void timerEvent(QTimerEvent*) override
    {
        m_interval.stop();
        if (std::exchange(m_waiting, false)) {
            QEvent request(QEvent::UpdateRequest);
            QCoreApplication::sendEvent(&m_window, &request);
        }
    }

private:
    QWidget& m_window;
    QBasicTimer m_interval;
    bool m_waiting = false;
};
