#pragma once

#include <QElapsedTimer>
#include <QWidget>

#include <chrono>

/// Lets a widget that changes at every line be painted at most once in `kPaintInterval`: nobody
/// reads faster, and painting takes longer than a line. What the widget holds is always the newest;
/// what has not been painted is so by a later change or by whoever updates it at times.
class SeldomPaint
{
public:
    static constexpr std::chrono::milliseconds kPaintInterval{100};

    /// Calls `change`, which changes what `widget` shows.
    template <typename Change> void show(QWidget& widget, Change change)
    {
        const bool paint = !m_painted.isValid() || m_painted.hasExpired(kPaintInterval.count());
        // For this change alone: a widget without updates would be left out when its window is
        // painted.
        widget.setAttribute(Qt::WA_UpdatesDisabled, !paint);
        change();
        widget.setAttribute(Qt::WA_UpdatesDisabled, false);
        if (paint)
            m_painted.start();
    }

private:
    QElapsedTimer m_painted;
};
