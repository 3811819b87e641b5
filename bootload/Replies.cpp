#include "bootload/DialogBootload.h"
#include "bootload/Log.h"
#include "bootload/ReplyField.h"
#include "bootload/Wire.h"
#include "ui_DialogBootload.h"

#include <array>

using protocol::hexValue;
using protocol::Line;

void DialogBootload::GotMessage(PortTest* port, QString Msg)
{
    struct Reply
    {
        QByteArrayView word;
        bool (DialogBootload::*handle)(PortTest*, QByteArrayView);
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
        if (word != reply.word)
            continue;
        if (!(this->*reply.handle)(port, line))
            qCDebug(logJob) << "Ignored in state" << port->state << "phase" << port->phase << line;
        return;
    }
    qCDebug(logJob) << "Unknown reply" << word;
}

// Capture and version

bool DialogBootload::GotBootloader(PortTest* port, QByteArrayView)
{
    if (port->phase != PhaseNotCaptured)
        return false;
    SendMessage(port, QStringLiteral("$G"));
    port->phase = PhaseWriting;
    qCDebug(logJob) << "Send Capture Bootloader";
    return true;
}

bool DialogBootload::GotGACK(PortTest* port, QByteArrayView)
{
    qCDebug(logJob) << "Captured Bootloader";
    if (port->phase != PhaseNotCaptured)
        return false;
    port->flashAddress = kFirmwareStart;
    port->phase = PhaseWriting;
    port->ticks = 0;
    return true;
}

bool DialogBootload::GotMVERR(PortTest* port, QByteArrayView line)
{
    // Shown, not compared: the update goes ahead from any version to any other.
    ui->label_UnitVersion->setText(
        QStringLiteral("Unit Version: ") + QString::fromUtf8(fieldText(line, 1)));
    Send(port, Line(kWordEnterBootloader));
    return true;
}

// Images

bool DialogBootload::GotIACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateSendImages)
        return false;
    const QByteArrayView answer = fieldText(line, 1);
    if (answer == "0") {
        // Repeated, it must not take a session on that sends blocks already.
        if (port->imageStep != ImageAnnounce)
            return false;
        port->imageStep = ImageBlocks;
    } else if (answer == "1") {
        NextImage(port);
    }
    // Any other answer is taken for one that says nothing: what waits for it goes on at once.
    const int progress = ImageProgress(port);
    port->imageWait = 0;
    StepAllPorts();
    if (answer == "1")
        ui->progressBarVerify->setValue(progress);
    return true;
}

bool DialogBootload::GotFACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateSendImages)
        return false;
    const quint32 block = hexValue(fieldText(line, 1));
    const QByteArrayView flag = fieldText(line, 2);
    const bool current = block == static_cast<quint32>(port->blockNumber);
    const bool skip = !current && flag == "1";
    // Between an image's header and its first block only a skip can be meant for it: any other
    // answer is a late one of the image before. While the image waits to be begun again its header
    // is not out yet, and the late answer to its last block ends it.
    const bool lateEnd = current && port->lastBlockUnanswered;
    if (port->imageStep == ImageAnnounce && !skip && !lateEnd)
        return false;

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
    return true;
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
    port->lastBlockUnanswered = false;
    if (port->imageIndex >= images.size())
        FinishSession(port);
}

bool DialogBootload::GotAACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateEraseImages)
        return false;
    qCDebug(logJob) << line;
    switch (hexValue(fieldText(line, 1))) {
    case 1:
        Report(QStringLiteral("Images Erased"));
        FinishSession(port);
        break;
    case 0:
        port->imageStep = EraseWait;
        port->imageWait = kEraseGoingOnWait;
        break;
    default:
        break;
    }
    return true;
}
