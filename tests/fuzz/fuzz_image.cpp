// Gives any text to the image parser, which must read it to its end, twice with the same result.
// tst_imageparser tests what it reads from an image.

#include "bootload/ImageParser.h"
#include "tests/fuzz/Fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool silent = (silenceTheLog(), true);
    Q_UNUSED(silent)
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    ImageFile image;
    parseImage(text, image);
    expect(
        image.data.size() <= text.count(',') + 1, "no more bytes than there is room for literals");
    expect(text.contains(".header.w") || image.width == 0, "a width only where it is named");
    expect(text.contains(".header.h") || image.height == 0, "a height only where it is named");

    // What was read before is kept: the bytes are appended.
    const QByteArray once = image.data;
    parseImage(text, image);
    expect(image.data == once + once, "reading again appends the same");
    return 0;
}
