#pragma once

#include <QByteArray>
#include <QList>

#include <array>

/// Appends the bytes of `value` to `state`.
template <typename Value> void appendTo(QByteArray& state, const Value& value)
{
    state.append(reinterpret_cast<const char*>(&value), sizeof value);
}

/// What a small board is like.
struct SmallBoardKind
{
    bool checksPages
        = true; ///< does not program a page with a line missing, and does not answer then
    bool answersRepeats = true; ///< answers a line again that it has obeyed already
    bool keepsImages = true; ///< answers the header of an image that it has whole by "$IACK,1"
    bool announcesEarly = false; ///< its announcement is heard before the port is opened again, too
    int bootTicks = 1; ///< from "$BOOTLOADM" to the first announcement
    int eraseTicks = 4; ///< from "$A,1" to the erased images
};

/// A line to the board, as short as it can be told apart: `$D,40,DE,DE...` is {'D', 0x40, 0xDE}.
struct ShortLine
{
    char word = 0; ///< 'E', 'D', 'P', 'I', 'F', 'A', 'X', 'G', 'M' ("$MVER"), 'B' ("$BOOTLOADM")
    qint32 number = 0; ///< its first field
    qint32 content = 0; ///< its first byte of firmware or image
};

/// The end of the flash and a few images, on a board that obeys in no time. A plain value: a course
/// is gone on with from a copy of it. Each page and image is known by the one byte that it is full
/// of, as the explored release set has it.
struct SmallBoard
{
    static constexpr qint32 kFirstPage = 0xDE000;
    static constexpr int kPages = 2;
    static constexpr int kLines = 64;
    static constexpr int kMostImages = 3;
    static constexpr qint32 kErased = -1;

    using Page = std::array<qint16, kLines>;
    struct Image
    {
        qint16 blocks = 0; ///< of it that the board has
        bool wrong = false; ///< a block of another image is among them
    };

    /// Obeys `line` and appends its answers to `answers`.
    void take(
        const ShortLine& line, const SmallBoardKind& kind, qint32 blocks, QByteArrayList& answers);
    /// A step's time passes: announces itself, or ends the erasing.
    void tick(const SmallBoardKind& kind, QByteArrayList& answers);

    /// True when every page and each of the first `images` images, of `blocks` blocks, is whole.
    [[nodiscard]] bool hasFirmware() const;
    [[nodiscard]] bool hasImages(int images, qint32 blocks) const;
    [[nodiscard]] bool hasNoImages() const;

    /// All that it is, for telling two of them apart.
    void appendTo(QByteArray& state) const;

    std::array<Page, kPages> flash{}; ///< by line, the page's number; `kErased`
    Page buffer{}; ///< what the next page is programmed with
    qint32 openPage = 0; ///< the page that takes data; 0: none
    std::array<Image, kMostImages> images{};
    qint32 openImage = -1; ///< the image that takes blocks
    bool inBootloader = true;
    bool captured = true;
    qint32 bootsIn = 0; ///< ticks until the bootloader announces itself
    qint32 erasedIn = 0; ///< ticks until the images are erased; 0: they are not being erased

private:
    void erasePage(qint32 page, const SmallBoardKind& kind, QByteArrayList& answers);
    void fillPage(const ShortLine& line, const SmallBoardKind& kind, QByteArrayList& answers);
    void programPage(qint32 page, const SmallBoardKind& kind, QByteArrayList& answers);
    void announceImage(
        qint32 number, qint32 blocks, const SmallBoardKind& kind, QByteArrayList& answers);
    void storeBlock(
        const ShortLine& line, qint32 blocks, const SmallBoardKind& kind, QByteArrayList& answers);
};
