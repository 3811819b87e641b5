#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <thread>

namespace doctor {

/// What `work` returns, or nothing when it takes longer than `limit`: it then goes on in its
/// thread, which nobody waits for, and must not use what may be gone by then.
template <typename Result>
[[nodiscard]] std::optional<Result> within(
    std::chrono::milliseconds limit, std::function<Result()> work)
{
    std::packaged_task<Result()> task(std::move(work));
    std::future<Result> result = task.get_future();
    std::thread(std::move(task)).detach();
    if (result.wait_for(limit) != std::future_status::ready)
        return std::nullopt;
    return result.get();
}

} // namespace doctor
