// bench_parts: the parts of a job, each beside a floor in the same run. A benchmark's name is the
// part and, behind a slash, what is measured of it: "itself", or what its floor is. Options are
// Google Benchmark's.

#include "virtualboard/UsbBus.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

int main(int argc, char* argv[])
{
    try {
        UsbBus::startPreloaded(argv);
        qputenv("QT_QPA_PLATFORM", "offscreen"); // the windows of a job are measured elsewhere
        const QApplication application(argc, argv);
        benchmark::Initialize(&argc, argv);
        if (benchmark::ReportUnrecognizedArguments(argc, argv))
            return 2;
        const std::size_t run = benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        if (run == 0) {
            std::fputs("bench_parts: no benchmark has such a name\n", stderr);
            return 1;
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_parts: %s\n", failure.what());
        return 1;
    }
    return 0;
}
