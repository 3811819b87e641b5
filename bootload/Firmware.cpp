// The firmware's way to the board: erase a page, fill it, program it, for each of its pages.

#include "bootload/CompiledSet.h"
#include "bootload/Log.h"
#include "bootload/UpdateJob.h"
#include "protocol/WireText.h"

using protocol::hexValue;

namespace {

/// True when the read-back line carries the firmware bytes `expected`.
bool matchesFirmware(QByteArrayView line, const DataLineBytes& expected)
{
    constexpr int kFirstByteField = 2;
    int index = kFirstByteField;
    for (const char byte : expected) {
        if (hexValue(replyField(line, index)) != static_cast<quint8>(byte))
            return false;
        ++index;
    }
    return true;
}

} // namespace

int firmwareProgress(int address)
{
    // Two address ranges share the scale: the firmware and the seven addresses above it that fill
    // the bar's last steps. What lies between them, and above, shows as the end of the first.
    constexpr int kFirstOfTail = 0xEEFF8;
    constexpr int kLastOfTail = 0xEEFFE;
    constexpr int kTailOffset = 0xFFF9;
    constexpr int kBetween = protocol::kFirmwareLast - protocol::kFirmwareStart;

    if (address < protocol::kFirmwareLast)
        return qMax(address, protocol::kFirmwareStart) - protocol::kFirmwareStart;
    if (address >= kFirstOfTail && address <= kLastOfTail)
        return address - kTailOffset;
    return kBetween;
}

void UpdateJob::LoadStartAddress(PortTest* port)
{
    constexpr qint64 kAddressBytes = 4;
    QFile& file = port->file;
    file.close();
    file.setFileName(kResourcePrefix + kAddressFile);
    qCDebug(logJob) << (file.exists() ? "File exists Address.bin" : "Cannot find file Address.bin");
    QByteArray bytes;
    if (file.open(QIODevice::ReadOnly)) {
        file.setTextModeEnabled(false);
        qCDebug(logJob) << "Opened address.bin";
        bytes = file.read(kAddressBytes);
    }
    port->startAddress = startAddressOf(bytes);
}

void UpdateJob::OpenFirmware(PortTest* port)
{
    QFile& file = port->file;
    file.close();
    file.setFileName(kResourcePrefix + kFirmwareFile);
    if (file.open(QIODevice::ReadOnly))
        qCDebug(logJob) << "Opened " << file.fileName();
}

void UpdateJob::StepFirmware(PortTest* port)
{
    // In this order: right after an erase its page's data is tried in the same step, too early on
    // purpose, since `ticks` has just become 0.
    if (port->fwStep == FirmwareErase && port->ticks >= kDataTicks)
        ErasePage(port);
    if (port->fwStep == FirmwareData && port->ticks >= kDataTicks) {
        // Data for a page that the board has not erased would be lost.
        if (port->eraseUnanswered)
            ErasePage(port);
        else
            SendDataLine(port);
    }
    if (port->fwStep == FirmwareProgram && port->ticks >= kProgramTicks) {
        if (port->phase == PhaseChecking)
            CheckFirmware(port);
        else if (port->phase == PhaseWriting)
            ProgramPage(port);
    }
    if (port->fwStep == FirmwareProgramChecked && port->ticks >= kProgramTicks
        && port->phase == PhaseChecking)
        ProgramPage(port);
    ++port->ticks;
}

void UpdateJob::ErasePage(PortTest* port)
{
    port->ticks = 0;
    m_host.Send(port, protocol::erasePageLine(port->flashAddress));
    port->fwStep = FirmwareData;
    port->eraseUnanswered = true;
}

void UpdateJob::SendDataLine(PortTest* port)
{
    port->ticks = 0;
    const DataLineBytes bytes = readFirmware(port->file, port->flashAddress);
    m_host.Send(port, protocol::dataLine(port->flashAddress, bytes));
}

void UpdateJob::CheckFirmware(PortTest* port)
{
    port->ticks = 0;
    const protocol::Line line = protocol::checkFirmwareLine();
    m_host.Send(port, line);
    qCDebug(logJob) << line.view();
}

