// Reading the images and building the lines, in memory alone.
// clazy:excludeall=non-pod-global-static (how a benchmark is registered)

#include "bootload/ImageFile.h"
#include "bootload/ImageParser.h"
#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "tests/bench/Images.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>

using namespace protocol;

namespace {

constexpr qint32 kPage = 0x10000;
constexpr qint32 kBlock = 0x100;

void parseItself(benchmark::State& state)
{
    const QList<QByteArray> sources = imageSources();
    for (auto _ : state) {
        for (const QByteArray& source : sources) {
            ImageFile image;
            parseImage(source, image);
            benchmark::DoNotOptimize(image.data.constData());
        }
    }
    state.SetBytesProcessed(state.iterations() * totalSize(sources));
}
BENCHMARK(parseItself)->Name("parse five images/itself");

void parseFloor(benchmark::State& state)
{
    const QList<QByteArray> sources = imageSources();
    QByteArray out(totalSize(sources), Qt::Uninitialized);
    for (auto _ : state) {
        for (const QByteArray& source : sources)
            benchmark::DoNotOptimize(bareLoop(source, out));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * totalSize(sources));
}
BENCHMARK(parseFloor)->Name("parse five images/bare loop");

void parseCopy(benchmark::State& state)
{
    const QList<QByteArray> sources = imageSources();
    QByteArray out(totalSize(sources), Qt::Uninitialized);
    for (auto _ : state) {
        for (const QByteArray& source : sources)
            std::memcpy(out.data(), source.constData(), static_cast<std::size_t>(source.size()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * totalSize(sources));
}
BENCHMARK(parseCopy)->Name("parse five images/memcpy");

/// The bytes from 0 to 255, as often as it takes.
QByteArray sampleBytes(qsizetype count)
{
    QByteArray bytes;
    for (qsizetype i = 0; i < count; ++i)
        bytes.append(static_cast<char>(i));
    return bytes;
}

protocol::Line sampleDataLine(const QByteArray& bytes)
{
    return dataLine(kPage, bytes);
}

protocol::Line sampleBlockLine(const QByteArray& bytes)
{
    return blockLine(kBlock, bytes);
}

template <protocol::Line (*build)(const QByteArray&), qsizetype size>
void lineItself(benchmark::State& state)
{
    const QByteArray bytes = sampleBytes(size);
    for (auto _ : state) {
        const protocol::Line line = build(bytes);
        benchmark::DoNotOptimize(line.view().data());
        benchmark::ClobberMemory();
    }
}

/// What no way of building a line can save: a cleared buffer, and the text once through memory.
template <protocol::Line (*build)(const QByteArray&), qsizetype size>
void lineFloor(benchmark::State& state)
{
    const protocol::Line line = build(sampleBytes(size));
    const auto count = static_cast<std::size_t>(line.view().size());
    for (auto _ : state) {
        std::array<char, protocol::kLineCapacity> buffer{};
        std::memcpy(buffer.data(), line.view().data(), count);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(lineItself<sampleDataLine, kDataLineSize>)->Name("build a data line/itself");
BENCHMARK(lineFloor<sampleDataLine, kDataLineSize>)->Name("build a data line/memcpy");
BENCHMARK(lineItself<sampleBlockLine, kBlockSize>)->Name("build a block line/itself");
BENCHMARK(lineFloor<sampleBlockLine, kBlockSize>)->Name("build a block line/memcpy");

} // namespace
