#pragma once

#include <cstdint>
#include <span>

namespace protocol {

/// Start value of a line's checksum.
inline constexpr std::uint16_t kCrcInitial = 0xFFFF;

/// One step of CRC-16/MCRF4XX (reflected polynomial 0x8408, start 0xFFFF, no final inversion; the
/// name is that of the catalogue of parametrised CRC algorithms). Returns the value of `crc`
/// advanced by the byte `data`.
[[nodiscard]] constexpr std::uint16_t crcStep(std::uint16_t crc, std::uint8_t data)
{
    auto x = static_cast<std::uint8_t>(data ^ (crc & 0xFFU));
    x = static_cast<std::uint8_t>(x ^ (x << 4U));
    return static_cast<std::uint16_t>((x << 8U) ^ (crc >> 8U) ^ (x >> 4U) ^ (x << 3U));
}

/// The checksum of `bytes`, taken in order from `kCrcInitial`.
[[nodiscard]] std::uint16_t crcOf(std::span<const char> bytes);

} // namespace protocol

/// One checksum step over the low 8 bits of `data`: updates `*crc` and returns the new value.
unsigned short CRCByte(int data, unsigned short* crc);

/// The checksum steps over `length` bytes at `data`, starting from `crc`. Returns the result; a
/// length of 0 returns `crc` unchanged and does not read `data`.
unsigned short CRCArray(unsigned short crc, const unsigned char* data, unsigned int length);
