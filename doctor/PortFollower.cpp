#include "doctor/PortFollower.h"

#include "protocol/WireText.h"

#include <algorithm>

namespace doctor {

using protocol::hexValue;
using protocol::replyField;

namespace {

// A log that somebody else wrote can hold any number of them.
constexpr qsizetype kMostReasons = 12;
// A log of another program's port names has to be kept from the arithmetic.
constexpr quint32 kMostPixels = 1U << 24U;
constexpr QByteArrayView kAnnouncement{"$Bootloader"};
constexpr double kLinesPerPage = static_cast<double>(protocol::kPageSize) / protocol::kDataLineSize;

const LineKindRow* rowOfWord(QByteArrayView word, QByteArrayView LineKindRow::*column)
{
    const auto* const row = std::ranges::find(kLineKinds, word, column);
    return row == kLineKinds.end() ? nullptr : row;
}

int number(QByteArrayView text, int field)
{
    return static_cast<int>(std::min(hexValue(replyField(text, field)), kMostPixels));
}

int pageAt(int address)
{
    const int page = (address - protocol::kFirmwareStart) / protocol::kPageSize + 1;
    return std::clamp(page, 1, kPages);
}

/// Of the image that `header` announces.
int blocksOf(QByteArrayView header)
{
    constexpr int kWidthField = 3;
    constexpr int kHeightField = 4;
    constexpr qint64 kBytesPerPixel = 2;
    const qint64 bytes
        = kBytesPerPixel * number(header, kWidthField) * number(header, kHeightField);
    const qint64 blocks = (bytes + protocol::kBlockSize - 1) / protocol::kBlockSize;
    return static_cast<int>(std::min<qint64>(blocks, kMostPixels));
}

} // namespace

void PortFollower::take(const WireLine& line, Moment time, double at)
{
    settle();
    switch (line.way) {
    case WireLine::Way::NotSent:
        break;
    case WireLine::Way::Sent:
        takeSent(line.text, time, at);
        break;
    case WireLine::Way::Received:
        ++m_course.replies;
        m_reply = Reply{line.text.toByteArray(), time, at};
        break;
    }
}

void PortFollower::passOver(const QString& reason)
{
    if (!m_reply)
        return;
    const QByteArray reply = std::exchange(m_reply, {})->text;
    // Until it is at work a bootloader says more than once that it is there.
    if (m_course.stage == Stage::Captured)
        return;
    noteRestart(reply);
    ++m_course.unusable;
    m_course.lastPassedOver = shownText(reply);
    const bool isKnown = m_course.passedOver.contains(reason);
    ++m_course.passedOver[isKnown || m_course.passedOver.size() < kMostReasons
            ? reason
            : QStringLiteral("other reasons")];
}

void PortFollower::noteGone(Moment time)
{
    settle();
    m_course.gone = true;
    m_course.ended = time;
}

void PortFollower::noteComplete(Moment time)
{
    settle();
    m_course.stage = Stage::Complete;
    m_course.ended = time;
}

PortCourse PortFollower::course() const
{
    PortFollower copy(*this);
    copy.settle();
    return copy.m_course;
}

void PortFollower::takeSent(QByteArrayView text, Moment time, double at)
{
    m_course.openError.clear();
    m_course.gone = false;
    ++m_course.sent;

    const QByteArrayView word = replyField(text, 0);
    if (word == protocol::kCapture)
        m_course.stage = std::max(m_course.stage, Stage::Captured);
    else if (word == protocol::kExit)
        m_course.stage = Stage::Finish;
    const LineKindRow* const row = rowOfWord(word, &LineKindRow::command);
    if (row == nullptr)
        return;
    ++m_course.tally(row->kind).sent;
    if (m_course.unanswered++ == 0)
        m_course.firstUnanswered = time;
    // The version is asked for again and again by design.
    const bool again = text == m_awaited && row->kind != LineKind::AskVersion;
    if (again) {
        m_awaitedTwice = true;
        noteSentAgain(row->kind, at);
        return;
    }
    m_awaited = text.toByteArray();
    m_awaitedSince = time;
    m_awaitedTwice = false;
    moveOn(row->kind, text);
}

void PortFollower::moveOn(LineKind kind, QByteArrayView text)
{
    switch (kind) {
    case LineKind::AskVersion:
        break;
    case LineKind::EraseImages:
        m_course.stage = Stage::EraseImages;
        break;
    case LineKind::ErasePage:
        moveToPage(pageAt(number(text, 1)));
        break;
    case LineKind::Data:
        m_course.stage = Stage::Firmware;
        m_pageHasData = true;
        m_dataLine = number(text, 1) / protocol::kDataLineSize;
        break;
    case LineKind::ProgramPage:
        // Of a log that begins within a page.
        m_course.stage = Stage::Firmware;
        m_course.page = pageAt(number(text, 1));
        break;
    case LineKind::ImageHeader:
        moveToImage(text);
        break;
    case LineKind::ImageBlock:
        m_course.stage = Stage::Images;
        m_course.block = number(text, 1) + 1;
        break;
    }
}

void PortFollower::moveToPage(int page)
{
    if (page == m_course.page && m_pageHasData)
        ++m_course.pageRestarts;
    m_course.stage = Stage::Firmware;
    m_course.page = page;
    m_pageHasData = false;
    m_dataLine = 0;
}

void PortFollower::moveToImage(QByteArrayView header)
{
    const int imageNumber = number(header, 1);
    const bool isNext = m_imageIsDone || imageNumber != m_course.imageNumber;
    ++(isNext ? m_course.image : m_course.imageRestarts);
    m_imageIsDone = false;
    m_course.stage = Stage::Images;
    m_course.imageNumber = imageNumber;
    m_course.block = 0;
    m_course.blocks = blocksOf(header);
}

void PortFollower::noteSentAgain(LineKind kind, double at)
{
    LineTally& tally = m_course.tally(kind);
    ++tally.sentAgain;
    const bool isImage = m_course.stage == Stage::Images;
    const int place = isImage ? m_course.image : m_course.page;
    if (tally.placesSentAgain.size() <= kMostPlacesTold && !tally.placesSentAgain.contains(place))
        tally.placesSentAgain.append(place);
    if (isImage)
        m_course.imagesAgain.add({at, m_course.images.lastPlace()});
    else if (m_course.stage == Stage::Firmware)
        m_course.pagesAgain.add({at, m_course.pages.lastPlace()});
}

/// The last reply had an effect, or its line would have been followed by one that says otherwise.
void PortFollower::settle()
{
    if (m_reply)
        takeReply(*std::exchange(m_reply, {}));
}

void PortFollower::takeReply(const Reply& reply)
{
    m_course.lastReply = reply.time;
    m_course.unanswered = 0;
    m_course.unusable = 0;
    noteRestart(reply.text);
    if (replyField(reply.text, 0) == kAnnouncement)
        m_course.stage = std::max(m_course.stage, Stage::Captured);
    const LineKindRow* const row = rowOfWord(replyField(reply.text, 0), &LineKindRow::reply);
    if (row == nullptr)
        return;
    noteAnswer(*row, reply.time);
    acknowledge(row->kind, reply.text, reply.at);
}

void PortFollower::noteRestart(QByteArrayView reply)
{
    if (m_hasWorked && replyField(reply, 0) == kAnnouncement)
        m_course.restarted = true;
}

void PortFollower::noteAnswer(const LineKindRow& row, Moment time)
{
    if (replyField(m_awaited, 0) != row.command)
        return;
    if (!m_awaitedTwice && time && m_awaitedSince && *time >= *m_awaitedSince)
        m_course.tally(row.kind).answers.note(*time - *m_awaitedSince);
    m_awaited.clear();
}

void PortFollower::acknowledge(LineKind kind, QByteArrayView text, double at)
{
    m_hasWorked = m_hasWorked || kind != LineKind::AskVersion;
    switch (kind) {
    case LineKind::AskVersion:
        m_course.boardVersion = shownText(replyField(text, 1));
        break;
    case LineKind::EraseImages:
        break;
    case LineKind::ErasePage:
        drawPage(at, 0);
        break;
    case LineKind::Data:
        drawPage(at, (m_dataLine + 1) / (kLinesPerPage + 1));
        break;
    case LineKind::ProgramPage:
        drawPage(at, 1);
        m_pageHasData = false;
        break;
    case LineKind::ImageHeader:
        m_imageIsDone = replyField(text, 1) == "1";
        drawImage(at, m_imageIsDone ? 1 : 0);
        break;
    case LineKind::ImageBlock:
        m_imageIsDone = m_course.block >= m_course.blocks;
        drawImage(at, m_imageIsDone ? 1 : static_cast<double>(m_course.block) / m_course.blocks);
        break;
    }
}

// Of a log that begins within a page or an image nobody knows which it is.

void PortFollower::drawPage(double at, double done)
{
    if (m_course.page > 0)
        m_course.pages.add({at, m_course.page - 1 + done});
}

void PortFollower::drawImage(double at, double done)
{
    if (m_course.image > 0)
        m_course.images.add({at, m_course.image - 1 + done});
}

} // namespace doctor