void UpdateJob::ProgramPage(PortTest* port)
{
    port->ticks = 0;
    // The address has moved on to the end of the page by now.
    m_host.Send(port, protocol::programPageLine(port->flashAddress - protocol::kPageSize));
    qCDebug(logJob) << "Left to write" << protocol::kFirmwareLast - port->flashAddress;
}

ReplyEffect UpdateJob::GotEACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase == PhaseWriting || port->phase == PhaseChecking;
    const bool erases = port->fwStep == FirmwareErase || port->fwStep == FirmwareData;
    if (port->state != StateFirmware || !writes || !erases)
        return {.acts = false};
    port->fwStep = FirmwareData;
    port->eraseUnanswered = false;
    port->ticks = kDataTicks;
    return {.stepAllPorts = true};
}

ReplyEffect UpdateJob::GotDACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase >= PhaseWriting && port->phase <= PhaseFirmwareDone;
    if (port->state != StateFirmware || !writes || port->fwStep != FirmwareData)
        return {.acts = false};
    // Left over from the page before: counted for this one, its first line would never be sent.
    if (port->eraseUnanswered)
        return {.acts = false};
    port->ticks = kDataTicks;
    port->flashAddress += protocol::kDataLineSize;
    if (port->flashAddress % protocol::kPageSize == 0) {
        port->fwStep = FirmwareProgram;
        port->ticks = kProgramTicks;
    }
    return {.stepAllPorts = true, .programProgress = firmwareProgress(port->flashAddress)};
}

ReplyEffect UpdateJob::GotPACK(PortTest* port, QByteArrayView)
{
    ReplyEffect effect{.stepAllPorts = true};
    const bool writes = port->phase == PhaseWriting && port->fwStep == FirmwareProgram;
    const bool checks = port->phase == PhaseChecking && port->fwStep == FirmwareProgramChecked;
    if (port->state != StateFirmware || !(writes || checks))
        return {.acts = false};
    if (checks || port->flashAddress >= protocol::kFirmwareLast) {
        port->flashAddress = protocol::kFirmwareStart;
        port->phase = PhaseFirmwareDone;
        effect.programProgress = firmwareProgressSteps();
        if (checks)
            port->state = StateAskMainVersion;
        else
            StartImages(port);
    }
    port->fwStep = FirmwareErase;
    port->ticks = kDataTicks;
    return effect;
}

// Dormant, like all that belongs to the checking: nothing sets `PhaseChecking`.
ReplyEffect UpdateJob::GotCACK(PortTest* port, QByteArrayView)
{
    if (port->state != StateFirmware || port->phase != PhaseChecking
        || port->fwStep != FirmwareProgram)
        return {.acts = false};
    port->fwStep = FirmwareProgramChecked;
    port->ticks = kProgramTicks;
    return {.stepAllPorts = true};
}

ReplyEffect UpdateJob::GotVACK(PortTest* port, QByteArrayView line)
{
    // Above this address the board keeps data of its own: differences there do not count.
    constexpr quint32 kLastCompared = 0xEFF97;
    constexpr int kFieldsAfterWord = 1 + protocol::kDataLineSize;

    if (port->phase != PhaseFirmwareDone
        || protocol::WireText::fieldCount(line.data()) < kFieldsAfterWord)
        return {.acts = false};
    // The number of the session's state is taken for the address that it waits for, as the board's
    // protocol has it; a line for any other address is ignored.
    const quint32 address = hexValue(replyField(line, 1));
    if (address != static_cast<quint32>(port->state))
        return {.acts = false};

    ReplyEffect effect{.stepAllPorts = true};
    port->ticks = kDataTicks;
    if (matchesFirmware(line, readFirmware(port->file, address)) || address > kLastCompared) {
        port->flashAddress = static_cast<qint32>(address) + protocol::kDataLineSize;
        effect.imageProgress = firmwareProgress(port->flashAddress);
        if (port->flashAddress >= protocol::kFirmwareLast) {
            port->phase = PhaseVerified;
            m_host.Report(QStringLiteral("Veify Finished"));
            effect.imageProgress = firmwareProgressSteps();
        }
    } else {
        m_host.Report(QStringLiteral("Veify Failed"));
    }
    return effect;
}
