#include "bootload/Commands.h"
#include "bootload/DialogBootload.h"
#include "bootload/FirmwareFile.h"
#include "bootload/Log.h"
#include "bootload/Wire.h"

using protocol::Line;

namespace {

constexpr qsizetype kAddressBytes = 4;

/// The start address of 4 bytes. Each byte is sign-extended first and the fourth stands at the
/// place of the third; the board's other tools build it the same way.
qint32 startAddressOf(const QByteArray& bytes)
{
    const auto byteAt = [&bytes](qsizetype i) {
        const qint8 byte = i < bytes.size() ? static_cast<qint8>(bytes.at(i)) : qint8{0};
        return static_cast<quint32>(qint32{byte});
    };
    return static_cast<qint32>(
        byteAt(0) | (byteAt(1) << 8U) | (byteAt(2) << 16U) | (byteAt(3) << 16U));
}

} // namespace

void DialogBootload::LoadStartAddress(PortTest* port)
{
    QFile& file = port->file;
    file.close();
    file.setFileName(QStringLiteral(":/res/Address.bin"));
    qCDebug(logJob) << (file.exists() ? "File exists Address.bin" : "Cannot find file Address.bin");
    QByteArray bytes;
    if (file.open(QIODevice::ReadOnly)) {
        file.setTextModeEnabled(false);
        qCDebug(logJob) << "Opened address.bin";
        bytes = file.read(kAddressBytes);
    }
    port->startAddress = startAddressOf(bytes);
}

void DialogBootload::OpenFirmware(PortTest* port)
{
    QFile& file = port->file;
    file.close();
    file.setFileName(QStringLiteral(":/res/fw1.bin"));
    if (file.open(QIODevice::ReadOnly))
        qCDebug(logJob) << "Opened " << file.fileName();
}

void DialogBootload::StepFirmware(PortTest* port)
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

void DialogBootload::ErasePage(PortTest* port)
{
    port->ticks = 0;
    Send(port,
        Line(kWordErasePage).appendHex(static_cast<quint32>(port->flashAddress)).append(",1"));
    port->fwStep = FirmwareData;
    port->eraseUnanswered = true;
}

void DialogBootload::SendDataLine(PortTest* port)
{
    port->ticks = 0;
    const DataLineBytes bytes = readFirmware(port->file, port->flashAddress);
    Send(port, dataLine(port->flashAddress, bytes));
}

void DialogBootload::CheckFirmware(PortTest* port)
{
    port->ticks = 0;
    Line line(kWordCheck);
    line.appendHex(kFirmwareStart).append(",").appendHex(kFirmwareLast);
    Send(port, line);
    qCDebug(logJob) << line.view();
}

void DialogBootload::ProgramPage(PortTest* port)
{
    port->ticks = 0;
    // The address has moved on to the end of the page by now.
    const auto page = static_cast<quint32>(port->flashAddress - kPageSize);
    Send(port, Line(kWordProgramPage).appendHex(page).append(",").appendHex(kPageSize));
    qCDebug(logJob) << "Left to write" << kFirmwareLast - port->flashAddress;
}
