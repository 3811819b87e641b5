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

/// What a firmware does on a line or when its time has come.
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
    /// A line with the right checksum, or without one, arrived at `now`.
    [[nodiscard]] virtual Outcome take(const Command& command, Time now) = 0;
    /// When it wants to do something by itself.
    [[nodiscard]] virtual std::optional<Time> due() const = 0;
    /// Does what was due.
    [[nodiscard]] virtual Outcome wake(Time now) = 0;
};

/// The machine's own program: it says its version and goes into the bootloader when asked to.
class DisplayApplication : public BoardProgram
{
public:
    static constexpr int kBaudRate = 19200;

    explicit DisplayApplication(std::string version) : m_version(std::move(version)) { }

    [[nodiscard]] int baudRate() const override { return kBaudRate; }
    void start(Time) override { }
    [[nodiscard]] Outcome take(const Command& command, Time now) override;
    [[nodiscard]] std::optional<Time> due() const override { return std::nullopt; }
    [[nodiscard]] Outcome wake(Time) override { return {}; }

private:
    std::string m_version;
};

/// The second kind of the machine's program: it reports its status by itself, once a second.
class ServiceApplication : public BoardProgram
{
public:
    static constexpr int kBaudRate = 19200;
    static constexpr Time kReportInterval = 1s;

    [[nodiscard]] int baudRate() const override { return kBaudRate; }
    void start(Time now) override { m_nextReport = now + kReportInterval; }
    [[nodiscard]] Outcome take(const Command& command, Time now) override;
    [[nodiscard]] std::optional<Time> due() const override { return m_nextReport; }
    [[nodiscard]] Outcome wake(Time now) override;

private:
    Time m_nextReport{};
};

} // namespace vboard
