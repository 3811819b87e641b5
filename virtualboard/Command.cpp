#include "virtualboard/Command.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <utility>

namespace vboard {

namespace {

constexpr std::uint16_t kReflectedPolynomial = 0x8408;
constexpr std::uint16_t kFirstValue = 0xFFFF;

// A table made bit by bit: on purpose not the shift formula of the updater.
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

std::optional<std::uint32_t> parseHex(std::string_view digits, std::size_t most)
{
    std::uint32_t value = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() > most || error != std::errc() || rest != end)
        return std::nullopt;
    return value;
}

std::vector<std::string> split(std::string_view body)
{
    std::vector<std::string> fields;
    fields.reserve(1 + static_cast<std::size_t>(std::ranges::count(body, ',')));
    for (;;) {
        const std::size_t comma = body.find(',');
        fields.emplace_back(body.substr(0, comma));
        if (comma == std::string_view::npos)
            return fields;
        body.remove_prefix(comma + 1);
    }
}

} // namespace

Command::Command(std::string line) : m_line(std::move(line))
{
    std::string_view body = m_line;
    body.remove_prefix(1);
    const std::size_t star = body.rfind('*');
    if (star != std::string_view::npos) {
        const auto said = parseHex(body.substr(star + 1), 4);
        body = body.substr(0, star);
        m_check = said && *said == checksum(body) ? Check::Right : Check::Wrong;
    }
    m_fields = split(body);
}

std::optional<std::uint32_t> Command::number(std::size_t index) const
{
    if (index >= m_fields.size())
        return std::nullopt;
    return parseHex(m_fields[index], 8);
}

std::optional<std::string> Command::bytes(std::size_t first) const
{
    std::string result;
    result.reserve(m_fields.size());
    for (std::size_t index = first; index < m_fields.size(); ++index) {
        const auto value = parseHex(m_fields[index], 2);
        if (!value)
            return std::nullopt;
        result += static_cast<char>(*value);
    }
    return result;
}

std::uint16_t checksum(std::string_view bytes)
{
    unsigned value = kFirstValue;
    for (const char byte : bytes)
        value = (value >> 8U) ^ kTable[(value ^ static_cast<unsigned char>(byte)) & 0xFFU];
    return static_cast<std::uint16_t>(value);
}

std::string withChecksum(std::string_view body)
{
    char digits[8];
    std::snprintf(digits, sizeof digits, "*%04X\n", static_cast<unsigned>(checksum(body)));
    return '$' + std::string(body) + digits;
}

std::string withoutChecksum(std::string_view body)
{
    return '$' + std::string(body) + '\n';
}

std::string hex(std::uint32_t value)
{
    char digits[12];
    std::snprintf(digits, sizeof digits, "%02X", value);
    return digits;
}

} // namespace vboard
