#pragma once

#include "virtualboard/BoardProgram.h"

#include <string>

namespace vboard {

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
