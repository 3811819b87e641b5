#include "protocol/Crc.h"

namespace protocol {

std::uint16_t crcOf(std::span<const char> bytes)
{
    std::uint16_t crc = kCrcInitial;
    for (const char byte : bytes)
        crc = crcStep(crc, static_cast<std::uint8_t>(byte));
    return crc;
}

} // namespace protocol

unsigned short CRCByte(int data, unsigned short* crc)
{
    *crc = protocol::crcStep(*crc, static_cast<std::uint8_t>(data));
    return *crc;
}

unsigned short CRCArray(unsigned short crc, const unsigned char* data, unsigned int length)
{
    for (const unsigned char byte : std::span(data, length))
        crc = protocol::crcStep(crc, byte);
    return crc;
}
