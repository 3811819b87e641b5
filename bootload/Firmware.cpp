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

/// True when a step of `port` sends its firmware line, `ticks` steps after the one before it.
bool lineIsDue(const PortTest& port, qint32 ticks)
{
    return port.ticks >= ticks && port.awaited.mayBeGivenUp();
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
    if (port->fwStep == FirmwareErase && lineIsDue(*port, kDataTicks))
        ErasePage(port);
    if (port->fwStep == FirmwareData && lineIsDue(*port, kDataTicks)) {
        // Data for a page that the board has not erased would be lost.
        if (port->awaited.kind() == LineKind::ErasePage)
            ErasePage(port);
        else
            SendDataLine(port);
    }
    if (port->fwStep == FirmwareProgram && lineIsDue(*port, kProgramTicks)) {
        if (port->phase == PhaseChecking)
            CheckFirmware(port);
        else if (port->phase == PhaseWriting)
            ProgramOrRefillPage(port);
    }
    if (port->fwStep == FirmwareProgramChecked && lineIsDue(*port, kProgramTicks)
        && port->phase == PhaseChecking)
        ProgramPage(port);
    ++port->ticks;
}

void UpdateJob::ErasePage(PortTest* port)
{
    port->ticks = 0;
    m_host.Send(port, protocol::erasePageLine(port->flashAddress));
    port->awaited.noteSent(LineKind::ErasePage, port->flashAddress);
    port->pageUncertain = false;
    port->fwStep = FirmwareData;
}

void UpdateJob::SendDataLine(PortTest* port)
{
    port->ticks = 0;
    const DataLineBytes bytes = readFirmware(port->file, port->flashAddress);
    m_host.Send(port, protocol::dataLine(port->flashAddress, bytes));
    port->awaited.noteSent(LineKind::Data, port->flashAddress);
    if (port->awaited.times() > 1)
        port->pageUncertain = true;
}

void UpdateJob::CheckFirmware(PortTest* port)
{
    port->ticks = 0;
    const protocol::Line line = protocol::checkFirmwareLine();
    m_host.Send(port, line);
    qCDebug(logJob) << line.view();
}

void UpdateJob::ProgramOrRefillPage(PortTest* port)
{
    // A board that does not program a page with a line missing does not answer, however often it is
    // asked.
    const bool inVain = port->awaited.kind() == LineKind::ProgramPage
        && port->awaited.times() >= kMostProgramLines;
    if (inVain && port->pageRefills < kMostPageRefills)
        RefillPage(port);
    else
        ProgramPage(port);
}

void UpdateJob::ProgramPage(PortTest* port)
{
    port->ticks = 0;
    // The address has moved on to the end of the page by now.
    m_host.Send(port, protocol::programPageLine(port->flashAddress - protocol::kPageSize));
    port->awaited.noteSent(LineKind::ProgramPage, port->flashAddress);
    qCDebug(logJob) << "Left to write" << protocol::kFirmwareLast - port->flashAddress;
}

ReplyEffect UpdateJob::GotEACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase == PhaseWriting || port->phase == PhaseChecking;
    const bool erases = port->fwStep == FirmwareErase || port->fwStep == FirmwareData;
    if (port->state != StateFirmware || !writes || !erases)
        return {.acts = false};
    port->awaited.noteAnswered(LineKind::ErasePage);
    port->fwStep = FirmwareData;
    port->ticks = kDataTicks;
    return {.stepAllPorts = true};
}

ReplyEffect UpdateJob::GotDACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase >= PhaseWriting && port->phase <= PhaseFirmwareDone;
    if (port->state != StateFirmware || !writes || port->fwStep != FirmwareData)
        return {.acts = false};
    // Left over from the page before: counted for this one, its first line would never be sent.
    if (port->awaited.kind() == LineKind::ErasePage)
        return {.acts = false};
    port->awaited.noteAnswered(LineKind::Data);
    port->ticks = kDataTicks;
    port->flashAddress += protocol::kDataLineSize;
    ReplyEffect effect{.stepAllPorts = true};
    // The bar does not step back while a page is filled again: it stands at its end.
    if (port->pageRefills == 0)
        effect.programProgress = firmwareProgress(port->flashAddress);
    if (port->flashAddress % protocol::kPageSize == 0)
        EndPage(port);
    return effect;
}

void UpdateJob::EndPage(PortTest* port)
{
    if (port->pageUncertain && port->pageRefills < kMostPageRefills) {
        RefillPage(port);
        return;
    }
    port->fwStep = FirmwareProgram;
    port->ticks = kProgramTicks;
}

void UpdateJob::RefillPage(PortTest* port)
{
    port->flashAddress -= protocol::kPageSize;
    qCDebug(logJob) << "Page is filled again:" << Qt::hex << port->flashAddress;
    ++port->pageRefills;
    port->fwStep = FirmwareErase;
    port->ticks = kDataTicks;
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
    port->awaited.noteAnswered(LineKind::ProgramPage);
    port->pageRefills = 0;
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
