#include "releaseset/stand-in/Firmware.h"

#include <cstdint>

namespace standin {

namespace {

constexpr qsizetype kPageSize = 0x1000;
constexpr qsizetype kFirmwareSize = 913'408;
constexpr qsizetype kRowSize = 64;
constexpr char kErased = '\xff';

constexpr char kNotice[]
    = "STAND-IN FIRMWARE. NOT FOR A MACHINE.\n"
      "This image holds made-up bytes that exercise the updater. It cannot run\n"
      "on a display board. Build with the real release set to update a machine.\n";

/// Marsaglia's 32-bit xorshift, written out because a library's generator may change with it.
class Generator
{
public:
    std::uint32_t below(std::uint32_t limit)
    {
        m_state ^= m_state << 13U;
        m_state ^= m_state >> 17U;
        m_state ^= m_state << 5U;
        return m_state % limit;
    }

private:
    std::uint32_t m_state = 0x42D02EADU;
};

QByteArray mixedRow(Generator& generator)
{
    QByteArray row(kRowSize, '\0');
    const std::uint32_t kind = generator.below(8);
    if (kind == 0)
        return row;
    if (kind == 1)
        return row.fill(kErased);
    const std::uint32_t first = generator.below(256);
    for (qsizetype i = 0; i < row.size(); ++i) {
        const std::uint32_t byte
            = kind == 2 ? first + static_cast<std::uint32_t>(i) : generator.below(256);
        row[i] = static_cast<char>(byte & 0xffU);
    }
    return row;
}

QByteArray makePage(Generator& generator)
{
    const std::uint32_t kind = generator.below(10);
    if (kind == 0)
        return QByteArray(kPageSize, '\0');
    if (kind == 1)
        return QByteArray(kPageSize, kErased);
    QByteArray page;
    while (page.size() < kPageSize)
        page.append(mixedRow(generator));
    return page;
}

} // namespace

QByteArray makeFirmware()
{
    Generator generator;
    QByteArray image(kPageSize, '\0');
    while (image.size() < kFirmwareSize)
        image.append(makePage(generator));
    const QByteArray notice(kNotice);
    image.replace(kPageSize, notice.size(), notice);
    return image;
}

} // namespace standin
