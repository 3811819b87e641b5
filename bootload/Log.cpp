#include "bootload/Log.h"

Q_LOGGING_CATEGORY(logJob, "updater.job")
Q_LOGGING_CATEGORY(logWire, "updater.wire")
