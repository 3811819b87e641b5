#include "tests/fuzz/Reference.h"

#include <cstdio>
#include <cstring>

namespace reference {

std::string hex(unsigned value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%X", value);
    return text;
}

std::optional<std::string> dialogFrame(const std::string& buffer)
{
    constexpr std::size_t kLastEnd = 993; // "*", four digits, line feed and NUL fit after it
    const std::size_t dollar = buffer.find('$');
    if (dollar == std::string::npos)
        return std::nullopt;
    const std::size_t end = buffer.find('\0', dollar);
    if (end == std::string::npos || end > kLastEnd)
        return std::nullopt;
    const std::string digits = hex(crc(buffer.substr(dollar + 1, end - dollar - 1)));
    std::string frame = buffer.substr(0, end) + '*' + digits;
    if (digits.size() == 4)
        frame += '\n';
    // What stands before the "$" may hold a NUL: the line ends there.
    return frame.substr(0, frame.find('\0'));
}

std::optional<std::string> dialogPlain(const std::string& buffer)
{
    const std::size_t end = buffer.find('\0');
    if (end == std::string::npos || end == buffer.size() - 1)
        return std::nullopt;
    return buffer.substr(0, end) + '\n';
}

std::optional<std::string> serviceFrame(const std::string& text)
{
    constexpr std::size_t kLongest = 247;
    const std::size_t dollar = text.find('$');
    if (text.size() > kLongest || dollar == std::string::npos)
        return std::nullopt;
    return text + '*' + hex(crc(text.substr(dollar + 1))) + '\n';
}

std::optional<std::string> field(const std::string& line, int index)
{
    constexpr std::size_t kWalk = 65535;
    std::size_t at = 0;
    while (index > 0) {
        if (at >= line.size() || at >= kWalk)
            return std::nullopt;
        if (line[at] == ',' || line[at] == '*')
            --index;
        ++at;
    }
    std::string text;
    while (at < line.size() && at < kWalk && std::strchr("\n\r*,", line[at]) == nullptr)
        text += line[at++];
    return text;
}

int fieldCount(const std::string& line)
{
    int count = 0;
    for (const char c : line) {
        if (c == '\n' || c == '\r')
            break;
        if (c == ',')
            ++count;
    }
    return count;
}

std::uint32_t decimal(const std::string& text)
{
    std::uint64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        value = (value * 10 + static_cast<std::uint64_t>(c - '0')) % 0x100000000U;
    }
    return static_cast<std::uint32_t>(value);
}

std::uint32_t hexadecimal(const std::string& text)
{
    const std::string last = text.size() > 8 ? text.substr(text.size() - 8) : text;
    std::uint32_t value = 0;
    for (const char c : last) {
        const char* const digits = "0123456789abcdef0123456789ABCDEF";
        const char* const found = c == '\0' ? nullptr : std::strchr(digits, c);
        value
            = value * 16 + (found == nullptr ? 0 : static_cast<std::uint32_t>(found - digits) % 16);
    }
    return value;
}

} // namespace reference
