// The field helpers. An input is two numbers, then a line. tst_wiretext and tst_crc test what they
// read and write; here every buffer has exactly the size that a caller has to give it, so that the
// sanitizers notice a byte beyond it.

#include "protocol/Crc.h"
#include "protocol/WireText.h"
#include "tests/fuzz/Fuzzing.h"

#include <array>
#include <vector>

using protocol::WireText;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int kMostFields = 80; // more than the longest line of the wire has
    Input input(data, size);
    const int index = input.below(kMostFields);
    const int maxLength = input.byte();
    const QByteArrayView rest = input.rest();
    std::vector<char> line(rest.begin(), rest.end());
    line.push_back('\0');

    std::vector<char> field(static_cast<std::size_t>(maxLength) + 1);
    WireText::Getfield(line.data(), field.data(), index, maxLength);
    WireText::DecodeU32Field(line.data(), static_cast<unsigned short>(index));
    WireText::StrToU32(line.data());
    expect(WireText::fieldCount(line.data()) <= rest.size(), "no more fields than bytes");
    expect(WireText::StringMatch(line.data(), line.data()), "a text is equal to itself");

    std::array<char, 9> digits{};
    const quint32 value = WireText::HexStrDecode(line.data());
    WireText::u32ToHexStr(value, digits.data());
    expect(WireText::HexStrDecode(digits.data()) == value, "a written number is read back");
    const std::vector<unsigned char> bytes(rest.begin(), rest.end());
    CRCArray(protocol::kCrcInitial, bytes.data(), static_cast<unsigned>(bytes.size()));
    return 0;
}
