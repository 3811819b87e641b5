#include "releaseset/JobTime.h"

#include "bootload/Session.h"
#include "protocol/Commands.h"

namespace releaseset {

namespace {

using namespace std::chrono_literals;
using protocol::Line;

/// Start, ten probing lines, reopening, the bootloader heard, the load step; then the firmware's
/// first line is sent in the fifth step.
constexpr int kStepsToFirstLine = 1 + kProbeLines + 1 + 1 + 1 + kDataTicks + 1;
/// From the last page's acknowledgement, which causes a step itself, to the first image header.
constexpr int kStepsToFirstImage = kImageRestartWait + 1;
/// From the last acknowledgement, which causes a step itself, to the closing of the port.
constexpr int kStepsToClose = kFinishTicks;

constexpr qint64 kMillisecondsPerSecond = 1000;
/// How long the board waits before it takes a line without line feed as ended.
constexpr std::chrono::milliseconds kLineEndSilence = 3ms;
constexpr qint64 kReplyEnding = 6; // "*", four digits, line feed

void countLine(JobTime& time, Line line)
{
    if (!protocol::appendChecksum(line.buffer()))
        return;
    const QByteArrayView text = protocol::textOf(line.buffer());
    time.bytesOut += text.size();
    if (!text.endsWith('\n'))
        ++time.unended;
}

/// A line and its reply, given without checksum.
void countExchange(JobTime& time, const Line& line, const QByteArray& reply)
{
    countLine(time, line);
    time.bytesBack += reply.size() + kReplyEnding;
    ++time.exchanges;
}

void countPage(JobTime& time, const ReleaseSet& set, qint32 page)
{
    countExchange(time, protocol::erasePageLine(page), "$EACK");
    for (qint32 at = page; at < page + protocol::kPageSize; at += protocol::kDataLineSize)
        countExchange(
            time, protocol::dataLine(at, set.flash(at, protocol::kDataLineSize)), "$DACK");
    countExchange(time, protocol::programPageLine(page), "$PACK");
}

void countImage(JobTime& time, const ImageFile& image)
{
    countExchange(time,
        protocol::imageLine(image.imageName, image.imageVersion, image.width, image.height),
        "$IACK,0");
    qint32 block = 0;
    for (qsizetype at = 0; at < image.data.size(); at += protocol::kBlockSize, ++block) {
        countExchange(time, protocol::blockLine(block, image.data.mid(at, protocol::kBlockSize)),
            "$FACK," + QByteArray::number(block, 16));
    }
}

} // namespace

std::chrono::milliseconds JobTime::onTheWire() const
{
    return std::chrono::milliseconds((bytesOut + bytesBack) * protocol::kBitsPerByte
        * kMillisecondsPerSecond / protocol::kBootloaderBaudRate);
}

std::chrono::milliseconds JobTime::silence() const
{
    return unended * kLineEndSilence;
}

std::chrono::milliseconds JobTime::total(std::chrono::milliseconds latency) const
{
    return fixedWaits + onTheWire() + silence() + exchanges * latency;
}

JobTime jobTimeOf(const ReleaseSet& set)
{
    JobTime time;
    time.fixedWaits = kTickInterval * (kStepsToFirstLine + kStepsToFirstImage + kStepsToClose);
    for (qint32 page = protocol::kFirmwareStart; page <= protocol::kFirmwareLast;
         page += protocol::kPageSize)
        countPage(time, set, page);
    for (const SetImage& image : set.images)
        countImage(time, image.content);
    countLine(time, Line(protocol::kExit));
    return time;
}

} // namespace releaseset
