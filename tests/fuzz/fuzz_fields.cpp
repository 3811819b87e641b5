// The field helpers against a plain reference: two numbers, then a line.

#include "protocol/Crc.h"
#include "protocol/Line.h"
#include "protocol/WireText.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/fuzz/Reference.h"

#include <cstring>
#include <vector>

using protocol::WireText;

namespace {

constexpr int kMostFields = 80; // more than the longest line of the wire has
constexpr char kUntouched = '~';

void tryGetfield(const char* line, const std::string& text, int index, int maxLength)
{
    // As large as the caller has to make it and not a byte more.
    std::vector<char> out(static_cast<std::size_t>(maxLength) + 1, kUntouched);
    const int found = WireText::Getfield(line, out.data(), index, maxLength);
    const auto wanted = reference::field(text, index);
    expect(found == (wanted ? 1 : 0), "Getfield tells whether the field exists");
    if (wanted)
        expect(wanted->substr(0, static_cast<std::size_t>(maxLength)) == out.data(),
            "Getfield copies the field");
    else
        expect(out.front() == kUntouched, "Getfield leaves the output alone");
}

void tryNumbers(const char* line, const std::string& text, int index)
{
    constexpr std::size_t kMostDigits = 32;
    const std::string wanted = reference::field(text, index).value_or("").substr(0, kMostDigits);
    expect(WireText::DecodeU32Field(line, static_cast<unsigned short>(index))
            == reference::decimal(wanted),
        "DecodeU32Field reads a decimal field");
    expect(WireText::StrToU32(line) == reference::decimal(text), "StrToU32 reads leading digits");
    expect(WireText::HexStrDecode(line) == reference::hexadecimal(text),
        "HexStrDecode reads the whole text");
    for (const char c : text)
        expect(WireText::HexCharDecode(c) == reference::hexadecimal({c}), "HexCharDecode");
}

void tryWriting(quint32 value)
{
    std::array<char, 9> out{};
    const int count = WireText::u32ToHexStr(value, out.data());
    const std::string wanted = reference::hex(value);
    expect(wanted == out.data(), "u32ToHexStr writes the number");
    expect(count == static_cast<int>(wanted.size()), "u32ToHexStr counts its digits");
    constexpr quint32 kNibble = 16;
    expect(reference::hex(value % kNibble).front()
            == WireText::ToHex(static_cast<unsigned char>(value % kNibble)),
        "ToHex");
}

void tryChecksum(const std::string& text)
{
    unsigned short stepped = protocol::kCrcInitial;
    for (const char c : text)
        WireText::CRC(static_cast<unsigned char>(c), &stepped);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned wanted = reference::crc(text);
    expect(stepped == wanted, "CRC");
    expect(CRCArray(protocol::kCrcInitial, bytes, static_cast<unsigned>(text.size())) == wanted,
        "CRCArray");
    expect(protocol::crcOf(text) == wanted, "crcOf");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const int index = input.below(kMostFields);
    const int maxLength = input.byte();
    const QByteArrayView rest = input.rest();
    // A copy of its own that ends with its NUL: a byte read after it is seen.
    std::vector<char> line(rest.begin(), rest.end());
    line.push_back('\0');
    const std::string text(line.data());

    tryGetfield(line.data(), text, index, maxLength);
    tryNumbers(line.data(), text, index);
    expect(WireText::fieldCount(line.data()) == reference::fieldCount(text), "fieldCount");
    const std::string word = reference::field(text, 0).value_or("");
    expect(WireText::StringMatch(line.data(), word.c_str()) == (text == word), "StringMatch");
    tryWriting(reference::hexadecimal(text));
    tryChecksum(std::string(rest.begin(), rest.end()));
    return 0;
}
