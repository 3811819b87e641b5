#include "virtualboard/ImageStore.h"

namespace vboard {

void ImageStore::hold(std::uint32_t number, std::uint32_t version)
{
    StoredImage& image = m_images[number];
    image.version = version;
    image.complete = true;
    image.heldBefore = true;
}

ImageStore::Header ImageStore::announce(
    std::uint32_t number, std::uint32_t version, std::uint32_t width, std::uint32_t height)
{
    const auto held = m_images.find(number);
    if (held != m_images.end() && held->second.complete && held->second.version == version)
        return Header::AlreadyHeld;
    if (std::uint64_t{width} * height > kLargestImage / kBytesPerPixel)
        return Header::TooLarge;
    m_images[number] = {version, width, height, {}, false, false};
    m_current = number;
    m_nextBlock = 0;
    return Header::Wanted;
}

ImageStore::Block ImageStore::store(std::uint32_t number, std::string_view bytes)
{
    if (!m_current)
        return Block::NoImage;
    StoredImage& image = m_images.at(*m_current);
    if (number < m_nextBlock) {
        const std::size_t offset = number * kBlockSize;
        const bool same = image.data.compare(offset, kBlockSize, bytes) == 0;
        return same ? Block::StoredBefore : Block::OutOfOrder;
    }
    const bool roomLeft = image.data.size() + bytes.size() <= kLargestImage;
    // A block that is not full is the last one: nothing can follow it.
    const bool follows = image.data.size() == number * kBlockSize;
    if (number != m_nextBlock || !follows || bytes.size() > kBlockSize || !roomLeft)
        return Block::OutOfOrder;
    image.data += bytes;
    ++m_nextBlock;
    image.complete = image.data.size() >= std::size_t{image.width} * image.height * kBytesPerPixel;
    return Block::Stored;
}

void ImageStore::eraseAll()
{
    m_images.clear();
    m_current.reset();
}

void ImageStore::losePower()
{
    if (m_current && !m_images.at(*m_current).complete)
        m_images.erase(*m_current);
    m_current.reset();
}

} // namespace vboard
