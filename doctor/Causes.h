#pragma once

#include "doctor/Row.h"

#include <QStringList>

namespace doctor {

/// Everything that the doctor can say. Where the systems want different things done, a cause has a
/// name for each.
enum class Cause {
    // This computer: the adapter
    AdapterThere,
    NoAdapter,
    OtherAdaptersOnly,
    ForeignDriver,
    SeveralAdapters,
    // its driver
    DriverThere,
    DriverNotLoaded,
    Driverless,
    NotStarted,
    VirtualPortOff,
    // whether its port opens
    MayOpen,
    MayNotOpen,
    NotHeld,
    OthersUnseen,
    HeldByProgram,
    HeldByUpdater,
    LockLeftBehind,
    Held,
    CannotBeOpened,
    Hangs,
    // its latency timer
    LatencyShort,
    LatencySet,
    LatencyLong,
    LatencyLongOnWindows,
    NoLatencyTimer,
    // the rule that sets it up
    RuleThere,
    RuleOverridden,
    RuleEmpty,
    RuleMissing,
    // A log: whether it is one
    NoLog,
    // how its job ended
    JobComplete,
    NoJob,
    PortForbidden,
    PortNotOpened,
    PortGone,
    NoAnswer,
    NoBootloader,
    NotUnderstood,
    BoardRestarted,
    BoardSilent,
    ClosedEarly,
    LogEndsEarly,
    // and what slowed it down
    AnswersKeptBack,
    LinesLost,
};

/// The row of `cause`. `arguments` fill the places %1, %2 and so on of its text, as the table in
/// Causes.cpp tells; one that is missing leaves its place empty.
[[nodiscard]] Row rowOf(Cause cause, const QStringList& arguments = {});

} // namespace doctor
