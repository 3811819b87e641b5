#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

/// What the end of a received line says about its checksum.
enum class Check { Right, Wrong, Missing };

/// A received line, split into its fields.
class Command
{
public:
    /// `line` starts with "$" and has no line feed.
    explicit Command(std::string line);

    [[nodiscard]] Check check() const { return m_check; }
    [[nodiscard]] const std::string& line() const { return m_line; }
    /// The command word without its "$".
    [[nodiscard]] const std::string& word() const { return m_fields.front(); }
    /// The number of fields after the word.
    [[nodiscard]] std::size_t count() const { return m_fields.size() - 1; }
    /// Field `index`, 1 being the first after the word, read as hexadecimal. None when the field is
    /// absent, is empty, has more than eight digits or any other character.
    [[nodiscard]] std::optional<std::uint32_t> number(std::size_t index) const;
    /// The fields from `first` on as bytes; none when one of them is not a byte.
    [[nodiscard]] std::optional<std::string> bytes(std::size_t first) const;

private:
    std::string m_line;
    Check m_check = Check::Missing;
    std::vector<std::string> m_fields; // the word first
};

/// CRC-16 of `bytes`: reflected polynomial 0x8408, first value 0xFFFF, no final inversion.
[[nodiscard]] std::uint16_t checksum(std::string_view bytes);
/// The line as it is sent: "$", `body`, "*", four digits, line feed.
[[nodiscard]] std::string withChecksum(std::string_view body);
/// The line as it is sent without checksum: "$", `body`, line feed.
[[nodiscard]] std::string withoutChecksum(std::string_view body);
/// `value` in upper-case hexadecimal with at least two digits.
[[nodiscard]] std::string hex(std::uint32_t value);

} // namespace vboard
