// The images' way to the board: announce one, send its blocks, go on to the next; or erase them
// all.

#include "bootload/Log.h"
#include "bootload/UpdateJob.h"
#include "protocol/Commands.h"
#include "protocol/WireText.h"

using protocol::hexValue;

void UpdateJob::StartImages(PortTest* port)
{
    port->state = StateSendImages;
    port->imageIndex = 0;
    port->imageOffset = 0;
    port->imageStep = ImageRestart;
    port->imageWait = 0;
    port->awaited.giveUp();
    port->surplusHeldImages = {};
    port->surplusStoredBlocks = {};
}

void UpdateJob::StepSendImages(PortTest* port)
{
    // No image is left: an empty manifest, or the board has skipped the last one.
    if (port->imageIndex >= m_images.size()) {
        FinishSession(port);
        return;
    }
    if (port->imageWait != 0) {
        --port->imageWait;
        return;
    }
    if (port->imageStep == ImageRestart) {
        port->imageStep = ImageAnnounce;
        port->imageWait = kImageRestartWait;
        return;
    }
    if (!port->awaited.mayBeGivenUp())
        return;
    if (port->imageStep == ImageAnnounce)
        SendImageHeader(port);
    else if (port->imageStep == ImageBlocks)
        SendImageBlock(port);
}

void UpdateJob::SendImageHeader(PortTest* port)
{
    const ImageFile& image = m_images.at(port->imageIndex);
    port->imageOffset = 0;
    port->imageWait = kImageAnswerWait;
    m_host.Send(
        port, protocol::imageLine(image.imageName, image.imageVersion, image.width, image.height));
    port->awaited.noteSent(LineKind::ImageHeader, port->imageIndex);
}

void UpdateJob::SendImageBlock(PortTest* port)
{
    const QByteArray& pixels = m_images.at(port->imageIndex).data;
    port->blockNumber = port->imageOffset / protocol::kBlockSize;
    const QByteArray block = pixels.mid(port->imageOffset, protocol::kBlockSize);
    port->imageWait = kImageAnswerWait;
    // The last block of an image is not sent again alone: without its acknowledgement the image is
    // begun again.
    if (port->imageOffset + block.size() >= pixels.size())
        port->imageStep = ImageRestart;
    m_host.Send(port, protocol::blockLine(port->blockNumber, block));
    port->awaited.noteSent(LineKind::ImageBlock, port->blockNumber);
}

ReplyEffect UpdateJob::GotIACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateSendImages)
        return {.acts = false};
    ReplyEffect effect{.stepAllPorts = true};
    const QByteArrayView answer = replyField(line, 1);
    if (answer == "0") {
        // Repeated, it must not take a session on that sends blocks already.
        if (port->imageStep != ImageAnnounce)
            return {.acts = false};
        port->imageStep = ImageBlocks;
        port->awaited.noteAnswered(LineKind::ImageHeader);
    } else if (answer == "1") {
        // It names no image: one that answers a header that was sent again is not the next one's.
        if (port->surplusHeldImages.take(0))
            return {.acts = false};
        port->surplusHeldImages.expect(port->awaited.noteAnswered(LineKind::ImageHeader), 0);
        NextImage(port);
        effect.imageProgress = ImageProgress(port);
    }
    // Any other answer is taken for one that says nothing: what waits for it goes on at once.
    port->imageWait = 0;
    return effect;
}

ReplyEffect UpdateJob::GotFACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateSendImages)
        return {.acts = false};
    const quint32 block = hexValue(replyField(line, 1));
    const QByteArrayView flag = replyField(line, 2);
    qCDebug(logJob) << "FACK" << block << flag;
    const bool current = block == static_cast<quint32>(port->blockNumber);
    const bool skip = !current && flag == "1";
    // Between an image's header and its first block only a skip can be meant for it: any other
    // answer is a late one of the image before. While the image waits to be begun again its header
    // is not out yet, and the late answer to its last block ends it.
    const bool lateEnd = current && port->awaited.kind() == LineKind::ImageBlock;
    if (port->imageStep == ImageAnnounce && !skip && !lateEnd)
        return {.acts = false};

    // An answer to a block that was sent again would have the next one sent twice as well, and so
    // on.
    if (!current && !skip && port->surplusStoredBlocks.take(static_cast<qint32>(block)))
        return {.acts = false};

    ReplyEffect effect{.stepAllPorts = true};
    if (current) {
        BlockStored(port);
        effect.imageProgress = ImageProgress(port);
    } else if (skip) {
        NextImage(port);
        effect.imageProgress = BytesBefore(port->imageIndex);
    }
    port->imageWait = 0;
    return effect;
}

void UpdateJob::BlockStored(PortTest* port)
{
    port->surplusStoredBlocks.expect(
        port->awaited.noteAnswered(LineKind::ImageBlock), port->blockNumber);
    port->imageOffset += protocol::kBlockSize;
    if (port->imageIndex < m_images.size()
        && port->imageOffset < m_images.at(port->imageIndex).data.size())
        return;
    port->imageOffset = 0;
    port->imageStep = ImageAnnounce;
    NextImage(port);
}

void UpdateJob::NextImage(PortTest* port)
{
    ++port->imageIndex;
    port->awaited.giveUp();
    if (port->imageIndex >= m_images.size())
        FinishSession(port);
}

int UpdateJob::BytesBefore(qsizetype index) const
{
    qsizetype bytes = 0;
    for (qsizetype i = 0; i < qMin(index, m_images.size()); ++i)
        bytes += m_images.at(i).data.size();
    return static_cast<int>(bytes);
}

int UpdateJob::ImageProgress(const PortTest* port) const
{
    return BytesBefore(port->imageIndex) + port->imageOffset;
}

// Erasing them

void UpdateJob::StartErasingImages(PortTest* port)
{
    port->state = StateEraseImages;
    port->imageIndex = 0;
    port->imageOffset = 0;
    port->imageStep = EraseSend;
    port->imageWait = 1;
}

void UpdateJob::StepEraseImages(PortTest* port)
{
    if (port->imageStep != EraseSend && port->imageStep != EraseWait)
        return;
    if (port->imageWait != 0) {
        --port->imageWait;
    } else if (port->imageStep == EraseSend) {
        SendEraseImages(port);
    } else {
        port->imageStep = EraseSend;
        m_host.Report(QStringLiteral("Command Timedout"));
    }
}

void UpdateJob::SendEraseImages(PortTest* port)
{
    m_host.Report(QStringLiteral("Send Erase All messages Command takes around 20 seconds"));
    m_host.Send(port, protocol::Line(protocol::kEraseImages));
    port->imageStep = EraseWait;
    // The step that sends counts as the first of the wait.
    port->imageWait = kImageAnswerWait - 1;
}

ReplyEffect UpdateJob::GotAACK(PortTest* port, QByteArrayView line)
{
    if (port->state != StateEraseImages)
        return {.acts = false};
    qCDebug(logJob) << line;
    switch (hexValue(replyField(line, 1))) {
    case 1:
        m_host.Report(QStringLiteral("Images Erased"));
        FinishSession(port);
        break;
    case 0:
        port->imageStep = EraseWait;
        port->imageWait = kEraseGoingOnWait;
        break;
    default:
        break;
    }
    return {};
}
