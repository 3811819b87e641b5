#include "bootload/Commands.h"
#include "bootload/DialogBootload.h"
#include "bootload/Log.h"
#include "bootload/Wire.h"
#include "ui_DialogBootload.h"

using protocol::Line;

void DialogBootload::Timeout()
{
    const WireLog::Hold hold(wireLog);
    StepAllPorts();
    PaintActivity();
}

void DialogBootload::StepAllPorts()
{
    if (portsFreed)
        return;
    for (PortTest* const port : std::as_const(ports))
        BootloadProcess(port);
}

void DialogBootload::BootloadProcess(PortTest* port)
{
    switch (port->state) {
    case StateLoad:
        return StepLoad(port);
    case StateStart:
        return StepStart(port);
    case StateProbe:
        return StepProbe(port);
    case StateWaitForBootloader:
        return StepWaitForBootloader(port);
    case StateEraseImages:
        return StepEraseImages(port);
    case StateSendImages:
        return StepSendImages(port);
    case StateReopenFast:
        return StepReopenFast(port);
    case StateAskMainVersion:
        return StepAskMainVersion(port);
    case StateAskSecondVersion:
        return StepAskSecondVersion(port);
    case StateAskForBootloader:
        return StepAskForBootloader(port);
    case StateEraseFromStart:
        return StepEraseFromStart(port);
    case StateFirmware:
        return StepFirmware(port);
    case StateFinish:
        return StepFinish(port);
    default:
        return;
    }
}

void DialogBootload::Report(const QString& text)
{
    ui->textEdit->append(text);
    qCDebug(logJob).noquote() << text;
}

void DialogBootload::StepLoad(PortTest* port)
{
    LoadStartAddress(port);
    port->flashAddress = kFirmwareStart;
    port->fwStep = FirmwareErase;
    port->eraseUnanswered = false;
    port->ticks = 0;
    if (mode == JobImagesOnly) {
        StartImages(port);
    } else if (mode == JobEraseImages) {
        port->state = StateEraseImages;
        port->imageIndex = 0;
        port->imageOffset = 0;
        port->imageStep = EraseSend;
        port->imageWait = 1;
    } else {
        port->state = StateFirmware;
    }
    OpenFirmware(port);
}

void DialogBootload::StartImages(PortTest* port)
{
    port->state = StateSendImages;
    port->imageIndex = 0;
    port->imageOffset = 0;
    port->imageStep = ImageRestart;
    port->imageWait = 0;
    port->lastBlockUnanswered = false;
}

void DialogBootload::StepStart(PortTest* port)
{
    port->retries = kProbeLines;
    port->state = StateProbe;
}

void DialogBootload::StepProbe(PortTest* port)
{
    const bool askForBootloader = port->retries < kProbesForBootloader;
    --port->retries;
    Send(port, Line(askForBootloader ? kWordEnterBootloader : kWordMainVersion));
    if (port->retries == 0) {
        CloseAfterSending(port);
        port->state = StateReopenFast;
    }
}

void DialogBootload::StepWaitForBootloader(PortTest* port)
{
    if (port->phase == PhaseWriting)
        port->state = StateLoad;
}

void DialogBootload::StepEraseImages(PortTest* port)
{
    if (port->imageStep == EraseSend) {
        if (port->imageWait != 0)
            --port->imageWait;
        else
            SendEraseImages(port);
    } else if (port->imageStep == EraseWait) {
        if (port->imageWait != 0) {
            --port->imageWait;
        } else {
            port->imageStep = EraseSend;
            Report(QStringLiteral("Command Timedout"));
        }
    }
}

void DialogBootload::SendEraseImages(PortTest* port)
{
    Report(QStringLiteral("Send Erase All messages Command takes around 20 seconds"));
    Send(port, Line(kWordEraseImages));
    port->imageStep = EraseWait;
    // The step that sends counts as the first of the wait.
    port->imageWait = kImageAnswerWait - 1;
}

void DialogBootload::StepSendImages(PortTest* port)
{
    // No image is left: an empty manifest, or the board has skipped the last one.
    if (port->imageIndex >= images.size()) {
        FinishSession(port);
        return;
    }
    if (port->imageWait != 0) {
        --port->imageWait;
        return;
    }
    switch (port->imageStep) {
    case ImageAnnounce:
        return SendImageHeader(port);
    case ImageBlocks:
        return SendImageBlock(port);
    case ImageRestart:
        port->imageStep = ImageAnnounce;
        port->imageWait = kImageRestartWait;
        return;
    default:
        return;
    }
}

void DialogBootload::SendImageHeader(PortTest* port)
{
    const ImageFile& image = images.at(port->imageIndex);
    Line line(kWordImage);
    line.appendHexByte(static_cast<quint32>(image.imageName)).append(",");
    line.appendHexByte(static_cast<quint32>(image.imageVersion)).append(",");
    line.appendHexByte(static_cast<quint32>(image.width)).append(",");
    line.appendHexByte(static_cast<quint32>(image.height));
    port->imageOffset = 0;
    port->imageWait = kImageAnswerWait;
    port->lastBlockUnanswered = false;
    Send(port, line);
}

void DialogBootload::SendImageBlock(PortTest* port)
{
    const QByteArray& pixels = images.at(port->imageIndex).data;
    port->blockNumber = port->imageOffset / kBlockSize;
    const QByteArray block = pixels.mid(port->imageOffset, kBlockSize);
    port->imageWait = kImageAnswerWait;
    // The last block of an image is not sent again alone: without its acknowledgement the image is
    // begun again.
    if (port->imageOffset + block.size() >= pixels.size()) {
        port->imageStep = ImageRestart;
        port->lastBlockUnanswered = true;
    }
    Send(port, blockLine(port->blockNumber, block));
}

void DialogBootload::FinishSession(PortTest* port)
{
    port->state = StateFinish;
    port->ticks = 0;
    Send(port, Line(kWordExit));
}

void DialogBootload::StepReopenFast(PortTest* port)
{
    port->phase = PhaseNotCaptured;
    port->setBaudRate(kBootloaderBaudRate, QSerialPort::AllDirections);
    port->open(QIODevice::ReadWrite);
    port->state = StateWaitForBootloader;
}

// The next four states are reached by no transition; they stay for a board that is asked for its
// versions again after a check.

void DialogBootload::StepAskMainVersion(PortTest* port)
{
    if (port->retries < kVersionRequests) {
        Send(port, Line(kWordMainVersion));
    } else {
        port->retries = 0;
        port->state = StateAskSecondVersion;
    }
}

void DialogBootload::StepAskSecondVersion(PortTest* port)
{
    if (port->retries < kVersionRequests) {
        Send(port, Line(kWordSecondVersion));
    } else {
        port->retries = 0;
        port->state = StateAskForBootloader;
    }
}

void DialogBootload::StepAskForBootloader(PortTest* port)
{
    if (port->retries < kBootloaderRequests) {
        Send(port, Line(kWordEnterBootloader));
    } else {
        CloseAfterSending(port);
        port->state = StateReopenFast;
    }
}

void DialogBootload::StepEraseFromStart(PortTest* port)
{
    // The second field stays empty.
    Send(
        port, Line(kWordErasePage).appendHex(static_cast<quint32>(port->startAddress)).append(","));
    port->state = StateFirmware;
}

void DialogBootload::StepFinish(PortTest* port)
{
    if (port->ticks++ == kFinishTicks) {
        CloseAfterSending(port);
        Report(QStringLiteral("Bootload Complete"));
    }
}
