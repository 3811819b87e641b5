#pragma once

#include "virtualboard/BoardModel.h"
#include "virtualboard/BoardPort.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace vboard {

/// Runs boards on their ports, in a thread of its own that sleeps until there is something to do.
class BoardServer
{
public:
    struct Served
    {
        std::unique_ptr<BoardModel> board;
        std::unique_ptr<BoardPort> port;
        std::string trouble; ///< why the port could not be plugged in again; empty otherwise
    };

    /// Throws std::runtime_error when the system has no event descriptor to give.
    BoardServer();
    ~BoardServer();
    BoardServer(const BoardServer&) = delete;
    BoardServer& operator=(const BoardServer&) = delete;

    /// Adds a board; only before start(). Once that was called, look() guards it.
    template <typename Model>
    Model& add(std::unique_ptr<Model> board, std::unique_ptr<BoardPort> port)
    {
        Model& added = *board;
        m_served.push_back({std::move(board), std::move(port), {}});
        return added;
    }
    void start();
    /// Ends the thread; the boards stay as they are. Safe to call twice.
    void stop();

    /// Calls `look` with the boards while the thread leaves them alone. Be short.
    template <typename Look> auto look(Look&& look)
    {
        const std::lock_guard lock(m_mutex);
        return look(std::as_const(m_served));
    }

    /// The boards' time now.
    [[nodiscard]] Time now() const;

private:
    void run();
    void waitForWork();
    void serve(Served& served);
    static void act(Served& served, const Emission& emission);

    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::vector<Served> m_served;
    std::mutex m_mutex;
    std::atomic<bool> m_stopping = false;
    int m_wake = -1;
    std::thread m_thread;
};

} // namespace vboard
