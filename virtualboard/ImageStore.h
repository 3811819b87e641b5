#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vboard {

/// An image in the board's memory, two bytes a pixel (RGB565, low byte first).
struct StoredImage
{
    std::uint32_t version = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string data;
    bool complete = false;
    /// Was there from the start, with unknown content.
    bool heldBefore = false;
};

/// The display images that the board keeps, by their number.
class ImageStore
{
public:
    static constexpr std::size_t kBlockSize = 256;
    static constexpr std::size_t kBytesPerPixel = 2;
    /// The most that one image may take.
    static constexpr std::size_t kLargestImage = 8U << 20U;

    enum class Header { Wanted, AlreadyHeld, TooLarge };
    enum class Block { Stored, StoredBefore, OutOfOrder, NoImage };

    /// An image that is there before the first job.
    void hold(std::uint32_t number, std::uint32_t version);
    /// An image is announced. Unless the image is held complete in that version, what was held
    /// under its number is dropped and blocks from 0 on are expected.
    [[nodiscard]] Header announce(
        std::uint32_t number, std::uint32_t version, std::uint32_t width, std::uint32_t height);
    /// A block of the image that was announced last. The same block with the same bytes is accepted
    /// again, since an acknowledgement can be lost.
    [[nodiscard]] Block store(std::uint32_t number, std::string_view bytes);
    void eraseAll();
    /// A restart: blocks of an image that is not complete are lost.
    void losePower();

    [[nodiscard]] const std::map<std::uint32_t, StoredImage>& images() const { return m_images; }
    /// The number of the image that blocks are expected for.
    [[nodiscard]] std::optional<std::uint32_t> current() const { return m_current; }
    /// True when that image has all of its blocks.
    [[nodiscard]] bool isWhole() const { return m_current && m_images.at(*m_current).complete; }

private:
    std::map<std::uint32_t, StoredImage> m_images;
    std::optional<std::uint32_t> m_current;
    std::uint32_t m_nextBlock = 0;
};

} // namespace vboard
