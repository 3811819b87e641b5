#pragma once

#include <QLoggingCategory>

/// Switches off the log: at thousands of runs a second it would be most of the work.
inline void beQuiet()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
}
