#pragma once

#include "virtualboard/Time.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

/// What a board does to the world at a time.
struct Emission
{
    enum class What {
        Bytes,
        Unplug,
        PlugIn,
        Refuse, ///< from now on nothing can open the port
    };

    Time due{};
    What what = What::Bytes;
    std::string bytes;
    int baudRate = 0; ///< at which the bytes are sent
};

/// What stands at the board's end of a serial line: a class without input, output or clock. Bytes
/// and the time go in by receive(), bytes and their times come out by takeDue(). Times never go
/// back.
class BoardModel
{
public:
    BoardModel() = default;
    virtual ~BoardModel() = default;
    BoardModel(const BoardModel&) = delete;
    BoardModel& operator=(const BoardModel&) = delete;

    /// Bytes that the computer sent at `now`, at the rate that it had set (in baud, 0: unknown).
    virtual void receive(std::string_view bytes, int baudRate, Time now) = 0;
    /// The computer's port is at this rate from `now` on; 0: it is closed or gone. Told after what
    /// was received before.
    virtual void portIsAt(int, Time) { }
    /// When there is something to do again; none when only bytes can change anything.
    [[nodiscard]] virtual std::optional<Time> due() const = 0;
    /// Lets the board do everything until `now` and returns what it does, in the order of its
    /// times.
    [[nodiscard]] virtual std::vector<Emission> takeDue(Time now) = 0;
    /// The rate that it talks at; 0: none, or whichever the computer has set.
    [[nodiscard]] virtual int baudRate() const = 0;
    /// True once it expects nothing more of the job.
    [[nodiscard]] virtual bool isFinished() const = 0;
};

} // namespace vboard
