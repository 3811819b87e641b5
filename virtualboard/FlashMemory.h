#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

enum class PageState { Untouched, Erased, Filling, Programmed };

/// The flash memory that the bootloader writes the firmware into, with the one page buffer that
/// data lines fill.
class FlashMemory
{
public:
    static constexpr std::uint32_t kFirstAddress = 0x1000;
    static constexpr std::uint32_t kEndAddress = 0xE0000;
    static constexpr std::uint32_t kPageSize = 0x1000;
    static constexpr std::uint32_t kLineSize = 64;
    static constexpr std::size_t kPageCount = (kEndAddress - kFirstAddress) / kPageSize;
    static constexpr std::size_t kLinesPerPage = kPageSize / kLineSize;
    /// What an untouched page holds: no firmware looks like that.
    static constexpr char kOldContent = '\x5A';
    static constexpr char kErased = '\xFF';

    FlashMemory();

    /// Erases the page at `address` and makes it the one that data lines fill.
    /// False when no page starts there; nothing changes then.
    [[nodiscard]] bool erase(std::uint32_t address);
    /// Puts a data line into the page buffer. False when no page is erased, or when no data line
    /// has this offset or number of bytes.
    [[nodiscard]] bool fill(std::uint32_t offset, std::string_view bytes);
    /// Writes the page buffer to the page at `address`; true again, without effect, when repeated.
    /// False when that page was not the last one erased or one of its lines is missing.
    [[nodiscard]] bool program(std::uint32_t address);
    /// A restart: the page buffer is lost.
    void losePower();

    /// True when some page was erased and not programmed since: there is no firmware to start.
    [[nodiscard]] bool isIncomplete() const;
    [[nodiscard]] PageState state(std::size_t page) const { return m_states.at(page); }
    [[nodiscard]] std::string_view page(std::size_t page) const;
    [[nodiscard]] std::size_t pagesIn(PageState state) const;

private:
    static std::optional<std::size_t> pageAt(std::uint32_t address);

    std::string m_content;
    std::array<PageState, kPageCount> m_states{};
    std::string m_buffer;
    std::bitset<kLinesPerPage> m_filled;
    std::optional<std::size_t> m_current;
};

} // namespace vboard
