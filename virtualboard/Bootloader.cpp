#include "virtualboard/Bootloader.h"

#include <algorithm>
#include <array>

namespace vboard {

namespace {

Outcome broken(std::string rule)
{
    Outcome outcome;
    outcome.ruleBroken = std::move(rule);
    return outcome;
}

} // namespace

Bootloader::Bootloader(int baudRate, OwnTimes times, FlashMemory& flash, ImageStore& images)
    : m_baudRate(baudRate), m_times(times), m_flash(flash), m_images(images)
{
}

void Bootloader::start(Time now)
{
    m_nextAnnouncement = now;
    m_imagesErased.reset();
    m_busyUntil = now;
}

Outcome Bootloader::take(const Command& command, Time now)
{
    struct Row
    {
        const char* word;
        Outcome (Bootloader::*handler)(const Command&, Time);
    };
    static constexpr std::array kRows{
        Row{"G", &Bootloader::capture},
        Row{"E", &Bootloader::erasePage},
        Row{"D", &Bootloader::fillPage},
        Row{"P", &Bootloader::programPage},
        Row{"I", &Bootloader::announceImage},
        Row{"F", &Bootloader::storeBlock},
        Row{"A", &Bootloader::eraseImages},
        Row{"X", &Bootloader::leave},
    };
    const auto row = std::find_if(kRows.begin(), kRows.end(),
        [&](const Row& candidate) { return candidate.word == command.word(); });
    if (row == kRows.end())
        return broken('$' + command.word() + ": the bootloader has no such command");
    if (command.check() == Check::Missing && command.word() != "G")
        return broken('$' + command.word() + " without checksum");
    Outcome outcome = (this->*row->handler)(command, now);
    // A command captures the bootloader as "$G" does, which the updater sends only once and which
    // can be lost. A command that breaks a rule does not: it is left over from a job that a restart
    // cut off.
    if (outcome.ruleBroken.empty())
        m_nextAnnouncement.reset();
    return outcome;
}

std::optional<Time> Bootloader::due() const
{
    return m_imagesErased ? m_imagesErased : m_nextAnnouncement;
}

Outcome Bootloader::wake(Time now)
{
    Outcome outcome;
    if (m_imagesErased) {
        m_imagesErased.reset();
        m_images.eraseAll();
        outcome.replies.push_back({now, "AACK,1"});
    } else if (m_nextAnnouncement) {
        m_nextAnnouncement = now + kAnnounceInterval;
        outcome.replies.push_back({now, "Bootloader", false});
    }
    return outcome;
}

Outcome Bootloader::answer(std::string body, Time now, Time work)
{
    m_busyUntil = std::max(now, m_busyUntil) + work;
    Outcome outcome;
    outcome.replies.push_back({m_busyUntil, std::move(body)});
    return outcome;
}

Outcome Bootloader::capture(const Command&, Time now)
{
    return answer("GACK", now);
}

Outcome Bootloader::erasePage(const Command& command, Time now)
{
    const auto address = command.number(1);
    if (!address || command.count() != 2 || command.number(2) != 1U || !m_flash.erase(*address))
        return broken("$E: not one page of the firmware area");
    return answer("EACK", now, m_times.erase);
}

Outcome Bootloader::fillPage(const Command& command, Time now)
{
    const auto offset = command.number(1);
    const auto bytes = command.bytes(2);
    if (!offset || !bytes || !m_flash.fill(*offset, *bytes))
        return broken("$D: no page erased for it, or not a line of a page");
    return answer("DACK", now);
}

Outcome Bootloader::programPage(const Command& command, Time now)
{
    const auto address = command.number(1);
    if (!address || command.number(2) != FlashMemory::kPageSize || !m_flash.program(*address))
        return broken("$P: the page was not erased and filled");
    return answer("PACK", now, m_times.program);
}

Outcome Bootloader::announceImage(const Command& command, Time now)
{
    const auto number = command.number(1);
    const auto version = command.number(2);
    const auto width = command.number(3);
    const auto height = command.number(4);
    if (!number || !version || !width || !height || command.count() != 4)
        return broken("$I: not number, version, width and height");
    switch (m_images.announce(*number, *version, *width, *height)) {
    case ImageStore::Header::Wanted:
        return answer("IACK,0", now);
    case ImageStore::Header::AlreadyHeld:
        return answer("IACK,1", now);
    case ImageStore::Header::TooLarge:
        break;
    }
    return broken("$I: the image is larger than the memory");
}

Outcome Bootloader::storeBlock(const Command& command, Time now)
{
    const auto number = command.number(1);
    const auto bytes = command.bytes(2);
    if (!number || !bytes)
        return broken("$F: not a block number and bytes");
    switch (m_images.store(*number, *bytes)) {
    case ImageStore::Block::Stored:
        return answer("FACK," + hex(*number) + ",0", now,
            m_images.isWhole() ? m_times.imageEnd : Time::zero());
    case ImageStore::Block::StoredBefore:
        return answer("FACK," + hex(*number) + ",0", now);
    case ImageStore::Block::NoImage:
        return broken("$F: no image was announced");
    case ImageStore::Block::OutOfOrder:
        break;
    }
    return broken("$F: not the next block");
}

Outcome Bootloader::eraseImages(const Command& command, Time now)
{
    if (command.count() != 1 || command.number(1) != 1U)
        return broken("$A: not \"$A,1\"");
    // Asked again while it erases, the board answers again and does not start over.
    if (!m_imagesErased)
        m_imagesErased = now + m_times.imageErase;
    return answer("AACK,0", now);
}

Outcome Bootloader::leave(const Command&, Time)
{
    Outcome outcome;
    outcome.next = Runs::Application;
    return outcome;
}

} // namespace vboard
