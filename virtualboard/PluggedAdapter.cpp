#include "virtualboard/UsbBus.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

struct Rate
{
    speed_t code;
    int baud;
};

constexpr std::array kRates{
    Rate{B50, 50},
    Rate{B1200, 1200},
    Rate{B2400, 2400},
    Rate{B4800, 4800},
    Rate{B9600, 9600},
    Rate{B19200, 19200},
    Rate{B38400, 38400},
    Rate{B57600, 57600},
    Rate{B115200, 115200},
    Rate{B230400, 230400},
    Rate{B460800, 460800},
    Rate{B921600, 921600},
};

} // namespace

PluggedAdapter::PluggedAdapter(UsbBus& bus, Adapter adapter, int socket)
    : m_bus(bus), m_adapter(std::move(adapter)), m_socket(socket)
{
}

PluggedAdapter::~PluggedAdapter()
{
    unplug();
}

int PluggedAdapter::baudRate() const
{
    termios settings{};
    if (m_master < 0 || tcgetattr(m_master, &settings) != 0)
        return 0;
    const speed_t code = cfgetospeed(&settings);
    for (const Rate& rate : kRates) {
        if (rate.code == code)
            return rate.baud;
    }
    return 0;
}

void PluggedAdapter::discardUnread()
{
    if (m_slave >= 0)
        tcflush(m_slave, TCIFLUSH);
}

void PluggedAdapter::unplug()
{
    if (!isPlugged())
        return;
    // The device leaves the list before the port hangs up: a program that looks around as soon as
    // its port fails must not find it again.
    m_bus.removeDevices(*this);
    closeTerminal();
}

void PluggedAdapter::plugAgain()
{
    if (isPlugged())
        return;
    openTerminal();
    m_bus.addDevices(*this);
}

void PluggedAdapter::refuse()
{
    // Nobody may write to it, not even the administrator, whom the rights of a terminal do not
    // stop.
    m_bus.linkNode(*this, QStringLiteral("/sys/kernel/notes"));
}

void PluggedAdapter::openTerminal()
{
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag |= CREAD | CLOCAL;
    cfsetspeed(&settings, B50);
    if (openpty(&m_master, &m_slave, nullptr, &settings, nullptr) != 0)
        throw std::runtime_error(std::string("cannot open a pseudo terminal: ") + strerror(errno));
    // The program that is started must not inherit the master: its copy would keep an unplugged
    // port alive.
    ioctl(m_master, FIOCLEX);
    ioctl(m_slave, FIOCLEX);
    m_terminalPath = QString::fromLocal8Bit(ttyname(m_slave));
}

void PluggedAdapter::closeTerminal()
{
    ::close(m_master);
    ::close(m_slave);
    m_master = -1;
    m_slave = -1;
    m_terminalPath.clear();
}
