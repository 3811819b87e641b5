#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vboard {

/// An image of a release set, as it should arrive on a board.
struct ExpectedImage
{
    QString fileName;
    std::uint32_t number = 0;
    std::uint32_t version = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::string data;
};

/// What a board holds after a job, read from the folder of a release set by this program's own
/// readers.
struct ExpectedSet
{
    std::string firmware; ///< the whole firmware area; FF where "fw1.bin" has no byte
    std::vector<ExpectedImage> images; ///< in the manifest's order

    /// Reads `folder`. None when its manifest or firmware cannot be read; `error` then says why.
    /// An image file that is missing counts as an empty one, as in the updater.
    [[nodiscard]] static std::optional<ExpectedSet> read(const QString& folder, QString& error);
};

/// Takes width, height and bytes from the text of a C-source image.
void readImageText(const std::string& text, ExpectedImage& image);

} // namespace vboard
