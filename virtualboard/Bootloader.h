#pragma once

#include "virtualboard/BoardProgram.h"
#include "virtualboard/FlashMemory.h"
#include "virtualboard/ImageStore.h"

namespace vboard {

/// How long the board takes for its own work.
struct OwnTimes
{
    Time boot = 100ms; ///< from a restart until a program runs
    Time erase = 0ms; ///< of one page
    Time program = 0ms; ///< of one page
    Time imageErase = 1s; ///< of all images
    Time imageEnd = 0ms; ///< after the last block of an image

    /// What flash chips of this size take.
    static constexpr OwnTimes realistic() { return {300ms, 45ms, 12ms, 20s, 0ms}; }
};

/// The board's bootloader. It announces itself until it is captured, and then obeys commands that
/// change the flash and the images. A command whose line broke a rule gets no answer.
class Bootloader : public BoardProgram
{
public:
    static constexpr int kBaudRate = 921600;
    /// The rate of the bootloader of a board with the reporting application.
    static constexpr int kSlowBaudRate = 115200;
    static constexpr Time kAnnounceInterval = 500ms;

    /// Works on `flash` and `images`, which outlive it.
    Bootloader(int baudRate, OwnTimes times, FlashMemory& flash, ImageStore& images);

    [[nodiscard]] int baudRate() const override { return m_baudRate; }
    void start(Time now) override;
    [[nodiscard]] Outcome take(const Command& command, Time now) override;
    [[nodiscard]] std::optional<Time> due() const override;
    [[nodiscard]] Outcome wake(Time now) override;

private:
    Outcome capture(const Command& command, Time now);
    Outcome erasePage(const Command& command, Time now);
    Outcome fillPage(const Command& command, Time now);
    Outcome programPage(const Command& command, Time now);
    Outcome announceImage(const Command& command, Time now);
    Outcome storeBlock(const Command& command, Time now);
    Outcome eraseImages(const Command& command, Time now);
    Outcome leave(const Command& command, Time now);
    Outcome answer(std::string body, Time now, Time work = {});

    int m_baudRate;
    OwnTimes m_times;
    FlashMemory& m_flash;
    ImageStore& m_images;
    std::optional<Time> m_nextAnnouncement;
    std::optional<Time> m_imagesErased; // when the erasing that is going on ends
    Time m_busyUntil{};
};

} // namespace vboard
