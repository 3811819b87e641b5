// Sending and receiving over a pseudo terminal: the dialog's way, and system calls alone. Both ends
// are in this thread, so that a round is a sequence and not a race.
// clazy:excludeall=non-pod-global-static (how a benchmark is registered)

#include "tests/session/SessionBench.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <unistd.h>

using namespace protocol;

namespace {

constexpr qint32 kPage = 0x10000;
constexpr int kPatience = 5000; // ms
constexpr QByteArrayView kAcknowledgement{"$DACK*AB09\n"};

void writeLine(int descriptor, QByteArrayView line)
{
    if (::write(descriptor, line.buffer().data(), static_cast<std::size_t>(line.size())) != line.size())
        throw std::runtime_error("a line was not taken whole");
}

bool hasInput(int descriptor, int milliseconds)
{
    pollfd waiting{descriptor, POLLIN, 0};
    return ::poll(&waiting, 1, milliseconds) > 0;
}

void readLine(int descriptor)
{
    std::array<char, 4096> bytes{};
    ssize_t size = 0;
    do {
        if (!hasInput(descriptor, kPatience))
            throw std::runtime_error("no line came");
        size = ::read(descriptor, bytes.data(), bytes.size());
    } while (size > 0 && bytes.at(static_cast<std::size_t>(size) - 1) != '\n');
}

/// A session in the middle of a page, at rest.
class MidPage
{
public:
    MidPage()
    {
        m_bench.enterBootloader();
        m_bench.setFields({{"fwStep", FirmwareData}});
        m_bench.port().eraseUnanswered = false;
    }

    [[nodiscard]] int farEnd() { return m_bench.adapter().masterFd(); }
    [[nodiscard]] PortTest& port() { return m_bench.port(); }
    [[nodiscard]] DialogBootload& dialog() { return m_bench.dialog(); }

    /// The next data line is for the same address again, so that pages never end.
    void rewind() { m_bench.port().flashAddress = kPage; }

    /// True once an acknowledgement has been handled, and the next line sent.
    [[nodiscard]] bool answered() { return m_bench.port().flashAddress != kPage; }

private:
    SessionBench m_bench;
};

/// A data line with its checksum, as it goes over the wire.
QByteArray wireLine()
{
    return framed(dataLine(kPage, QByteArray(kDataLineSize, '\x5A')).view().toByteArray());
}

void sendItself(benchmark::State& state)
{
    MidPage session;
    const protocol::Line line = dataLine(kPage, QByteArray(kDataLineSize, '\x5A'));
    for (auto _ : state) {
        protocol::Line copy = line;
        session.dialog().AddCRC_nSend(&session.port(), copy.buffer().data());
        readLine(session.farEnd());
    }
}
BENCHMARK(sendItself)->Name("checksum and send/itself")->UseRealTime();

void sendFloor(benchmark::State& state)
{
    MidPage session;
    const int nearEnd = session.port().handle();
    const QByteArray line = wireLine();
    for (auto _ : state) {
        writeLine(nearEnd, line);
        readLine(session.farEnd());
    }
}
BENCHMARK(sendFloor)->Name("checksum and send/write and read")->UseRealTime();

void answerItself(benchmark::State& state)
{
    MidPage session;
    for (auto _ : state) {
        session.rewind();
        writeLine(session.farEnd(), kAcknowledgement);
        while (!session.answered())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        readLine(session.farEnd());
    }
}
BENCHMARK(answerItself)->Name("receive and handle an acknowledgement/itself")->UseRealTime();

void answerFloor(benchmark::State& state)
{
    MidPage session;
    const int nearEnd = session.port().handle();
    const QByteArray line = wireLine();
    for (auto _ : state) {
        writeLine(session.farEnd(), kAcknowledgement);
        readLine(nearEnd);
        writeLine(nearEnd, line);
        readLine(session.farEnd());
    }
}
BENCHMARK(answerFloor)->Name("receive and handle an acknowledgement/ping-pong")->UseRealTime();

} // namespace
