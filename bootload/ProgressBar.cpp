#include "bootload/ProgressBar.h"

#include <QScopedValueRollback>

void ProgressBar::initStyleOption(QStyleOptionProgressBar* option) const
{
    // Asked for a new value, an option as it comes says that the bar has no width: no difference
    // shows, and what is left of the question is the percentage.
    if (m_painting)
        QProgressBar::initStyleOption(option);
}

void ProgressBar::paintEvent(QPaintEvent* event)
{
    const QScopedValueRollback<bool> painting(m_painting, true);
    QProgressBar::paintEvent(event);
}
