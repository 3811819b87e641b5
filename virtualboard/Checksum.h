#pragma once

#include <cstdint>
#include <string_view>

namespace vboard {

/// CRC-16 of `bytes`: reflected polynomial 0x8408, first value 0xFFFF, no final inversion.
[[nodiscard]] std::uint16_t checksum(std::string_view bytes);

} // namespace vboard
