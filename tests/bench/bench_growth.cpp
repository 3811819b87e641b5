// How time and memory grow with the number and the size of images. Arguments of a benchmark: number
// of images, bytes of one image.
// clazy:excludeall=non-pod-global-static (how a benchmark is registered)

#include "bootload/ImageFile.h"
#include "bootload/ImageParser.h"
#include "tests/session/SessionBench.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

namespace {

constexpr int kKilobyte = 1024;
constexpr int kMegabyte = kKilobyte * kKilobyte;

QByteArray source(qint64 bytes)
{
    return imageSource(QByteArray(bytes, '\x5A'), static_cast<int>(bytes / 2), 1);
}

/// A set of `count` images of `bytes` bytes each. They share a file: it is read for each of them.
ReleaseSetFiles setOf(qint64 count, qint64 bytes)
{
    QByteArray entries;
    for (qint64 i = 0; i < count; ++i) {
        entries += i == 0 ? "" : ",";
        entries += R"({"FileName": "a.c", "ImageName": )" + QByteArray::number(i)
            + R"(, "ImageVersion": 1})";
    }
    ReleaseSetFiles files = smallReleaseSet();
    files.insert(
        QStringLiteral("settings.json"), R"({"Version": "G.01", "Images": [)" + entries + "]}");
    files.insert(QStringLiteral("a.c"), source(bytes));
    return files;
}

qint64 allocatedBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks) + static_cast<qint64>(info.hblkhd);
}

void numberAndSize(benchmark::internal::Benchmark* benchmark)
{
    for (const int bytes : {kKilobyte, 16 * kKilobyte, 128 * kKilobyte, kMegabyte}) {
        for (const int count : {1, 4, 16, 64})
            benchmark->Args({count, bytes});
    }
    benchmark->Unit(benchmark::kMicrosecond);
}

void parse(benchmark::State& state)
{
    const QByteArray text = source(state.range(1));
    for (auto _ : state) {
        QList<ImageFile> images;
        for (qint64 i = 0; i < state.range(0); ++i) {
            ImageFile image;
            parseImage(text, image);
            images.append(image);
        }
        benchmark::DoNotOptimize(images.constData());
    }
}
BENCHMARK(parse)->Name("growth parse")->Apply(numberAndSize);

/// The whole dialog, from nothing to ready; "bytes" is what it holds then.
void open(benchmark::State& state)
{
    SessionBench bench(JobImagesOnly, 0, setOf(state.range(0), state.range(1)));
    bench.closeDialog();
    qint64 held = 0;
    for (auto _ : state) {
        const qint64 before = allocatedBytes();
        bench.openDialog(JobImagesOnly);
        state.PauseTiming();
        held = allocatedBytes() - before;
        bench.closeDialog();
        state.ResumeTiming();
    }
    state.counters["bytes"] = static_cast<double>(held);
}
BENCHMARK(open)->Name("growth open")->Apply(numberAndSize);

/// An acknowledged block in the last image of the set: the next block's line and the progress bar.
/// The port is closed, so that the line costs no system call.
void block(benchmark::State& state)
{
    SessionBench bench(JobImagesOnly, 1, setOf(state.range(0), state.range(1)));
    bench.port().close();
    bench.port().state = StateSendImages;
    bench.port().imageStep = ImageBlocks;
    bench.port().imageIndex = static_cast<qint32>(state.range(0)) - 1;
    for (auto _ : state) {
        bench.port().imageOffset = 0;
        bench.port().blockNumber = 0;
        bench.port().imageStep = ImageBlocks;
        bench.dialog().GotMessage(&bench.port(), QStringLiteral("$FACK,0*2B1E\n"));
    }
}
BENCHMARK(block)->Name("growth block")->Apply(numberAndSize);

} // namespace
