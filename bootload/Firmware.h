#pragma once

#include "bootload/Effect.h"
#include "bootload/PortTest.h"

/// Progress steps of a whole firmware transfer.
[[nodiscard]] constexpr int firmwareProgressSteps()
{
    return 913414;
}

/// The progress step, 0 to `firmwareProgressSteps()` - 1, of the firmware address `address`.
[[nodiscard]] int firmwareProgress(int address);

/// The transfer of the firmware: erases, fills and programs page after page. The state of a session
/// is in its port.
class Firmware
{
public:
    /// Reads the start address and goes to the beginning of the firmware.
    static void Start(PortTest& port);
    /// Opens the firmware for reading.
    static void Open(PortTest& port);
    [[nodiscard]] static Effect Step(PortTest& port);

    // One function for each reply; `line` is the whole line.
    [[nodiscard]] static Outcome GotEACK(PortTest& port, QByteArrayView line);
    [[nodiscard]] static Outcome GotDACK(PortTest& port, QByteArrayView line);
    [[nodiscard]] static Outcome GotPACK(PortTest& port, QByteArrayView line);
    [[nodiscard]] static Outcome GotCACK(PortTest& port, QByteArrayView line);
    [[nodiscard]] static Outcome GotVACK(PortTest& port, QByteArrayView line);
};
