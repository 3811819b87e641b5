#include "bootload/UpdateJob.h"

#include "bootload/Firmware.h"
#include "bootload/Log.h"
#include "protocol/Commands.h"
#include "protocol/WireText.h"

#include <algorithm>
#include <array>
#include <type_traits>

using protocol::Line;
using protocol::replyField;

namespace {

/// Calls the handler of a row, which may be a member function of `Images`.
template <auto handler> Outcome handle(const Images& images, PortTest& port, QByteArrayView line)
{
    if constexpr (std::is_member_function_pointer_v<decltype(handler)>)
        return (images.*handler)(port, line);
    else
        return handler(port, line);
}

} // namespace

UpdateJob::UpdateJob(const int& mode, const QList<ImageFile>& images)
    : m_mode(mode), m_images(images)
{
}

Effect UpdateJob::Step(PortTest& port) const
{
    switch (port.state) {
    case StateLoad:
        return StepLoad(port);
    case StateStart:
        return StepStart(port);
    case StateProbe:
        return StepProbe(port);
    case StateWaitForBootloader:
        return StepWaitForBootloader(port);
    case StateEraseImages:
        return Images::StepErasing(port);
    case StateSendImages:
        return GoOn(port, m_images.Step(port));
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
        return Firmware::Step(port);
    case StateFinish:
        return StepFinish(port);
    default:
        return {};
    }
}

Effect UpdateJob::TakeReply(PortTest& port, QByteArrayView line) const
{
    struct Reply
    {
        QByteArrayView word;
        Outcome (*handle)(const Images&, PortTest&, QByteArrayView);
    };
    static constexpr std::array<Reply, 11> kReplies{{
        {"$Bootloader", handle<&UpdateJob::GotBootloader>},
        {"$GACK", handle<&UpdateJob::GotGACK>},
        {"$MVERR", handle<&UpdateJob::GotMVERR>},
        {"$IACK", handle<&Images::GotIACK>},
        {"$FACK", handle<&Images::GotFACK>},
        {"$AACK", handle<&Images::GotAACK>},
        {"$EACK", handle<&Firmware::GotEACK>},
        {"$DACK", handle<&Firmware::GotDACK>},
        {"$PACK", handle<&Firmware::GotPACK>},
        {"$CACK", handle<&Firmware::GotCACK>},
        {"$VACK", handle<&Firmware::GotVACK>},
    }};

    const QByteArrayView word = replyField(line, 0);
    const auto* const reply = std::find_if(
        kReplies.begin(), kReplies.end(), [word](const Reply& row) { return row.word == word; });
    if (reply == kReplies.end())
        return {.passedOver = "unknown"};
    return GoOn(port, reply->handle(m_images, port, line));
}

Effect UpdateJob::GoOn(PortTest& port, Outcome outcome)
{
    switch (outcome.follows) {
    case Follows::Nothing:
        break;
    case Follows::Images:
        port.state = StateSendImages;
        Images::Start(port);
        break;
    case Follows::Versions:
        port.state = StateAskMainVersion;
        break;
    case Follows::Finish:
        port.state = StateFinish;
        port.ticks = 0;
        outcome.effect.line = Line(protocol::kExit);
        break;
    }
    return std::move(outcome.effect);
}

Effect UpdateJob::StepLoad(PortTest& port) const
{
    Firmware::Start(port);
    switch (m_mode) {
    case JobImagesOnly:
        port.state = StateSendImages;
        Images::Start(port);
        break;
    case JobEraseImages:
        port.state = StateEraseImages;
        Images::StartErasing(port);
        break;
    default:
        port.state = StateFirmware;
    }
    Firmware::Open(port);
    return {};
}

Effect UpdateJob::StepStart(PortTest& port)
{
    port.retries = kProbeLines;
    port.state = StateProbe;
    return {};
}

Effect UpdateJob::StepProbe(PortTest& port)
{
    const bool askForBootloader = port.retries < kProbesForBootloader;
    --port.retries;
    const bool last = port.retries == 0;
    if (last)
        port.state = StateReopenFast;
    return {.line = Line(askForBootloader ? protocol::kEnterBootloader : protocol::kAskMainVersion),
        .closeAfterSending = last};
}

Effect UpdateJob::StepWaitForBootloader(PortTest& port)
{
    if (port.phase == PhaseWriting)
        port.state = StateLoad;
    return {};
}

Effect UpdateJob::StepReopenFast(PortTest& port)
{
    port.phase = PhaseNotCaptured;
    port.state = StateWaitForBootloader;
    return {.reopenAt = protocol::kBootloaderBaudRate};
}

// The next four states are dormant: nothing leads to the phase that leads to them.

Effect UpdateJob::StepAskMainVersion(PortTest& port)
{
    if (port.retries < kVersionRequests)
        return {.line = Line(protocol::kAskMainVersion)};
    port.retries = 0;
    port.state = StateAskSecondVersion;
    return {};
}

Effect UpdateJob::StepAskSecondVersion(PortTest& port)
{
    if (port.retries < kVersionRequests)
        return {.line = Line(protocol::kAskSecondVersion)};
    port.retries = 0;
    port.state = StateAskForBootloader;
    return {};
}

Effect UpdateJob::StepAskForBootloader(PortTest& port)
{
    if (port.retries < kBootloaderRequests)
        return {.line = Line(protocol::kEnterBootloader)};
    port.state = StateReopenFast;
    return {.closeAfterSending = true};
}

Effect UpdateJob::StepEraseFromStart(PortTest& port)
{
    port.state = StateFirmware;
    return {.line = protocol::eraseFromLine(port.startAddress)};
}

Effect UpdateJob::StepFinish(PortTest& port)
{
    if (port.ticks++ != kFinishTicks)
        return {};
    return {.closeAfterSending = true, .report = QStringLiteral("Bootload Complete")};
}

// Capture and version

Outcome UpdateJob::GotBootloader(PortTest& port, QByteArrayView)
{
    if (port.phase != PhaseNotCaptured)
        return passOver("the bootloader is captured already");
    port.phase = PhaseWriting;
    qCDebug(logJob) << "Send Capture Bootloader";
    return {.effect = {.plainLine = protocol::kCapture}};
}

Outcome UpdateJob::GotGACK(PortTest& port, QByteArrayView)
{
    qCDebug(logJob) << "Captured Bootloader";
    if (port.phase != PhaseNotCaptured)
        return passOver("the bootloader is captured already");
    port.flashAddress = protocol::kFirmwareStart;
    port.phase = PhaseWriting;
    port.ticks = 0;
    return {};
}

Outcome UpdateJob::GotMVERR(PortTest&, QByteArrayView line)
{
    // Shown, not compared: the update goes ahead from any version to any other.
    return {.effect = {.line = Line(protocol::kEnterBootloader),
                .unitVersion = QString::fromUtf8(replyField(line, 1))}};
}
