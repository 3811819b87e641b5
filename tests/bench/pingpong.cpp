// pingpong PORT LINES: the least that can drive a board. Takes it into its bootloader, then writes
// the lines of the file LINES one by one, each when the line that answers the one before has
// arrived. System calls alone: no toolkit, no checksum, no look at what the board says. What a line
// takes here is what the kernel and the board take.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr std::string_view kAskForBootloader{"$BOOTLOADM*9FEC\n"};
constexpr std::string_view kCapture{"$G\n"};
constexpr useconds_t kUntilHeard = 500'000; // until the board has surely heard it, at the old speed

[[noreturn]] void giveUp(const char* what)
{
    std::perror(what);
    std::exit(1);
}

void setSpeed(int port, speed_t speed)
{
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    cfsetspeed(&settings, speed);
    if (tcsetattr(port, TCSADRAIN, &settings) != 0)
        giveUp("tcsetattr");
}

void send(int port, std::string_view bytes)
{
    if (write(port, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        giveUp("write");
}

void awaitLine(int port)
{
    std::array<char, 256> bytes{};
    ssize_t size = 0;
    do {
        size = read(port, bytes.data(), bytes.size());
        if (size <= 0)
            giveUp("read");
    } while (bytes.at(static_cast<std::size_t>(size) - 1) != '\n');
}

/// The next line of `text`, with the line feed that ends it in the file.
std::string_view takeLine(std::string_view& text)
{
    const std::string_view line = text.substr(0, text.find('\n') + 1);
    text.remove_prefix(line.size());
    return line;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::fputs("usage: pingpong PORT LINES\n", stderr);
        return 2;
    }
    std::ifstream file(argv[2], std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    const int port = open(argv[1], O_RDWR | O_NOCTTY);
    if (port < 0)
        giveUp(argv[1]);

    setSpeed(port, B19200);
    send(port, kAskForBootloader);
    usleep(kUntilHeard);
    setSpeed(port, B921600);
    awaitLine(port);
    send(port, kCapture);
    awaitLine(port);
    for (std::string_view lines = content; !lines.empty();) {
        send(port, takeLine(lines));
        awaitLine(port);
    }
    return 0;
}
