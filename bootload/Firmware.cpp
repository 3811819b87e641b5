#include "bootload/Firmware.h"

#include "bootload/CompiledSet.h"
#include "bootload/Log.h"
#include "protocol/WireText.h"

using protocol::hexValue;
using protocol::replyField;

namespace {

/// True when a step of `port` sends its firmware line, `ticks` steps after the one before it.
bool lineIsDue(const PortTest& port, qint32 ticks)
{
    return port.ticks >= ticks && port.answers.mayBeGivenUp();
}

protocol::Line erasePage(PortTest& port)
{
    port.ticks = 0;
    port.fwStep = FirmwareData;
    port.answers.noteSent(LineKind::ErasePage, port.flashAddress);
    return protocol::erasePageLine(port.flashAddress);
}

protocol::Line dataLine(PortTest& port)
{
    port.ticks = 0;
    port.answers.noteSent(LineKind::Data, port.flashAddress);
    return protocol::dataLine(port.flashAddress, readFirmware(port.file, port.flashAddress));
}

protocol::Line checkFirmware(PortTest& port)
{
    port.ticks = 0;
    const protocol::Line line = protocol::checkFirmwareLine();
    qCDebug(logJob) << line.view();
    return line;
}

protocol::Line programPage(PortTest& port)
{
    port.ticks = 0;
    port.answers.noteSent(LineKind::ProgramPage, port.flashAddress);
    qCDebug(logJob) << "Left to write" << protocol::kFirmwareLast - port.flashAddress;
    // The flash address is at the end of the page by now.
    return protocol::programPageLine(port.flashAddress - protocol::kPageSize);
}

/// Starts the page that ends at the flash address over.
void refillPage(PortTest& port)
{
    port.flashAddress -= protocol::kPageSize;
    qCDebug(logJob) << "Page is filled again:" << Qt::hex << port.flashAddress;
    ++port.pageRefills;
    port.fwStep = FirmwareErase;
    port.ticks = kDataTicks;
}

std::optional<protocol::Line> programOrRefillPage(PortTest& port)
{
    // A board that does not program a page with a missing line never answers the program line.
    const bool inVain = port.answers.awaited() == LineKind::ProgramPage
        && port.answers.times() >= kMostProgramLines;
    if (!inVain || port.pageRefills >= kMostPageRefills)
        return programPage(port);
    refillPage(port);
    return {};
}

/// The last line of the page has been acknowledged.
void endPage(PortTest& port)
{
    // A second answer to a data line that was sent twice looks like the answer to the next line: a
    // lost line may have gone unnoticed.
    if (port.answers.dataWasRepeated() && port.pageRefills < kMostPageRefills) {
        refillPage(port);
        return;
    }
    port.fwStep = FirmwareProgram;
    port.ticks = kProgramTicks;
}

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
    // the bar's last steps. An address between or above them shows as the end of the firmware.
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

void Firmware::Start(PortTest& port)
{
    constexpr qint64 kAddressBytes = 4;
    QFile& file = port.file;
    file.close();
    file.setFileName(kResourcePrefix + kAddressFile);
    qCDebug(logJob) << (file.exists() ? "File exists Address.bin" : "Cannot find file Address.bin");
    QByteArray bytes;
    if (file.open(QIODevice::ReadOnly)) {
        file.setTextModeEnabled(false);
        qCDebug(logJob) << "Opened address.bin";
        bytes = file.read(kAddressBytes);
    }
    port.startAddress = startAddressOf(bytes);
    port.flashAddress = protocol::kFirmwareStart;
    port.fwStep = FirmwareErase;
    port.ticks = 0;
    port.pageRefills = 0;
    port.answers = {};
}

void Firmware::Open(PortTest& port)
{
    QFile& file = port.file;
    file.close();
    file.setFileName(kResourcePrefix + kFirmwareFile);
    if (file.open(QIODevice::ReadOnly))
        qCDebug(logJob) << "Opened " << file.fileName();
}

Effect Firmware::Step(PortTest& port)
{
    Effect effect;
    // After an erase line the next `if` is tried too, but no data is due: `ticks` is 0 by then.
    if (port.fwStep == FirmwareErase && lineIsDue(port, kDataTicks))
        effect.line = erasePage(port);
    if (port.fwStep == FirmwareData && lineIsDue(port, kDataTicks)) {
        // Data for a page that the board has not erased would be lost.
        const bool erased = port.answers.awaited() != LineKind::ErasePage;
        effect.line = erased ? dataLine(port) : erasePage(port);
    }
    if (port.fwStep == FirmwareProgram && lineIsDue(port, kProgramTicks)) {
        if (port.phase == PhaseChecking)
            effect.line = checkFirmware(port);
        else if (port.phase == PhaseWriting)
            effect.line = programOrRefillPage(port);
    }
    if (port.fwStep == FirmwareProgramChecked && lineIsDue(port, kProgramTicks)
        && port.phase == PhaseChecking)
        effect.line = programPage(port);
    ++port.ticks;
    return effect;
}

Outcome Firmware::GotEACK(PortTest& port, QByteArrayView)
{
    const bool writes = port.phase == PhaseWriting || port.phase == PhaseChecking;
    const bool erases = port.fwStep == FirmwareErase || port.fwStep == FirmwareData;
    if (port.state != StateFirmware || !writes || !erases)
        return passOver("no page's erasing is awaited");
    port.answers.noteAnswered(LineKind::ErasePage);
    port.fwStep = FirmwareData;
    port.ticks = kDataTicks;
    return {.effect = {.stepAllPorts = true}};
}

Outcome Firmware::GotDACK(PortTest& port, QByteArrayView)
{
    const bool writes = port.phase >= PhaseWriting && port.phase <= PhaseFirmwareDone;
    if (port.state != StateFirmware || !writes || port.fwStep != FirmwareData)
        return passOver("no data line's answer is awaited");
    // An answer from the previous page: counted here, this page's first line would never be sent.
    if (port.answers.awaited() == LineKind::ErasePage)
        return passOver("left over from the page before");
    port.answers.noteAnswered(LineKind::Data);
    port.ticks = kDataTicks;
    port.flashAddress += protocol::kDataLineSize;
    Effect effect{.stepAllPorts = true};
    // While a page is filled again the bar stays at the page's end.
    if (port.pageRefills == 0)
        effect.programProgress = firmwareProgress(port.flashAddress);
    if (port.flashAddress % protocol::kPageSize == 0)
        endPage(port);
    return {.effect = effect};
}

Outcome Firmware::GotPACK(PortTest& port, QByteArrayView)
{
    const bool writes = port.phase == PhaseWriting && port.fwStep == FirmwareProgram;
    const bool checks = port.phase == PhaseChecking && port.fwStep == FirmwareProgramChecked;
    if (port.state != StateFirmware || !(writes || checks))
        return passOver("no page's programming is awaited");
    Outcome outcome{.effect = {.stepAllPorts = true}};
    port.answers.noteAnswered(LineKind::ProgramPage);
    port.pageRefills = 0;
    port.fwStep = FirmwareErase;
    port.ticks = kDataTicks;
    if (checks || port.flashAddress >= protocol::kFirmwareLast) {
        port.flashAddress = protocol::kFirmwareStart;
        port.phase = PhaseFirmwareDone;
        outcome.effect.programProgress = firmwareProgressSteps();
        outcome.follows = checks ? Follows::Versions : Follows::Images;
    }
    return outcome;
}

// Dormant, like all that belongs to the checking: nothing sets `PhaseChecking`.
Outcome Firmware::GotCACK(PortTest& port, QByteArrayView)
{
    if (port.state != StateFirmware || port.phase != PhaseChecking
        || port.fwStep != FirmwareProgram)
        return passOver("no check is awaited");
    port.fwStep = FirmwareProgramChecked;
    port.ticks = kProgramTicks;
    return {.effect = {.stepAllPorts = true}};
}

Outcome Firmware::GotVACK(PortTest& port, QByteArrayView line)
{
    // Above this address differences do not count: prescribed so.
    constexpr quint32 kLastCompared = 0xEFF97;
    constexpr int kFieldsAfterWord = 1 + protocol::kDataLineSize;

    if (port.phase != PhaseFirmwareDone
        || protocol::WireText::fieldCount(line.data()) < kFieldsAfterWord)
        return passOver("no read-back is awaited");
    // The number of the session's state is taken for the awaited address: prescribed so. A line for
    // any other address is ignored.
    const quint32 address = hexValue(replyField(line, 1));
    if (address != static_cast<quint32>(port.state))
        return passOver("the read-back of another address");

    Effect effect{.stepAllPorts = true};
    port.ticks = kDataTicks;
    if (matchesFirmware(line, readFirmware(port.file, address)) || address > kLastCompared) {
        port.flashAddress = static_cast<qint32>(address) + protocol::kDataLineSize;
        effect.imageProgress = firmwareProgress(port.flashAddress);
        if (port.flashAddress >= protocol::kFirmwareLast) {
            port.phase = PhaseVerified;
            effect.report = QStringLiteral("Veify Finished");
            effect.imageProgress = firmwareProgressSteps();
        }
    } else {
        effect.report = QStringLiteral("Veify Failed");
    }
    return {.effect = effect};
}
