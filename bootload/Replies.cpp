#include "bootload/DialogBootload.h"
#include "bootload/FirmwareFile.h"
#include "bootload/Log.h"
#include "bootload/Wire.h"
#include "ui_DialogBootload.h"

#include <array>

using protocol::hexValue;
using protocol::Line;

namespace {

// A field is cut at this many characters.
constexpr qsizetype kMaxFieldLength = 64;

/// Field `index` of `line`; empty when it is absent.
QByteArrayView fieldText(QByteArrayView line, int index)
{
    const QByteArrayView text = protocol::field(line, index).value_or(QByteArrayView(""));
    return text.first(qMin(text.size(), kMaxFieldLength));
}

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

void DialogBootload::GotMessage(PortTest* port, QString Msg)
{
    struct Reply
    {
        QByteArrayView word;
        void (DialogBootload::*handle)(PortTest*, QByteArrayView);
    };
    static constexpr std::array<Reply, 11> kReplies{{
        {"$Bootloader", &DialogBootload::GotBootloader},
        {"$GACK", &DialogBootload::GotGACK},
        {"$MVERR", &DialogBootload::GotMVERR},
        {"$IACK", &DialogBootload::GotIACK},
        {"$FACK", &DialogBootload::GotFACK},
        {"$AACK", &DialogBootload::GotAACK},
        {"$EACK", &DialogBootload::GotEACK},
        {"$DACK", &DialogBootload::GotDACK},
        {"$PACK", &DialogBootload::GotPACK},
        {"$CACK", &DialogBootload::GotCACK},
        {"$VACK", &DialogBootload::GotVACK},
    }};

    protocol::ReceiveBuffer received = port->received();
    received.terminateAt(port->rxIndex);
    received.replace(Msg.toUtf8());
    const QByteArrayView line = received.text();
    if (line.isEmpty())
        return;
    wireLog.received(port->portName(), line);

    const QByteArrayView word = fieldText(line, 0);
    for (const Reply& reply : kReplies) {
        if (word == reply.word)
            return (this->*reply.handle)(port, line);
    }
    qCDebug(logJob) << "Unknown reply" << word;
}

// Capture and version

void DialogBootload::GotBootloader(PortTest* port, QByteArrayView)
{
    if (port->phase != PhaseNotCaptured)
        return;
    SendMessage(port, QStringLiteral("$G"));
    port->phase = PhaseWriting;
    qCDebug(logJob) << "Send Capture Bootloader";
}

void DialogBootload::GotGACK(PortTest* port, QByteArrayView)
{
    qCDebug(logJob) << "Captured Bootloader";
    if (port->phase != PhaseNotCaptured)
        return;
    port->flashAddress = kFirmwareStart;
    port->phase = PhaseWriting;
    port->ticks = 0;
}

void DialogBootload::GotMVERR(PortTest* port, QByteArrayView line)
{
    // Shown, not compared: the update goes ahead from any version to any other.
    Send(port, Line(kWordEnterBootloader));
    ui->label_UnitVersion->setText(
        QStringLiteral("Unit Version: ") + QString::fromUtf8(fieldText(line, 1)));
}

// Images

void DialogBootload::GotIACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateSendImages)
        return;
    const QByteArrayView answer = fieldText(line, 1);
    if (answer == "0") {
        // Repeated, it must not take a session on that sends blocks already.
        if (port->imageStep != ImageAnnounce)
            return;
        port->imageStep = ImageBlocks;
    } else if (answer == "1") {
        NextImage(port);
    }
    const int progress = ImageProgress(port);
    port->imageWait = 0;
    StepAllPorts();
    if (answer == "1")
        ui->progressBarVerify->setValue(progress);
}

void DialogBootload::GotFACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateSendImages)
        return;
    const quint32 block = hexValue(fieldText(line, 1));
    const QByteArrayView flag = fieldText(line, 2);
    const bool current = block == static_cast<quint32>(port->blockNumber);
    const bool skip = !current && flag == "1";
    // Before this image's first block only a skip can be meant for it: what else comes is left over
    // from the image before.
    if (port->imageStep == ImageAnnounce && !skip)
        return;

    if (current)
        BlockStored(port);
    else if (skip)
        NextImage(port);
    const int progress = skip ? BytesBefore(port->imageIndex) : ImageProgress(port);
    port->imageWait = 0;
    StepAllPorts();

    qCDebug(logJob) << "FACK" << block << flag;
    if (current || skip)
        ui->progressBarVerify->setValue(progress);
}

