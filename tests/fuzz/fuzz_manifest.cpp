// Gives any text to the manifest's reader.

#include "bootload/CompiledSet.h"
#include "tests/fuzz/Fuzzing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const Manifest manifest = readManifest(text);
    expect(!manifest.version.isEmpty(), "there is always a version");
    expect(manifest.images.size() <= text.size(), "no more images than the text has room for");
    for (const ManifestImage& image : manifest.images)
        expect(image.fileName.size() <= text.size(), "a name is no longer than the text");
    return 0;
}
