#include "tests/bench/JobLines.h"

#include "protocol/Commands.h"
#include "protocol/Crc.h"

#include <charconv>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

JobLines::JobLines(const std::string& path)
{
    std::istringstream job(contentOf(path));
    std::string firmware;
    std::getline(job, firmware);
    m_firmware = contentOf(firmware);
    m_firmware.resize(protocol::kFirmwareLast + 1, '\xFF'); // as erased flash reads
    Image image;
    std::string bytes;
    auto& [number, version, width, height] = image.fields;
    while (job >> number >> version >> width >> height >> bytes) {
        image.bytes = contentOf(bytes);
        m_images.push_back(image);
    }
}

std::string_view JobLines::answerTo(std::string_view reply)
{
    understand(reply);
    advance();
    build();
    return {m_line.data(), m_size};
}

void JobLines::understand(std::string_view reply) const
{
    constexpr std::array<std::string_view, 7> kAwaited{
        "$Bootloader", "$GACK", "$EACK", "$DACK", "$PACK", "$IACK", "$FACK"};
    const std::string_view word = reply.substr(0, reply.find_first_of(",*\r\n"));
    bool awaited = word == kAwaited.at(static_cast<std::size_t>(m_step));
    if (awaited && m_step == Step::Block) {
        constexpr int kHexadecimal = 16;
        std::size_t block = 0;
        const std::string_view field = reply.substr(word.size() + 1);
        std::from_chars(field.data(), field.data() + field.size(), block, kHexadecimal);
        awaited = block == m_block;
    }
    if (!awaited)
        throw std::runtime_error("unexpected reply: " + std::string(reply));
}

void JobLines::advance()
{
    switch (m_step) {
    case Step::AskForBootloader:
        m_step = Step::Capture;
        break;
    case Step::Capture:
        m_address = protocol::kFirmwareStart;
        m_step = Step::Erase;
        break;
    case Step::Erase:
        m_step = Step::Data;
        break;
    case Step::Data:
        m_address += protocol::kDataLineSize;
        m_step = m_address % protocol::kPageSize == 0 ? Step::Program : Step::Data;
        break;
    case Step::Program:
        m_step = m_address < m_firmware.size() ? Step::Erase : Step::Header;
        break;
    case Step::Header:
        m_block = 0;
        m_step = Step::Block;
        break;
    case Step::Block:
        ++m_block;
        if (m_block * protocol::kBlockSize >= m_images.at(m_image).bytes.size()) {
            ++m_image;
            m_step = Step::Header;
        }
        break;
    case Step::Exit:
        break;
    }
    if (m_step == Step::Header && m_image == m_images.size())
        m_step = Step::Exit;
}

void JobLines::build()
{
    m_size = 0;
    switch (m_step) {
    case Step::AskForBootloader:
        break;
    case Step::Capture:
        append("$G\n"); // has no checksum
        return;
    case Step::Erase:
        append("$E,");
        appendHex(m_address);
        append(",1");
        break;
    case Step::Data:
        append("$D,");
        appendHex(m_address % protocol::kPageSize);
        appendBytes(std::string_view(m_firmware).substr(m_address, protocol::kDataLineSize));
        break;
    case Step::Program:
        append("$P,");
        appendHex(m_address - protocol::kPageSize);
        append(",");
        appendHex(protocol::kPageSize);
        break;
    case Step::Header:
        append("$I");
        for (const std::size_t field : m_images.at(m_image).fields) {
            append(",");
            appendHex(field, 2);
        }
        break;
    case Step::Block:
        append("$F,");
        appendHex(m_block, 2);
        appendBytes(std::string_view(m_images.at(m_image).bytes)
                        .substr(m_block * protocol::kBlockSize, protocol::kBlockSize));
        break;
    case Step::Exit:
        append("$X");
        break;
    }
    appendChecksum();
}

void JobLines::append(std::string_view text)
{
    m_size += text.copy(m_line.data() + m_size, m_line.size() - m_size);
}

void JobLines::appendHex(std::size_t value, int minDigits)
{
    std::array<char, 17> digits{};
    const int count = std::snprintf(digits.data(), digits.size(), "%0*zX", minDigits, value);
    append({digits.data(), static_cast<std::size_t>(count)});
}

void JobLines::appendBytes(std::string_view bytes)
{
    constexpr std::string_view kDigits{"0123456789ABCDEF"};
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        const std::array field{',', kDigits[value >> 4U], kDigits[value & 0xFU]};
        append({field.data(), field.size()});
    }
}

void JobLines::appendChecksum()
{
    std::uint16_t crc = protocol::kCrcInitial;
    for (std::size_t i = 1; i < m_size; ++i)
        crc = protocol::crcStep(crc, static_cast<std::uint8_t>(m_line.at(i)));
    append("*");
    appendHex(crc);
    // A checksum of fewer digits goes out without a line feed, as the program sends it.
    if (crc >= 0x1000)
        append("\n");
}
