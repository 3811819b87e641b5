#include "virtualboard/BoardPort.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace vboard {

namespace {

constexpr std::size_t kReadSize = 8192;

speed_t rateCode(int baudRate)
{
    switch (baudRate) {
    case 19200:
        return B19200;
    case 115200:
        return B115200;
    default:
        return B921600;
    }
}

/// Writes what the line takes; a full or unplugged line loses the rest, as a cable does.
void writeAll(int descriptor, const std::string& bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count <= 0 && errno != EINTR)
            return;
        if (count > 0)
            written += static_cast<std::size_t>(count);
    }
}

} // namespace

AdapterPort::AdapterPort(std::unique_ptr<PluggedAdapter> adapter) : m_adapter(std::move(adapter))
{
    prepare();
}

void AdapterPort::prepare()
{
    const int master = m_adapter->masterFd();
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    // Packet mode with "external processing" wakes the reader when the program sets another rate.
    // Without it a change would be noticed only with the next bytes, too late to tell at which of
    // the two rates they were sent.
    int on = 1;
    ioctl(master, TIOCPKT, &on);
    termios settings{};
    if (tcgetattr(master, &settings) == 0) {
        settings.c_lflag |= EXTPROC;
        tcsetattr(master, TCSANOW, &settings);
    }
    m_rate = m_adapter->baudRate();
}

BoardPort::Input AdapterPort::read()
{
    Input input;
    std::array<char, kReadSize> packet{};
    for (;;) {
        const ssize_t count = ::read(descriptor(), packet.data(), packet.size());
        if (count <= 0)
            break;
        // The first byte says what the packet is: 0 is data, anything else a notice without data.
        if (packet.front() == TIOCPKT_DATA)
            input.bytes.append(packet.data() + 1, static_cast<std::size_t>(count) - 1);
    }
    input.baudRate = rateOfInput(m_adapter->baudRate());
    return input;
}

int AdapterPort::rateOfInput(int rateNow)
{
    const int rateBefore = std::exchange(m_rate, rateNow);
    constexpr int idle = PluggedAdapter::kIdleBaudRate;
    if (rateNow == idle && rateBefore != idle)
        m_adapter->discardUnread(); // the program closed its port without reading it
    // Bytes that arrive together with a change of the rate were sent before it: a driver sends what
    // it was given before it closes a port or changes its rate. Only a port that was closed before
    // has sent them at its new rate.
    return rateBefore == idle ? rateNow : rateBefore;
}

void AdapterPort::write(const std::string& bytes, int baudRate)
{
    if (m_adapter->isPlugged() && m_adapter->baudRate() == baudRate)
        writeAll(descriptor(), bytes);
}

int AdapterPort::rate() const
{
    const int rate = m_adapter->baudRate();
    return rate == PluggedAdapter::kIdleBaudRate ? 0 : rate;
}

void AdapterPort::unplug()
{
    m_adapter->unplug();
}

void AdapterPort::plugIn()
{
    m_adapter->plugAgain();
    prepare();
}

CablePort::CablePort(const QString& path) : m_path(path)
{
    open();
}

CablePort::~CablePort()
{
    CablePort::unplug();
}

void CablePort::open()
{
    m_descriptor
        = ::open(m_path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_descriptor < 0)
        throw std::runtime_error(m_path.toStdString() + ": " + strerror(errno));
    if (m_rate != 0)
        follow(std::exchange(m_rate, 0));
}

BoardPort::Input CablePort::read()
{
    Input input;
    std::array<char, kReadSize> chunk{};
    ssize_t count = 0;
    while ((count = ::read(m_descriptor, chunk.data(), chunk.size())) > 0)
        input.bytes.append(chunk.data(), static_cast<std::size_t>(count));
    // The other end hung up: the descriptor would be reported as readable forever.
    if (count == 0 || (errno != EAGAIN && errno != EINTR))
        unplug();
    input.baudRate = m_rate;
    return input;
}

void CablePort::write(const std::string& bytes, int)
{
    if (m_descriptor >= 0)
        writeAll(m_descriptor, bytes);
}

void CablePort::follow(int baudRate)
{
    termios settings{};
    if (baudRate == 0 || baudRate == m_rate || tcgetattr(m_descriptor, &settings) != 0)
        return;
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    cfsetspeed(&settings, rateCode(baudRate));
    tcsetattr(m_descriptor, TCSADRAIN, &settings);
    m_rate = baudRate;
}

void CablePort::unplug()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
}

void CablePort::plugIn()
{
    if (m_descriptor < 0)
        open();
}

} // namespace vboard
