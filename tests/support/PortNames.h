#pragma once

#include <QString>

#include <unistd.h>

/// The digits that the number has in a name.
inline constexpr int kPortNumberDigits = 2;

/// A name for a port that no other process uses at this time: Qt Serial Port locks by name, for all
/// programs of the computer. `number` is 0 to 99.
[[nodiscard]] inline QString uniquePortName(int number)
{
    return QStringLiteral("ttyUSB%1%2")
        .arg(::getpid())
        .arg(number, kPortNumberDigits, 10, QLatin1Char('0'));
}
