#include "doctor/Causes.h"

#include <algorithm>
#include <array>

namespace doctor {

namespace {

using Kind = Row::Kind;

struct CauseRow
{
    Cause cause;
    Kind kind;
    const char* topic;
    /// %1 is the port, where it is one port's.
    const char* text;
};

constexpr const char* kToDo = "what to do";

constexpr auto kCauses = std::to_array<CauseRow>({
    // This computer
    {Cause::AdapterThere, Kind::Ok, "adapter", "%1 is an FTDI adapter (%2)"},
    {Cause::NoAdapter, Kind::ToDo, "adapter",
        "none is plugged in; plug in the machine's cable and switch the machine on"},
    {Cause::OtherAdaptersOnly, Kind::ToDo, "adapter",
        "no FTDI adapter is plugged in, only %1, which the updater does not use; plug in the "
        "machine's own cable"},
    {Cause::ForeignDriver, Kind::ToDo, "adapter",
        "%1 has an FTDI chip but a driver that names another manufacturer, so the updater does "
        "not take it; install the chip maker's own driver for virtual COM ports, or plug in the "
        "machine's own cable"},
    {Cause::SeveralAdapters, Kind::Ok, "adapter",
        "there are %1, and the updater talks to all of them at once; leave only the cables of "
        "machines that are to be updated plugged in"},
    {Cause::DriverThere, Kind::Ok, "driver", "%1 has the driver %2"},
    {Cause::DriverNotLoaded, Kind::ToDo, "driver",
        "an FTDI adapter is plugged in but has no serial port; run 'sudo modprobe ftdi_sio' and "
        "plug it in again (if the port goes away at once, a program like brltty takes it: remove "
        "that)"},
    {Cause::Driverless, Kind::ToDo, "driver",
        "an FTDI adapter is plugged in but has no driver; connect the computer to the network and "
        "plug it in again, or install the chip maker's driver for virtual COM ports"},
    {Cause::NotStarted, Kind::ToDo, "driver",
        "an FTDI adapter is plugged in but Windows does not start it (problem %1); look at it in "
        "the Device Manager, and try another USB socket"},
    {Cause::VirtualPortOff, Kind::ToDo, "driver",
        "an FTDI adapter is plugged in but has no serial port; in the Device Manager, at its USB "
        "Serial Converter, Properties, Advanced, tick \"Load VCP\", and plug it in again"},
    {Cause::MayOpen, Kind::Ok, "access", "%2 may open %1"},
    {Cause::MayNotOpen, Kind::ToDo, "access",
        "%2 may not open %1; run 'sudo adduser %2 %3' and log in again, or with the rule "
        "installed log in at the computer's own screen"},
    {Cause::NotHeld, Kind::Ok, "holder", "no program holds %1"},
    {Cause::OthersUnseen, Kind::Unknown, "holder",
        "no program of %2 holds %1; those of other users are seen by 'sudo "
        "annealing-db-updater-doctor --text'"},
    {Cause::HeldByUpdater, Kind::Ok, "holder",
        "the updater (process %3) is at work on %1; let it finish"},
    {Cause::HeldByProgram, Kind::ToDo, "holder", "%2 (process %3) holds %1; close that program"},
    {Cause::LockLeftBehind, Kind::ToDo, "holder",
        "a program that has ended left the lock %2, which keeps %1 from being opened; run 'sudo "
        "rm %2', or restart the computer"},
    {Cause::Held, Kind::ToDo, "holder",
        "another program holds %1: a second updater, or a terminal program; let an updater that "
        "is at work finish; close any other, or unplug the adapter and plug it in again"},
    {Cause::CannotBeOpened, Kind::ToDo, "holder",
        "%1 cannot be opened; unplug the adapter and plug it in again, then restart the computer "
        "if that does not help"},
    {Cause::Hangs, Kind::ToDo, "holder",
        "%1 does not come back when it is opened; unplug the adapter and plug it in again"},
    {Cause::LatencyShort, Kind::Ok, "latency", "%1 hands answers on after %2 ms"},
    {Cause::LatencySet, Kind::Ok, "latency",
        "%1 hands answers on after %2 ms (after a change, from the next time it is plugged in)"},
    {Cause::LatencyLong, Kind::ToDo, "latency",
        "%1 keeps answers back for %2 ms, which makes an update take minutes longer; unplug the "
        "adapter and plug it in again with the rule installed, or run 'echo 1 | sudo tee "
        "/sys/bus/usb-serial/devices/%3/latency_timer'"},
    {Cause::LatencyLongOnWindows, Kind::ToDo, "latency",
        "%1 keeps answers back for %2 ms, which makes an update take minutes longer; start \"Set "
        "the adapter's latency\" from the start menu, then unplug the adapter and plug it in "
        "again"},
    {Cause::NoLatencyTimer, Kind::ToDo, "latency",
        "%1 has no latency timer that can be set; use an adapter with an FTDI chip and the "
        "kernel's driver ftdi_sio, or wait longer"},
    {Cause::RuleThere, Kind::Ok, "rule", "%1 is installed"},
    {Cause::RuleOverridden, Kind::Unknown, "rule",
        "%1 takes the place of %2 and says something else; delete it unless it is wanted"},
    {Cause::RuleEmpty, Kind::ToDo, "rule", "%1 is empty and so switches the rule off; delete it"},
    {Cause::RuleMissing, Kind::ToDo, "rule",
        "%1 is not installed; install the package annealing-db-updater, then unplug the adapter "
        "and plug it in again"},
    // A log
    {Cause::NoLog, Kind::ToDo, "log", "%1 Open one that \"Start the updater with a log\" wrote."},
    {Cause::JobComplete, Kind::Ok, kToDo, "nothing: the job is complete"},
    {Cause::NoJob, Kind::Unknown, kToDo,
        "no button was pressed while this log was written; press \"Start the updater with a "
        "log\", then the button of the job, and wait until the job ends or nothing has moved for "
        "a minute"},
    {Cause::PortForbidden, Kind::ToDo, kToDo,
        "the updater was not allowed to open %1; start this doctor on the computer that the log "
        "is from, where it says how to allow it"},
    {Cause::PortNotOpened, Kind::ToDo, kToDo,
        "%1 could not be opened (%2); close other programs that use it, unplug the adapter and "
        "plug it in again; if that does not help, start this doctor on the computer that the log "
        "is from: it may name the program that uses it"},
    {Cause::PortGone, Kind::ToDo, kToDo,
        "%1 was unplugged or lost contact, %2; push plug and cable in firmly, try another USB "
        "socket, switch the machine off and on, and start the job again"},
    {Cause::NoAnswer, Kind::ToDo, kToDo,
        "%1: there was no answer from the beginning on; plug the cable in at both ends, see that "
        "the machine has power, switch the machine off and on, and start the job again; if there "
        "is still no answer, try another cable; else the board is broken, another one, or speaks "
        "at another speed"},
    {Cause::NoBootloader, Kind::ToDo, kToDo,
        "%1: the board answered, but up to the log's end did not start its bootloader, the part "
        "of it that takes an update; switch the machine off and on, and start the job again"},
    {Cause::NotUnderstood, Kind::ToDo, kToDo,
        "%1: the board sent something that the updater does not know (\"%2\"); see that the cable "
        "leads to an annealing machine, switch the machine off and on, and start the job again"},
    {Cause::BoardRestarted, Kind::ToDo, kToDo,
        "%1: the board restarted in the middle of the job, %2; check the machine's power supply, "
        "switch the machine off and on, and start the job again"},
    {Cause::BoardSilent, Kind::ToDo, kToDo,
        "%1: the board has been silent %2, %3; switch the machine off and on, and start the job "
        "again; if that does not help, try another cable"},
    {Cause::ClosedEarly, Kind::ToDo, kToDo,
        "%1: the job's window was closed before the job had ended, %2; start the job again, and "
        "wait for \"Bootload Complete\""},
    {Cause::LogEndsEarly, Kind::Unknown, kToDo,
        "%1: the log stops before the job has ended, %2; up to there nothing is wrong; if the job "
        "is still running, let it end and open the log again; if not, start the job again"},
    {Cause::AnswersKeptBack, Kind::ToDo, kToDo,
        "%1: answers are slow, %2 ms and more, as with an adapter whose latency timer is long: a "
        "job takes minutes longer; start this doctor on the computer that the log is from, where "
        "it says how to set the timer"},
    {Cause::LinesLost, Kind::ToDo, kToDo,
        "%1: the job is complete, but %2 of %3 lines had to be sent again: the connection is "
        "poor; before the next job try another cable, and a USB socket of the computer, not of a "
        "hub"},
});

/// The places %1 to %9 filled in one go: an argument may hold a per cent sign.
QString filled(QStringView text, const QStringList& arguments)
{
    QString result;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const bool isPlace = text[at] == u'%' && at + 1 < text.size() && text[at + 1].isDigit();
        if (isPlace)
            result += arguments.value(text[++at].digitValue() - 1);
        else
            result += text[at];
    }
    return result;
}

} // namespace

Row rowOf(Cause cause, const QStringList& arguments)
{
    const auto* const row = std::ranges::find(kCauses, cause, &CauseRow::cause);
    Q_ASSERT(row != kCauses.end());
    return {
        row->kind, QString::fromUtf8(row->topic), filled(QString::fromUtf8(row->text), arguments)};
}

} // namespace doctor
