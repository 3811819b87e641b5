// peer_bare PORT RELEASE_SET: runs an update job by system calls alone, to measure what a
// turnaround takes without a toolkit.

#include "tests/bench/JobLines.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr useconds_t kUntilHeard
    = 500'000; // until the board has surely heard it, at the slow speed

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void setSpeed(int port, speed_t speed)
{
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    cfsetspeed(&settings, speed);
    if (tcsetattr(port, TCSADRAIN, &settings) != 0)
        fail("tcsetattr");
}

void send(int port, QByteArrayView bytes)
{
    if (write(port, bytes.data(), static_cast<std::size_t>(bytes.size())) != bytes.size())
        fail("write");
}

/// The next line; valid until the next call.
QByteArrayView receive(int port)
{
    static std::array<char, 1024> line;
    std::size_t size = 0;
    do {
        const ssize_t got = read(port, line.data() + size, line.size() - size);
        if (got <= 0)
            fail("read");
        size += static_cast<std::size_t>(got);
    } while (line.at(size - 1) != '\n');
    return {line.data(), static_cast<qsizetype>(size)};
}

void run(const char* portName, const char* releaseSet)
{
    JobLines lines(QString::fromLocal8Bit(releaseSet));
    const int port = open(portName, O_RDWR | O_NOCTTY);
    if (port < 0)
        fail(portName);
    setSpeed(port, B19200);
    send(port, lines.askForBootloader());
    usleep(kUntilHeard);
    setSpeed(port, B921600);
    while (!lines.finished())
        send(port, lines.answerTo(receive(port)));
    tcdrain(port);
    close(port);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::fputs("usage: peer_bare PORT RELEASE_SET\n", stderr);
        return 2;
    }
    try {
        run(argv[1], argv[2]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "peer_bare: %s\n", failure.what());
        return 1;
    }
    return 0;
}
