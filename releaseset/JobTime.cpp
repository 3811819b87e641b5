#include "releaseset/JobTime.h"

#include "bootload/Session.h"
#include "protocol/Commands.h"

#include <algorithm>

using namespace protocol;

namespace releaseset {

namespace {

using namespace std::chrono_literals;

/// Start, ten probing lines, reopening, the bootloader heard, the load step; then the firmware's
/// first line goes out in the fifth step.
constexpr int kStepsToFirstLine = 1 + kProbeLines + 1 + 1 + 1 + kDataTicks + 1;
/// From the last page's acknowledgement, which makes a step itself, to the first image header.
constexpr int kStepsToFirstImage = kImageRestartWait + 1;
/// From the last acknowledgement, which makes a step itself, to the closing of the port.
constexpr int kStepsToClose = kFinishTicks;

constexpr qint64 kMillisecondsPerSecond = 1000;
constexpr int kHexBase = 16;
/// How long the board waits before it takes a line without line feed as ended.
constexpr std::chrono::milliseconds kLineEndSilence = 3ms;
/// A checksum of less than four digits loses the line its line feed.
constexpr quint16 kFirstFourDigits = 0x1000;
constexpr qint64 kFullEnding = 6; // "*", four digits, line feed

/// The checksum of a line, here a second time because the plan keeps this folder off protocol/: all
/// that is wanted of it is how many digits it has.
quint16 checksumOf(QByteArrayView text)
{
    quint32 crc = 0xFFFF;
    for (const char byte : text) {
        quint32 x = (static_cast<unsigned char>(byte) ^ crc) & 0xFFU;
        x = (x ^ x << 4U) & 0xFFU;
        crc = (x << 8U ^ crc >> 8U ^ x >> 4U ^ x << 3U) & 0xFFFFU;
    }
    return static_cast<quint16>(crc);
}

QByteArray hex(qint64 value)
{
    return QByteArray::number(value, kHexBase).toUpper();
}

/// At least two digits.
QByteArray hexByte(qint64 value)
{
    return hex(value).rightJustified(2, '0');
}

/// The bytes of `data` from `offset`, at most `count` of them, each as "," and two digits.
QByteArray fieldsOf(const QByteArray& data, qsizetype offset, qsizetype count)
{
    const QByteArray digits = data.mid(offset, count).toHex(',').toUpper();
    return digits.isEmpty() ? digits : ',' + digits;
}

class Counter
{
public:
    explicit Counter(JobTime& time) : m_time(time) { }

    void send(const QByteArray& line)
    {
        const quint16 checksum = checksumOf(QByteArrayView(line).sliced(1));
        m_time.bytesOut += line.size();
        if (checksum >= kFirstFourDigits) {
            m_time.bytesOut += kFullEnding;
        } else {
            m_time.bytesOut += 1 + hex(checksum).size();
            ++m_time.unended;
        }
    }

    void exchange(const QByteArray& line, const QByteArray& answer)
    {
        send(line);
        m_time.bytesBack += answer.size() + kFullEnding;
        ++m_time.exchanges;
    }

private:
    JobTime& m_time;
};

/// `flash` covers all of the firmware's area.
void countPage(Counter& counter, const QByteArray& flash, qint64 page)
{
    counter.exchange(kWordErasePage.toByteArray() + hex(page) + ",1", "$EACK");
    for (qint64 offset = 0; offset < kPageSize; offset += kDataLineSize) {
        counter.exchange(
            kWordData.toByteArray() + hex(offset) + fieldsOf(flash, page + offset, kDataLineSize),
            "$DACK");
    }
    counter.exchange(kWordProgramPage.toByteArray() + hex(page) + ',' + hex(kPageSize), "$PACK");
}

void countImage(Counter& counter, const ImageFile& image)
{
    counter.exchange(kWordImage.toByteArray() + hexByte(image.imageName) + ','
            + hexByte(image.imageVersion) + ',' + hexByte(image.width) + ','
            + hexByte(image.height),
        "$IACK,0");
    for (qsizetype offset = 0; offset < image.data.size(); offset += kBlockSize) {
        const qsizetype block = offset / kBlockSize;
        counter.exchange(
            kWordBlock.toByteArray() + hexByte(block) + fieldsOf(image.data, offset, kBlockSize),
            "$FACK," + hex(block));
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
    const QByteArray flash = set.firmware.leftJustified(kFirmwareLast + 1, kErasedByte, true);
    for (qint64 page = kFirmwareStart; page <= kFirmwareLast; page += kPageSize)
        countPage(counter, flash, page);
    for (const SetImage& image : set.images)
        countImage(counter, image.content);
    counter.send(kWordExit.toByteArray());
    return time;
}

} // namespace releaseset
