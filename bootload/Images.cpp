#include "bootload/Images.h"

#include "bootload/Log.h"
#include "protocol/Commands.h"
#include "protocol/WireText.h"

using protocol::hexValue;
using protocol::replyField;

void Images::Start(PortTest& port)
{
    port.imageIndex = 0;
    port.imageOffset = 0;
    port.imageStep = ImageRestart;
    port.imageWait = 0;
    port.answers = {};
}

Outcome Images::Step(PortTest& port) const
{
    // Only an empty manifest leads here without an image.
    if (port.imageIndex >= m_list.size())
        return {.follows = Follows::Finish};
    if (port.imageWait != 0) {
        --port.imageWait;
        return {};
    }
    if (port.imageStep == ImageRestart) {
        port.imageStep = ImageAnnounce;
        port.imageWait = kImageRestartWait;
        return {};
    }
    if (!port.answers.mayBeGivenUp())
        return {};
    if (port.imageStep == ImageAnnounce)
        return {.effect = {.line = Header(port)}};
    if (port.imageStep == ImageBlocks)
        return {.effect = {.line = Block(port)}};
    return {};
}

protocol::Line Images::Header(PortTest& port) const
{
    const ImageFile& image = m_list.at(port.imageIndex);
    port.imageOffset = 0;
    port.imageWait = kImageAnswerWait;
    port.answers.noteSent(LineKind::ImageHeader, port.imageIndex);
    return protocol::imageLine(image.imageName, image.imageVersion, image.width, image.height);
}

protocol::Line Images::Block(PortTest& port) const
{
    const QByteArray& pixels = m_list.at(port.imageIndex).data;
    port.blockNumber = port.imageOffset / protocol::kBlockSize;
    const QByteArray block = pixels.mid(port.imageOffset, protocol::kBlockSize);
    port.imageWait = kImageAnswerWait;
    // The last block of an image is not resent alone: without its acknowledgement the image is
    // started over.
    if (port.imageOffset + block.size() >= pixels.size())
        port.imageStep = ImageRestart;
    port.answers.noteSent(LineKind::ImageBlock, port.blockNumber);
    return protocol::blockLine(port.blockNumber, block);
}

Outcome Images::GotIACK(PortTest& port, QByteArrayView line) const
{
    if (port.state != StateSendImages)
        return passOver("no images are being sent");
    Outcome outcome{.effect = {.stepAllPorts = true}};
    const QByteArrayView answer = replyField(line, 1);
    if (answer == "0") {
        // A repeated answer must not disturb a session that is sending blocks already.
        if (port.imageStep != ImageAnnounce)
            return passOver("the image's blocks are on their way already");
        port.imageStep = ImageBlocks;
        // Surplus answers for the previous image stay expected: one that comes after this answer
        // must not end this image among its blocks.
        port.answers.giveUp();
    } else if (answer == "1") {
        // The answer names no image: a surplus one must not count for the next image.
        if (port.answers.takeSurplus(LineKind::ImageHeader))
            return passOver("surplus, the header was sent more than once");
        port.answers.noteAnswered(LineKind::ImageHeader);
        outcome.follows = NextImage(port);
        outcome.effect.imageProgress = Progress(port);
    }
    // Any other answer only ends the wait.
    port.imageWait = 0;
    return outcome;
}

Outcome Images::GotFACK(PortTest& port, QByteArrayView line) const
{
    if (port.state != StateSendImages)
        return passOver("no images are being sent");
    const auto block = static_cast<qint32>(hexValue(replyField(line, 1)));
    const QByteArrayView flag = replyField(line, 2);
    qCDebug(logJob) << "FACK" << static_cast<quint32>(block) << flag;
    const bool current = block == port.blockNumber;
    const bool skip = !current && flag == "1";
    // Between an image's header and its first block only a skip can be meant for this image: any
    // other answer is a late one for the previous image. While the image waits to be started over,
    // its header has not been sent yet, and the late answer to its last block ends it.
    const bool lateEnd = current && port.answers.awaited() == LineKind::ImageBlock;
    if (port.imageStep == ImageAnnounce && !skip && !lateEnd)
        return passOver("no block's answer is awaited");
    // A second answer to a resent block would have the next block sent twice too, and so on.
    if (!current && port.answers.takeSurplus(LineKind::ImageBlock, block))
        return passOver("surplus, the block was sent more than once");

    Outcome outcome{.effect = {.stepAllPorts = true}};
    if (current) {
        outcome.follows = BlockStored(port);
        outcome.effect.imageProgress = Progress(port);
    } else if (skip) {
        outcome.follows = NextImage(port);
        outcome.effect.imageProgress = BytesBefore(port.imageIndex);
    }
    port.imageWait = 0;
    return outcome;
}

Follows Images::BlockStored(PortTest& port) const
{
    port.answers.noteAnswered(LineKind::ImageBlock);
    port.imageOffset += protocol::kBlockSize;
    if (port.imageIndex < m_list.size()
        && port.imageOffset < m_list.at(port.imageIndex).data.size())
        return Follows::Nothing;
    port.imageOffset = 0;
    port.imageStep = ImageAnnounce;
    return NextImage(port);
}

Follows Images::NextImage(PortTest& port) const
{
    ++port.imageIndex;
    port.answers.giveUp();
    return port.imageIndex >= m_list.size() ? Follows::Finish : Follows::Nothing;
}

int Images::BytesBefore(qsizetype index) const
{
    qsizetype bytes = 0;
    for (qsizetype i = 0; i < qMin(index, m_list.size()); ++i)
        bytes += m_list.at(i).data.size();
    return static_cast<int>(bytes);
}

int Images::Progress(const PortTest& port) const
{
    return BytesBefore(port.imageIndex) + port.imageOffset;
}

void Images::StartErasing(PortTest& port)
{
    port.imageIndex = 0;
    port.imageOffset = 0;
    port.imageStep = EraseSend;
    port.imageWait = 1;
}

Effect Images::StepErasing(PortTest& port)
{
    if (port.imageStep != EraseSend && port.imageStep != EraseWait)
        return {};
    if (port.imageWait != 0) {
        --port.imageWait;
        return {};
    }
    if (port.imageStep == EraseWait) {
        port.imageStep = EraseSend;
        return {.report = QStringLiteral("Command Timedout")};
    }
    port.imageStep = EraseWait;
    // The step that sends counts as the first of the wait.
    port.imageWait = kImageAnswerWait - 1;
    return {.line = protocol::Line(protocol::kEraseImages),
        .report = QStringLiteral("Send Erase All messages Command takes around 20 seconds")};
}

Outcome Images::GotAACK(PortTest& port, QByteArrayView line)
{
    if (port.state != StateEraseImages)
        return passOver("no images are being erased");
    qCDebug(logJob) << line;
    switch (hexValue(replyField(line, 1))) {
    case 1:
        return {.effect = {.report = QStringLiteral("Images Erased")}, .follows = Follows::Finish};
    case 0:
        port.imageStep = EraseWait;
        port.imageWait = kEraseGoingOnWait;
        break;
    default:
        break;
    }
    return {};
}
