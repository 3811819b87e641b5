#include "virtualboard/Checksum.h"

#include <array>

namespace vboard {

namespace {

constexpr std::uint16_t kReflectedPolynomial = 0x8408;
constexpr std::uint16_t kFirstValue = 0xFFFF;

// A table made bit by bit, as the textbook has it: on purpose not the shift formula of the updater.
constexpr auto kTable = [] {
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned value = byte;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1U) != 0 ? (value >> 1U) ^ kReflectedPolynomial : value >> 1U;
        table[byte] = static_cast<std::uint16_t>(value);
    }
    return table;
}();

} // namespace

std::uint16_t checksum(std::string_view bytes)
{
    unsigned value = kFirstValue;
    for (const char byte : bytes)
        value = (value >> 8U) ^ kTable[(value ^ static_cast<unsigned char>(byte)) & 0xFFU];
    return static_cast<std::uint16_t>(value);
}

} // namespace vboard
