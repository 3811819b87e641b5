#include "bootload/UpdateJob.h"

#include "bootload/Log.h"
#include "protocol/Commands.h"
#include "protocol/WireText.h"
#include "serial/UnpluggedPort.h"

#include <algorithm>
#include <array>

using protocol::Line;

UpdateJob::UpdateJob(int mode, const QList<ImageFile>& images, JobHost& host)
    : m_mode(mode), m_images(images), m_host(host)
{
}

void UpdateJob::Step(PortTest* port)
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

void UpdateJob::TakeReply(PortTest* port, QByteArrayView line)
{
    struct Reply
    {
        QByteArrayView word;
        ReplyEffect (UpdateJob::*handle)(PortTest*, QByteArrayView);
    };
    static constexpr std::array<Reply, 11> kReplies{{
        {"$Bootloader", &UpdateJob::GotBootloader},
        {"$GACK", &UpdateJob::GotGACK},
        {"$MVERR", &UpdateJob::GotMVERR},
        {"$IACK", &UpdateJob::GotIACK},
        {"$FACK", &UpdateJob::GotFACK},
        {"$AACK", &UpdateJob::GotAACK},
        {"$EACK", &UpdateJob::GotEACK},
        {"$DACK", &UpdateJob::GotDACK},
        {"$PACK", &UpdateJob::GotPACK},
        {"$CACK", &UpdateJob::GotCACK},
        {"$VACK", &UpdateJob::GotVACK},
    }};

    const QByteArrayView word = replyField(line, 0);
    const auto reply = std::find_if(
        kReplies.begin(), kReplies.end(), [word](const Reply& row) { return row.word == word; });
    if (reply == kReplies.end()) {
        qCDebug(logJob) << "Unknown reply" << word;
        return;
    }
    const ReplyEffect effect = (this->*reply->handle)(port, line);
    if (!effect.acts)
        qCDebug(logJob) << "Ignored in state" << port->state << "phase" << port->phase << line;
    if (effect.stepAllPorts)
        m_host.StepAllPorts();
    if (effect.programProgress)
        m_host.ShowProgramProgress(*effect.programProgress);
    if (effect.imageProgress)
        m_host.ShowImageProgress(*effect.imageProgress);
}

void UpdateJob::StepLoad(PortTest* port)
{
    LoadStartAddress(port);
    port->flashAddress = protocol::kFirmwareStart;
    port->fwStep = FirmwareErase;
    port->awaited = {};
    port->pageUncertain = false;
    port->pageRefills = 0;
    port->ticks = 0;
    switch (m_mode) {
    case JobImagesOnly:
        StartImages(port);
        break;
    case JobEraseImages:
        StartErasingImages(port);
        break;
    default:
        port->state = StateFirmware;
    }
    OpenFirmware(port);
}

void UpdateJob::StepStart(PortTest* port)
{
    port->retries = kProbeLines;
    port->state = StateProbe;
}

void UpdateJob::StepProbe(PortTest* port)
{
    const bool askForBootloader = port->retries < kProbesForBootloader;
    --port->retries;
    m_host.Send(
        port, Line(askForBootloader ? protocol::kEnterBootloader : protocol::kAskMainVersion));
    if (port->retries == 0) {
        m_host.CloseAfterSending(port);
        port->state = StateReopenFast;
    }
}

void UpdateJob::StepWaitForBootloader(PortTest* port)
{
    if (port->phase == PhaseWriting)
        port->state = StateLoad;
}

void UpdateJob::StepReopenFast(PortTest* port)
{
    port->phase = PhaseNotCaptured;
    port->setBaudRate(protocol::kBootloaderBaudRate, QSerialPort::AllDirections);
    openPort(*port);
    port->state = StateWaitForBootloader;
}

// The next four states are reached by no transition; they stay for a board that is asked for its
// versions again after a check.

void UpdateJob::StepAskMainVersion(PortTest* port)
{
    if (port->retries < kVersionRequests) {
        m_host.Send(port, Line(protocol::kAskMainVersion));
    } else {
        port->retries = 0;
        port->state = StateAskSecondVersion;
    }
}

void UpdateJob::StepAskSecondVersion(PortTest* port)
{
    if (port->retries < kVersionRequests) {
        m_host.Send(port, Line(protocol::kAskSecondVersion));
    } else {
        port->retries = 0;
        port->state = StateAskForBootloader;
    }
}

void UpdateJob::StepAskForBootloader(PortTest* port)
{
    if (port->retries < kBootloaderRequests) {
        m_host.Send(port, Line(protocol::kEnterBootloader));
    } else {
        m_host.CloseAfterSending(port);
        port->state = StateReopenFast;
    }
}

void UpdateJob::StepEraseFromStart(PortTest* port)
{
    m_host.Send(port, protocol::eraseFromLine(port->startAddress));
    port->state = StateFirmware;
}

void UpdateJob::StepFinish(PortTest* port)
{
    if (port->ticks++ == kFinishTicks) {
        m_host.CloseAfterSending(port);
        m_host.Report(QStringLiteral("Bootload Complete"));
    }
}

void UpdateJob::FinishSession(PortTest* port)
{
    port->state = StateFinish;
    port->ticks = 0;
    m_host.Send(port, Line(protocol::kExit));
}

// Capture and version

ReplyEffect UpdateJob::GotBootloader(PortTest* port, QByteArrayView)
{
    if (port->phase != PhaseNotCaptured)
        return {.acts = false};
    m_host.SendPlain(port, protocol::kCapture);
    port->phase = PhaseWriting;
    qCDebug(logJob) << "Send Capture Bootloader";
    return {};
}

ReplyEffect UpdateJob::GotGACK(PortTest* port, QByteArrayView)
{
    qCDebug(logJob) << "Captured Bootloader";
    if (port->phase != PhaseNotCaptured)
        return {.acts = false};
    port->flashAddress = protocol::kFirmwareStart;
    port->phase = PhaseWriting;
    port->ticks = 0;
    return {};
}

ReplyEffect UpdateJob::GotMVERR(PortTest* port, QByteArrayView line)
{
    // Shown, not compared: the update goes ahead from any version to any other.
    m_host.ShowUnitVersion(QString::fromUtf8(replyField(line, 1)));
    m_host.Send(port, Line(protocol::kEnterBootloader));
    return {};
}

QByteArrayView replyField(QByteArrayView line, int index)
{
    constexpr qsizetype kMaxFieldLength = 64;
    const QByteArrayView text = protocol::field(line, index).value_or(QByteArrayView(""));
    return text.first(qMin(text.size(), kMaxFieldLength));
}
