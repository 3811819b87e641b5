#include "releaseset/JobTime.h"

#include "bootload/Wire.h"
#include "protocol/Crc.h"
#include "protocol/Line.h"

#include <algorithm>
#include <span>

namespace releaseset {

namespace {

using namespace std::chrono_literals;
using protocol::Line;

/// Start, ten probing lines, reopening, the bootloader heard, the load step; then the firmware's
/// first line goes out in the fifth step.
constexpr int kStepsToFirstLine = 1 + kProbeLines + 1 + 1 + 1 + kDataTicks + 1;
/// From the last page's acknowledgement, which makes a step itself, to the first image header.
constexpr int kStepsToFirstImage = kImageRestartWait + 1;
/// From the last acknowledgement, which makes a step itself, to the closing of the port.
constexpr int kStepsToClose = kFinishTicks;

/// Start bit, eight data bits, stop bit.
constexpr qint64 kBitsPerByte = 10;
constexpr qint64 kMillisecondsPerSecond = 1000;
/// How long the board waits before it takes a line without line feed as ended.
constexpr std::chrono::milliseconds kLineEndSilence = 3ms;
/// A checksum of less than four digits loses the line its line feed.
constexpr quint16 kFirstFourDigits = 0x1000;
constexpr qint64 kFullEnding = 6; // "*", four digits, line feed

class Counter
{
public:
    explicit Counter(JobTime& time) : m_time(time) { }

    void send(const Line& line)
    {
        const QByteArrayView text = line.view();
        const quint16 crc = protocol::crcOf(std::span(text.data() + 1, text.data() + text.size()));
        m_time.bytesOut += text.size();
        if (crc >= kFirstFourDigits) {
            m_time.bytesOut += kFullEnding;
        } else {
            m_time.bytesOut += 1 + protocol::HexText(crc).view().size();
            ++m_time.unended;
        }
    }

    void exchange(const Line& line, const Line& answer)
    {
        send(line);
        m_time.bytesBack += answer.view().size() + kFullEnding;
        ++m_time.exchanges;
    }

private:
    JobTime& m_time;
};

Line dataLine(const QByteArray& firmware, qint64 address)
{
    Line line(kWordData);
    line.appendHex(static_cast<quint32>(address % kPageSize));
    for (qint64 i = address; i < address + kDataLineSize; ++i) {
        const char byte = i < firmware.size() ? firmware.at(i) : kErasedByte;
        line.append(",").appendHexByte(static_cast<unsigned char>(byte));
    }
    return line;
}

void countPage(Counter& counter, const QByteArray& firmware, qint64 page)
{
    const auto address = static_cast<quint32>(page);
    counter.exchange(Line(kWordErasePage).appendHex(address).append(",1"), Line("$EACK"));
    for (qint64 at = page; at < page + kPageSize; at += kDataLineSize)
        counter.exchange(dataLine(firmware, at), Line("$DACK"));
    counter.exchange(
        Line(kWordProgramPage).appendHex(address).append(",").appendHex(kPageSize), Line("$PACK"));
}

void countImage(Counter& counter, const ImageFile& image)
{
    Line header(kWordImage);
    header.appendHexByte(static_cast<quint32>(image.imageName)).append(",");
    header.appendHexByte(static_cast<quint32>(image.imageVersion)).append(",");
    header.appendHexByte(static_cast<quint32>(image.width)).append(",");
    header.appendHexByte(static_cast<quint32>(image.height));
    counter.exchange(header, Line("$IACK,0"));
    for (qsizetype offset = 0; offset < image.data.size(); offset += kBlockSize) {
        const auto block = static_cast<quint32>(offset / kBlockSize);
        Line line(kWordBlock);
        line.appendHexByte(block);
        for (qsizetype i = offset; i < std::min(offset + kBlockSize, image.data.size()); ++i)
            line.append(",").appendHexByte(static_cast<unsigned char>(image.data.at(i)));
        counter.exchange(line, Line("$FACK,").appendHex(block));
    }
}

} // namespace

std::chrono::milliseconds JobTime::onTheWire() const
{
    return std::chrono::milliseconds(
        (bytesOut + bytesBack) * kBitsPerByte * kMillisecondsPerSecond / kBootloaderBaudRate);
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
    Counter counter(time);
    for (qint64 page = kFirmwareStart; page <= kFirmwareLast; page += kPageSize)
        countPage(counter, set.firmware, page);
    for (const SetImage& image : set.images)
        countImage(counter, image.content);
    counter.send(Line(kWordExit));
    return time;
}

} // namespace releaseset
