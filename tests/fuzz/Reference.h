#pragma once

#include "tests/support/Reference.h"

#include <cstdint>
#include <optional>
#include <string>

/// \file
/// The rules of the line once more, written plainly and without anything of the program: the fuzz
/// targets compare the program with them.

namespace reference {

/// `value` in upper-case hexadecimal without leading zeros.
[[nodiscard]] std::string hex(unsigned value);

/// What the dialog sends for the 1000 bytes of `buffer`; nothing when it must not send.
[[nodiscard]] std::optional<std::string> dialogFrame(const std::string& buffer);

/// What the dialog sends for them with a line feed alone.
[[nodiscard]] std::optional<std::string> dialogPlain(const std::string& buffer);

/// What the service sends for `text`, which has no NUL.
[[nodiscard]] std::optional<std::string> serviceFrame(const std::string& text);

/// Field `index` of `line`, which has no NUL.
[[nodiscard]] std::optional<std::string> field(const std::string& line, int index);

/// The number of "," up to the end of the line.
[[nodiscard]] int fieldCount(const std::string& line);

/// The leading decimal digits, modulo 2^32.
[[nodiscard]] std::uint32_t decimal(const std::string& text);

/// The last eight characters as hexadecimal digits, every other character as 0.
[[nodiscard]] std::uint32_t hexadecimal(const std::string& text);

} // namespace reference
