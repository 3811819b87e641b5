#pragma once

#include <QtGlobal>

#include <chrono>

/// \file
/// The numbers of a session: its states and steps (the protocol's numbers), its waits (in steps)
/// and the times on its line.

/// The time from one step of a session to the next.
inline constexpr std::chrono::milliseconds kTickInterval{500};

/// The jobs; any other number is treated like `JobUpdate`.
enum JobMode : int {
    JobUpdate = 0,
    JobImagesOnly = 1,
    JobEraseImages = 2,
};

/// What a session does in its next step; the numbers are the protocol's.
enum SessionState : qint32 {
    StateLoad = 0,
    StateStart = 1,
    StateProbe = 2,
    StateWaitForBootloader = 3,
    StateEraseImages = 4,
    StateSendImages = 5,
    StateReopenFast = 6,
    StateAskMainVersion = 7,
    StateAskSecondVersion = 8,
    StateAskForBootloader = 9,
    StateEraseFromStart = 10,
    StateFirmware = 11,
    StateFinish = 15,
};

/// How far the bootloader is with the firmware.
enum BootPhase : qint32 {
    PhaseNotCaptured = 0,
    PhaseWriting = 1,
    PhaseChecking = 2,
    PhaseFirmwareDone = 3,
    PhaseVerified = 4,
};

/// Where a session is within a page of firmware.
enum FirmwareStep : qint32 {
    FirmwareErase = 0,
    FirmwareData = 1,
    FirmwareProgram = 2,
    FirmwareProgramChecked = 3,
};

/// Where a session is within an image.
enum ImageStep : qint32 {
    ImageAnnounce = 0,
    ImageBlocks = 1,
    ImageRestart = 2,
};

/// Where a session is within erasing all images; kept in `imageStep` too.
enum EraseStep : qint32 {
    EraseSend = 0,
    EraseWait = 1,
};

/// Probing lines in all; with fewer than the second number left they ask for the bootloader.
inline constexpr qint32 kProbeLines = 10;
inline constexpr qint32 kProbesForBootloader = 3;

/// How often the versions and the bootloader are asked for after a check. Dormant: nothing leads
/// there, and nothing counts them.
inline constexpr qint32 kVersionRequests = 3;
inline constexpr qint32 kBootloaderRequests = 5;

/// Steps after which a firmware line is sent: an erase or data line, a program or check line. An
/// acknowledgement sets `ticks` to this number so that the next line leaves at once.
inline constexpr qint32 kDataTicks = 4;
inline constexpr qint32 kProgramTicks = 18;

/// How often a page is started over because one of its data lines was resent, or because its
/// program line got no answer. After that it is programmed as it is.
inline constexpr qint32 kMostPageRefills = 3;

/// How often a program line is sent before the page is started over.
inline constexpr qint32 kMostProgramLines = 4;

/// Steps to wait for the answer to an image header, a block or an erase command; before an image is
/// started over; and for the end of an erase that the board says is going on.
inline constexpr qint32 kImageAnswerWait = 3;
inline constexpr qint32 kImageRestartWait = 6;
inline constexpr qint32 kEraseGoingOnWait = 120;

/// Steps in the last state before the one that closes the port.
inline constexpr qint32 kFinishTicks = 3;

/// Bytes that may wait for a device to take them before further lines are left out.
inline constexpr qint64 kMaxUnsentBytes = qint64{64} * 1024;

/// How long the computer and the adapter may hold a line back before it is on the wire.
inline constexpr std::chrono::milliseconds kAdapterDelay{50};

/// How long an answer may take in all: the board's work (erasing a page of flash is the slowest),
/// and the adapter and the computer, which may hold the answer back.
inline constexpr std::chrono::milliseconds kAnswerTime{450};
