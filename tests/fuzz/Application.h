#pragma once

#include "tests/fuzz/Quiet.h"

#include <QApplication>

/// Starts Qt's application once, without a display and with the log switched off.
inline void startApplication()
{
    if (QCoreApplication::instance() != nullptr)
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    beQuiet();
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    // Lives until the process ends.
    static auto* const application = new QApplication(argc, argv);
    Q_UNUSED(application)
}

/// Gives widgets the events that have come together; a run leaves a few behind.
inline void handleEvents()
{
    constexpr int kRunsBetween = 256;
    static int runs = 0;
    if (++runs % kRunsBetween == 0)
        QCoreApplication::processEvents();
}
