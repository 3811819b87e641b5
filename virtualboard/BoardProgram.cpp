#include "virtualboard/BoardProgram.h"

namespace vboard {

namespace {

Outcome intoBootloader()
{
    Outcome outcome;
    outcome.next = Runs::Bootloader;
    return outcome;
}

Outcome refused(const Command& command, const char* reason)
{
    Outcome outcome;
    outcome.ruleBroken = '$' + command.word() + reason;
    return outcome;
}

constexpr auto kNeedsChecksum = " without checksum";
constexpr auto kUnknown = ": the application has no such command";

} // namespace

Outcome DisplayApplication::take(const Command& command, Time now)
{
    if (command.check() == Check::Missing)
        return refused(command, kNeedsChecksum);
    if (command.word() == "BOOTLOADM")
        return intoBootloader();
    if (command.word() != "MVER")
        return refused(command, kUnknown);
    Outcome outcome;
    outcome.replies.push_back({now, "MVERR," + m_version});
    return outcome;
}

Outcome ServiceApplication::take(const Command& command, Time)
{
    if (command.check() == Check::Missing)
        return refused(command, kNeedsChecksum);
    return command.word() == "BOOTLOADM" ? intoBootloader() : refused(command, kUnknown);
}

Outcome ServiceApplication::wake(Time now)
{
    m_nextReport = now + kReportInterval;
    Outcome outcome;
    outcome.replies.push_back({now, "STATUS"});
    return outcome;
}

} // namespace vboard
