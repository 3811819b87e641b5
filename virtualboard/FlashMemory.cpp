#include "virtualboard/FlashMemory.h"

#include <algorithm>

namespace vboard {

FlashMemory::FlashMemory()
    : m_content(kPageCount * kPageSize, kOldContent), m_buffer(std::size_t{kPageSize}, kErased)
{
}

std::optional<std::size_t> FlashMemory::pageAt(std::uint32_t address)
{
    if (address < kFirstAddress || address >= kEndAddress || address % kPageSize != 0)
        return std::nullopt;
    return (address - kFirstAddress) / kPageSize;
}

bool FlashMemory::erase(std::uint32_t address)
{
    const auto page = pageAt(address);
    if (!page)
        return false;
    m_content.replace(*page * kPageSize, kPageSize, kPageSize, kErased);
    m_states.at(*page) = PageState::Erased;
    m_buffer.assign(kPageSize, kErased);
    m_filled.reset();
    m_current = page;
    return true;
}

bool FlashMemory::fill(std::uint32_t offset, std::string_view bytes)
{
    if (!m_current || m_states.at(*m_current) == PageState::Programmed || bytes.size() != kLineSize
        || offset % kLineSize != 0 || offset >= kPageSize)
        return false;
    m_buffer.replace(offset, kLineSize, bytes);
    m_filled.set(offset / kLineSize);
    m_states.at(*m_current) = PageState::Filling;
    return true;
}

bool FlashMemory::program(std::uint32_t address)
{
    const auto page = pageAt(address);
    if (!page || page != m_current || !m_filled.all())
        return false;
    m_content.replace(*page * kPageSize, kPageSize, m_buffer);
    m_states.at(*page) = PageState::Programmed;
    return true;
}

void FlashMemory::losePower()
{
    m_current.reset();
    m_filled.reset();
    std::replace(m_states.begin(), m_states.end(), PageState::Filling, PageState::Erased);
}

bool FlashMemory::isIncomplete() const
{
    return pagesIn(PageState::Erased) + pagesIn(PageState::Filling) > 0
        || (pagesIn(PageState::Programmed) > 0 && pagesIn(PageState::Untouched) > 0);
}

std::string_view FlashMemory::page(std::size_t page) const
{
    return std::string_view(m_content).substr(page * kPageSize, kPageSize);
}

std::size_t FlashMemory::pagesIn(PageState state) const
{
    return static_cast<std::size_t>(std::count(m_states.begin(), m_states.end(), state));
}

} // namespace vboard
