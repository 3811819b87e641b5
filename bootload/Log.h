#pragma once

#include <QLoggingCategory>

/// The course of the job: ports, resources, states, what a reply made happen. On by default at
/// debug level; QT_LOGGING_RULES="updater.job=false" switches it off.
Q_DECLARE_LOGGING_CATEGORY(logJob)

/// Every line on the wire, sent and received. On by default at debug level;
/// QT_LOGGING_RULES="updater.wire=false" switches it off.
Q_DECLARE_LOGGING_CATEGORY(logWire)
