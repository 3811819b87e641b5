#pragma once

#include <QByteArrayView>

#include <chrono>

/// \file
/// What stands on the wire between the program and the display board, and how long the program
/// waits: words, sizes, addresses, speeds and counts of steps.

/// One step of every session.
inline constexpr std::chrono::milliseconds kTickInterval{500};

/// Bytes that may wait for a device to take them before further lines are left out.
inline constexpr qint64 kMaxUnsentBytes = qint64{64} * 1024;

/// The lines that come and go paint the activity indicators no more often than this, besides each
/// step: a character cannot be read faster, and painting costs as much as a line.
inline constexpr std::chrono::milliseconds kActivityInterval{100};

/// Speed of the board's application, and of its bootloader, in baud.
inline constexpr qint32 kApplicationBaudRate = 19200;
inline constexpr qint32 kBootloaderBaudRate = 921600;

/// Bits on the wire for a byte: start bit, eight data bits, stop bit.
inline constexpr qint64 kBitsPerByte = 10;

/// What the computer and the adapter may keep a line for before it is on the wire.
inline constexpr std::chrono::milliseconds kAdapterDelay{50};

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

/// Steps of the erasing of all images share `imageStep`.
enum EraseStep : qint32 {
    EraseSend = 0,
    EraseWait = 1,
};

// Commands to the application.
inline constexpr QByteArrayView kWordMainVersion{"$MVER"}; // answered by its version
inline constexpr QByteArrayView kWordSecondVersion{"$SVER"}; // the same for its second part
inline constexpr QByteArrayView kWordEnterBootloader{
    "$BOOTLOADM"}; // not answered: the bootloader announces itself

// Commands to the bootloader.
inline constexpr QByteArrayView kWordErasePage{"$E,"}; // page address, 1
inline constexpr QByteArrayView kWordData{"$D,"}; // offset in the page, 64 bytes
inline constexpr QByteArrayView kWordProgramPage{"$P,"}; // page address, page size
inline constexpr QByteArrayView kWordCheck{"$C,"}; // first and last address
inline constexpr QByteArrayView kWordImage{"$I,"}; // number, version, width, height
inline constexpr QByteArrayView kWordBlock{"$F,"}; // block number, up to 256 bytes
inline constexpr QByteArrayView kWordEraseImages{"$A,1"}; // all of them
inline constexpr QByteArrayView kWordExit{"$X"}; // back to the application

/// Firmware: first and last address that is written, bytes of a page and of a data line.
inline constexpr qint32 kFirmwareStart = 0x1000;
inline constexpr qint32 kFirmwareLast = 0xDFFFF;
inline constexpr qint32 kPageSize = 0x1000;
inline constexpr qint32 kDataLineSize = 64;

/// What flash reads as where the firmware image has no byte.
inline constexpr char kErasedByte = '\xFF';

/// Bytes of an image in one block line.
inline constexpr qint32 kBlockSize = 256;

/// Probing lines: how many in all, and below how many left the bootloader is asked for.
inline constexpr qint32 kProbeLines = 10;
inline constexpr qint32 kProbesForBootloader = 3;

/// How often the versions and the bootloader are to be asked for after a check. Nothing leads
/// there, and nothing counts them.
inline constexpr qint32 kVersionRequests = 3;
inline constexpr qint32 kBootloaderRequests = 5;

/// Steps after which a firmware line goes out: an erase or data line, a program or check line. An
/// acknowledgement sets `ticks` to these so that the next line leaves at once.
inline constexpr qint32 kDataTicks = 4;
inline constexpr qint32 kProgramTicks = 18;

/// Steps to wait for the answer to an image header, a block or an erase command; before an image is
/// begun again; and for the end of an erase that the board says is going on.
inline constexpr qint32 kImageAnswerWait = 3;
inline constexpr qint32 kImageRestartWait = 6;
inline constexpr qint32 kEraseGoingOnWait = 120;

/// The port is closed in the step after this many in the last state.
inline constexpr qint32 kFinishTicks = 3;
