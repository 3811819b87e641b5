#include "virtualboard/BoardServer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace vboard {

BoardServer::BoardServer() : m_wake(eventfd(0, EFD_CLOEXEC))
{
    if (m_wake < 0)
        throw std::runtime_error(std::string("no event descriptor: ") + strerror(errno));
}

BoardServer::~BoardServer()
{
    stop();
    ::close(m_wake);
}

void BoardServer::start()
{
    // The first round sets the ports up before they are announced.
    for (Served& served : m_served)
        serve(served);
    m_thread = std::thread([this] { run(); });
}

void BoardServer::stop()
{
    if (!m_thread.joinable())
        return;
    m_stopping = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_wake, &one, sizeof one);
    m_thread.join();
}

Time BoardServer::now() const
{
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - m_start);
}

void BoardServer::run()
{
    // A byte takes 11 us on the line; the kernel's usual timer slack of 50 us is too coarse.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    while (!m_stopping) {
        waitForWork();
        const std::lock_guard lock(m_mutex);
        for (Served& served : m_served)
            serve(served);
    }
}

void BoardServer::waitForWork()
{
    std::vector<pollfd> waiting{{m_wake, POLLIN, 0}};
    std::optional<Time> due;
    for (const Served& served : m_served) {
        // A negative descriptor, that of an unplugged port, is ignored.
        waiting.push_back({served.port->descriptor(), POLLIN, 0});
        const std::optional<Time> next = served.board->due();
        if (next && (!due || *next < *due))
            due = next;
    }
    timespec timeout{};
    if (due) {
        const auto left = std::max(*due - now(), Time::zero());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
        timeout.tv_sec = static_cast<time_t>(seconds.count());
        timeout.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    }
    ppoll(waiting.data(), waiting.size(), due ? &timeout : nullptr, nullptr);
}

void BoardServer::serve(Served& served)
{
    if (served.port->descriptor() >= 0) {
        const BoardPort::Input input = served.port->read();
        if (!input.bytes.empty())
            served.board->receive(input.bytes, input.baudRate, now());
    }
    served.board->portIsAt(served.port->rate(), now());
    for (const Emission& emission : served.board->takeDue(now()))
        act(served, emission);
    if (served.port->descriptor() >= 0)
        served.port->follow(served.board->baudRate());
}

void BoardServer::act(Served& served, const Emission& emission)
{
    switch (emission.what) {
    case Emission::What::Bytes:
        served.port->write(emission.bytes, emission.baudRate);
        break;
    case Emission::What::Unplug:
        served.port->unplug();
        break;
    case Emission::What::PlugIn:
        try {
            served.port->plugIn();
        } catch (const std::runtime_error& error) {
            served.trouble = error.what();
        }
        break;
    case Emission::What::Refuse:
        served.port->refuse();
        break;
    }
}

} // namespace vboard
