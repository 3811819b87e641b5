#pragma once

#include "virtualboard/Command.h"
#include "virtualboard/Time.h"

#include <optional>
#include <string>
#include <vector>

namespace vboard {

/// What runs on the board.
enum class Runs { Nothing, Application, Bootloader };

/// A line that the board sends, without "$", checksum and line feed.
struct Reply
{
    Time at; ///< when its first byte leaves
    std::string body;
    bool checksum = true;
};

/// What a firmware makes of a line or of the time that passed.
struct Outcome
{
    std::vector<Reply> replies;
    /// What starts instead of this firmware, after the boot time; Nothing: this one stays.
    Runs next = Runs::Nothing;
    /// Why a command was not obeyed; empty when it was.
    std::string ruleBroken;
};

/// A program that runs on the board, without input, output or clock of its own.
class BoardProgram
{
public:
    BoardProgram() = default;
    virtual ~BoardProgram() = default;
    BoardProgram(const BoardProgram&) = delete;
    BoardProgram& operator=(const BoardProgram&) = delete;

    /// The rate it listens and talks at, in baud.
    [[nodiscard]] virtual int baudRate() const = 0;
    /// It starts to run at `now`.
    virtual void start(Time now) = 0;
    /// A line without fault in its checksum (it may have none) arrived at `now`.
    [[nodiscard]] virtual Outcome take(const Command& command, Time now) = 0;
    /// When it wants to do something by itself.
    [[nodiscard]] virtual std::optional<Time> due() const = 0;
    /// Does what was due.
    [[nodiscard]] virtual Outcome wake(Time now) = 0;
};

} // namespace vboard
