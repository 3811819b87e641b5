#include "bootload/DialogBootload.h"
#include "bootload/FirmwareFile.h"
#include "bootload/ReplyField.h"
#include "bootload/Wire.h"
#include "ui_DialogBootload.h"

using protocol::hexValue;

namespace {

/// True when the read-back line carries the firmware bytes at `address`.
bool matchesFirmware(QByteArrayView line, const DataLineBytes& expected)
{
    constexpr int kFirstByteField = 2;
    int index = kFirstByteField;
    for (const char byte : expected) {
        if (hexValue(fieldText(line, index)) != static_cast<quint8>(byte))
            return false;
        ++index;
    }
    return true;
}

} // namespace

bool DialogBootload::GotEACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase == PhaseWriting || port->phase == PhaseChecking;
    const bool erases = port->fwStep == FirmwareErase || port->fwStep == FirmwareData;
    if (port->state != StateFirmware || !writes || !erases)
        return false;
    port->fwStep = FirmwareData;
    port->eraseUnanswered = false;
    port->ticks = kDataTicks;
    StepAllPorts();
    return true;
}

bool DialogBootload::GotDACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase >= PhaseWriting && port->phase <= PhaseFirmwareDone;
    if (port->state != StateFirmware || !writes || port->fwStep != FirmwareData)
        return false;
    // Left over from the page before: counted for this one, its first line would never be sent.
    if (port->eraseUnanswered)
        return false;
    port->ticks = kDataTicks;
    port->flashAddress += kDataLineSize;
    if (port->flashAddress % kPageSize == 0) {
        port->fwStep = FirmwareProgram;
        port->ticks = kProgramTicks;
    }
    const int progress = CurrentPosition(port->flashAddress);
    StepAllPorts();
    ui->progressBarLoad->setValue(progress);
    return true;
}

bool DialogBootload::GotPACK(PortTest* port, QByteArrayView)
{
    if (port->state != StateFirmware)
        return false;
    if (port->phase == PhaseWriting && port->fwStep == FirmwareProgram) {
        if (port->flashAddress >= kFirmwareLast) {
            FirmwareDone(port);
            StartImages(port);
        }
    } else if (port->phase == PhaseChecking && port->fwStep == FirmwareProgramChecked) {
        FirmwareDone(port);
        port->state = StateAskMainVersion;
    } else {
        return false;
    }
    port->fwStep = FirmwareErase;
    port->ticks = kDataTicks;
    StepAllPorts();
    return true;
}

void DialogBootload::FirmwareDone(PortTest* port)
{
    port->flashAddress = kFirmwareStart;
    port->phase = PhaseFirmwareDone;
    ui->progressBarLoad->setValue(TotalSize());
}

bool DialogBootload::GotCACK(PortTest* port, QByteArrayView)
{
    if (port->state != StateFirmware || port->phase != PhaseChecking
        || port->fwStep != FirmwareProgram)
        return false;
    port->fwStep = FirmwareProgramChecked;
    port->ticks = kProgramTicks;
    StepAllPorts();
    return true;
}

bool DialogBootload::GotVACK(PortTest* port, QByteArrayView line)
{
    // Above this address the board keeps data of its own: differences there do not count.
    constexpr quint32 kLastCompared = 0xEFF97;
    constexpr int kFieldsBehindWord = 1 + kDataLineSize;

    if (port->phase != PhaseFirmwareDone || fieldCount(line.data()) < kFieldsBehindWord)
        return false;
    // The session's state stands for the address it waits for; any other line is not its own.
    const quint32 address = hexValue(fieldText(line, 1));
    if (address != static_cast<quint32>(port->state))
        return false;

    const bool matches = matchesFirmware(line, readFirmware(port->file, address));
    port->ticks = kDataTicks;
    if (matches || address > kLastCompared)
        Verified(port, static_cast<qint32>(address) + kDataLineSize);
    else
        Report(QStringLiteral("Veify Failed"));
    StepAllPorts();
    return true;
}

void DialogBootload::Verified(PortTest* port, qint32 end)
{
    port->flashAddress = end;
    ui->progressBarVerify->setValue(CurrentPosition(end));
    if (end >= kFirmwareLast) {
        port->phase = PhaseVerified;
        Report(QStringLiteral("Veify Finished"));
        ui->progressBarVerify->setValue(TotalSize());
    }
}
