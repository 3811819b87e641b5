#pragma once

#include <QProgressBar>

/// A progress bar that is painted once for each percent, and at both ends of its range; its value
/// is always the newest. A plain bar looks at every new value whether it shows, and lays its text
/// out for that, which takes as long as to answer a line.
class ProgressBar : public QProgressBar
{
public:
    using QProgressBar::QProgressBar;

protected:
    void initStyleOption(QStyleOptionProgressBar* option) const override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool m_painting = false;
};
