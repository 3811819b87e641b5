// Text into the image parser.

#include "bootload/ImageParser.h"
#include "tests/fuzz/Expect.h"
#include "tests/fuzz/Quiet.h"
#include "tests/fuzz/Reference.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool quiet = (beQuiet(), true);
    Q_UNUSED(quiet)
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    ImageFile image;
    parseImage(text, image);
    const std::string bytes = reference::arrayBytes(text.toStdString());
    expect(image.data == QByteArray::fromStdString(bytes), "the bytes of the array");
    expect(text.contains(".header.w") || image.width == 0, "a width only where it is named");
    expect(text.contains(".header.h") || image.height == 0, "a height only where it is named");

    // What it has read before is kept: the bytes are appended.
    const QByteArray once = image.data;
    parseImage(text, image);
    expect(image.data == once + once, "reading again appends the same");
    return 0;
}