void DialogBootload::BlockStored(PortTest* port)
{
    port->imageOffset += kBlockSize;
    if (port->imageIndex < images.size()
        && port->imageOffset < images.at(port->imageIndex).data.size())
        return;
    port->imageOffset = 0;
    port->imageStep = ImageAnnounce;
    NextImage(port);
}

void DialogBootload::NextImage(PortTest* port)
{
    ++port->imageIndex;
    if (port->imageIndex >= images.size())
        FinishSession(port);
}

void DialogBootload::GotAACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateEraseImages)
        return;
    qCDebug(logJob) << line;
    switch (hexValue(fieldText(line, 1))) {
    case 1:
        FinishSession(port);
        Report(QStringLiteral("Images Erased"));
        break;
    case 0:
        port->imageStep = EraseWait;
        port->imageWait = kEraseGoingOnWait;
        break;
    default:
        break;
    }
}

// Firmware

void DialogBootload::GotEACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase == PhaseWriting || port->phase == PhaseChecking;
    const bool erases = port->fwStep == FirmwareErase || port->fwStep == FirmwareData;
    if (port->state != StateFirmware || !writes || !erases)
        return;
    port->fwStep = FirmwareData;
    port->eraseUnanswered = false;
    port->ticks = kDataTicks;
    StepAllPorts();
}

void DialogBootload::GotDACK(PortTest* port, QByteArrayView)
{
    const bool writes = port->phase >= PhaseWriting && port->phase <= PhaseFirmwareDone;
    if (port->state != StateFirmware || !writes || port->fwStep != FirmwareData)
        return;
    // Left over from the page before: counted for this one, its first line would never be sent.
    if (port->eraseUnanswered)
        return;
    port->ticks = kDataTicks;
    port->flashAddress += kDataLineSize;
    if (port->flashAddress % kPageSize == 0) {
        port->fwStep = FirmwareProgram;
        port->ticks = kProgramTicks;
    }
    const int progress = CurrentPosition(port->flashAddress);
    StepAllPorts();
    ui->progressBarLoad->setValue(progress);
}

void DialogBootload::GotPACK(PortTest* port, QByteArrayView)
{
    if (port->state != StateFirmware)
        return;
    if (port->phase == PhaseWriting && port->fwStep == FirmwareProgram) {
        if (port->flashAddress >= kFirmwareLast) {
            FirmwareDone(port);
            StartImages(port);
        }
    } else if (port->phase == PhaseChecking && port->fwStep == FirmwareProgramChecked) {
        FirmwareDone(port);
        port->state = StateAskMainVersion;
    } else {
        return;
    }
    port->fwStep = FirmwareErase;
    port->ticks = kDataTicks;
    StepAllPorts();
}

void DialogBootload::FirmwareDone(PortTest* port)
{
    port->flashAddress = kFirmwareStart;
    port->phase = PhaseFirmwareDone;
    ui->progressBarLoad->setValue(TotalSize());
}

void DialogBootload::GotCACK(PortTest* port, QByteArrayView)
{
    if (port->state != StateFirmware || port->phase != PhaseChecking
        || port->fwStep != FirmwareProgram)
        return;
    port->fwStep = FirmwareProgramChecked;
    port->ticks = kProgramTicks;
    StepAllPorts();
}

// Read-back

void DialogBootload::GotVACK(PortTest* port, QByteArrayView line)
{
    // Above this address the board keeps data of its own: differences there do not count.
    constexpr quint32 kLastCompared = 0xEFF97;
    constexpr int kFieldsBehindWord = 1 + kDataLineSize;

    if (port->phase != PhaseFirmwareDone || fieldCount(line.data()) < kFieldsBehindWord)
        return;
    // The session's state stands for the address it waits for; any other line is not its own.
    const quint32 address = hexValue(fieldText(line, 1));
    if (address != static_cast<quint32>(port->state))
        return;

    const bool matches = matchesFirmware(line, readFirmware(port->file, address));
    port->ticks = kDataTicks;
    if (matches || address > kLastCompared)
        Verified(port, static_cast<qint32>(address) + kDataLineSize);
    else
        Report(QStringLiteral("Veify Failed"));
    StepAllPorts();
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
