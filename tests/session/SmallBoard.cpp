#include "tests/session/SmallBoard.h"

#include <algorithm>

namespace {

constexpr qint32 kPageSize = 0x1000;
constexpr qint32 kLineSize = 64;
constexpr qint16 kSpoilt = -2; ///< a line that was programmed over another one

/// What every line of the page at `index` carries.
qint16 contentOfPage(int index)
{
    return static_cast<qint16>((SmallBoard::kFirstPage + index * kPageSize) / kPageSize & 0xFF);
}

} // namespace

void SmallBoard::take(
    const ShortLine& line, const SmallBoardKind& kind, qint32 blocks, QByteArrayList& answers)
{
    if (!inBootloader) {
        if (line.word == 'M')
            answers << "$MVERR,D.01a";
        if (line.word == 'B') {
            inBootloader = true;
            captured = false;
            bootsIn = kind.bootTicks;
        }
        return;
    }
    if (bootsIn > 0 || line.word == 'M' || line.word == 'B')
        return;
    captured = true;
    switch (line.word) {
    case 'E':
        return erasePage(line.number, kind, answers);
    case 'D':
        return fillPage(line, kind, answers);
    case 'P':
        return programPage(line.number, kind, answers);
    case 'I':
        return announceImage(line.number, blocks, kind, answers);
    case 'F':
        return storeBlock(line, blocks, kind, answers);
    case 'A':
        // Asked again while it erases, it says so again.
        if (erasedIn == 0)
            erasedIn = kind.eraseTicks;
        answers << "$AACK,0";
        return;
    default:
        return;
    }
}

void SmallBoard::tick(const SmallBoardKind& kind, QByteArrayList& answers)
{
    if (erasedIn > 0 && --erasedIn == 0) {
        images = {};
        answers << "$AACK,1";
    }
    if (bootsIn > 0)
        --bootsIn;
    if (inBootloader && !captured && (bootsIn == 0 || kind.announcesEarly))
        answers << "$Bootloader";
}

void SmallBoard::erasePage(qint32 page, const SmallBoardKind& kind, QByteArrayList& answers)
{
    const auto index = static_cast<std::size_t>((page - kFirstPage) / kPageSize);
    const bool again = openPage == page && flash.at(index).front() == kErased
        && std::all_of(buffer.begin(), buffer.end(), [](qint16 line) { return line == kErased; });
    if (again && !kind.answersRepeats)
        return;
    flash.at(index).fill(kErased);
    // A board that does not check keeps what it was sent before: a line that is missing is then
    // programmed with that of another page.
    if (kind.checksPages)
        buffer.fill(kErased);
    openPage = page;
    answers << "$EACK";
}

void SmallBoard::fillPage(
    const ShortLine& line, const SmallBoardKind& kind, QByteArrayList& answers)
{
    if (kind.checksPages && openPage == 0)
        return;
    qint16& place = buffer.at(static_cast<std::size_t>(line.number / kLineSize));
    if (place == line.content && !kind.answersRepeats)
        return;
    place = static_cast<qint16>(line.content);
    answers << "$DACK";
}

void SmallBoard::programPage(qint32 page, const SmallBoardKind& kind, QByteArrayList& answers)
{
    Page& programmed = flash.at(static_cast<std::size_t>((page - kFirstPage) / kPageSize));
    const bool whole = std::find(buffer.begin(), buffer.end(), qint16{kErased}) == buffer.end();
    if (kind.checksPages && openPage != page) {
        // Already programmed, it says so again.
        if (programmed.front() != kErased && kind.answersRepeats)
            answers << "$PACK";
        return;
    }
    if (kind.checksPages && !whole)
        return;
    if (programmed == buffer && !kind.answersRepeats)
        return;
    for (std::size_t i = 0; i < programmed.size(); ++i) {
        // Flash that is programmed over holds neither.
        if (programmed.at(i) != kErased && programmed.at(i) != buffer.at(i))
            programmed.at(i) = kSpoilt;
        else
            programmed.at(i) = buffer.at(i);
    }
    openPage = 0;
    answers << "$PACK";
}

void SmallBoard::announceImage(
    qint32 number, qint32 blocks, const SmallBoardKind& kind, QByteArrayList& answers)
{
    Image& image = images.at(static_cast<std::size_t>(number));
    if (kind.keepsImages && image.blocks == blocks) {
        openImage = -1;
        answers << "$IACK,1";
        return;
    }
    if (openImage == number && image.blocks == 0 && !kind.answersRepeats)
        return;
    openImage = number;
    image = {};
    answers << "$IACK,0";
}

void SmallBoard::storeBlock(
    const ShortLine& line, qint32 blocks, const SmallBoardKind& kind, QByteArrayList& answers)
{
    if (openImage < 0)
        return;
    Image& image = images.at(static_cast<std::size_t>(openImage));
    const bool again = line.number == image.blocks - 1;
    if (line.number != image.blocks && !again)
        return;
    if (again && !kind.answersRepeats)
        return;
    if (line.content != openImage)
        image.wrong = true;
    if (!again && image.blocks < blocks)
        ++image.blocks;
    answers << "$FACK," + QByteArray::number(line.number, 16).toUpper() + ",0";
}

bool SmallBoard::hasFirmware() const
{
    for (int index = 0; index < kPages; ++index) {
        const Page& page = flash.at(static_cast<std::size_t>(index));
        if (std::any_of(page.begin(), page.end(),
                [index](qint16 line) { return line != contentOfPage(index); }))
            return false;
    }
    return true;
}

bool SmallBoard::hasImages(int count, qint32 blocks) const
{
    return std::all_of(images.begin(), images.begin() + count,
        [blocks](const Image& image) { return image.blocks == blocks && !image.wrong; });
}

bool SmallBoard::hasNoImages() const
{
    return std::all_of(
        images.begin(), images.end(), [](const Image& image) { return image.blocks == 0; });
}

void SmallBoard::appendTo(QByteArray& state) const
{
    ::appendTo(state, flash);
    ::appendTo(state, buffer);
    for (const Image& image : images) {
        ::appendTo(state, image.blocks);
        ::appendTo(state, image.wrong);
    }
    for (const qint32 number : {openPage, openImage, bootsIn, erasedIn})
        ::appendTo(state, number);
    ::appendTo(state, inBootloader);
    ::appendTo(state, captured);
}
