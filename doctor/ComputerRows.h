#pragma once

#include "doctor/Row.h"

#include <QList>

namespace doctor {

struct Facts;

/// The updater's file name, without the ending that Windows has.
inline constexpr QLatin1StringView kUpdaterProgram("annealing-db-updater");
/// The name of the rule that sets adapters up on Linux.
inline constexpr QLatin1StringView kRuleName("60-annealing-db-updater.rules");

/// What `facts` mean for the updater: of each adapter, then of the computer.
[[nodiscard]] QList<Row> rowsOf(const Facts& facts);

} // namespace doctor
