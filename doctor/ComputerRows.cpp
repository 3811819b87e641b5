#include "doctor/ComputerRows.h"

#include "doctor/Causes.h"
#include "doctor/Facts.h"
#include "serial/Adapter.h"

#include <algorithm>

namespace doctor {

namespace {

constexpr int kNoDriver = 28; // Windows' number
constexpr int kWantedLatency = 1; // ms
constexpr int kDriversOwnLatency = 16; // ms, where Windows has no setting

bool isAdapter(const Port& port)
{
    return adapter::isOne(port.manufacturer);
}

QString joined(const QStringList& words)
{
    QStringList known = words;
    known.removeAll(QString());
    return known.join(u' ');
}

/// With the manufacturer; Windows' own are in brackets already.
QString named(const Port& port)
{
    QString maker = port.manufacturer;
    if (maker.startsWith(u'(') && maker.endsWith(u')'))
        maker = maker.sliced(1, maker.size() - 2);
    return QStringLiteral("%1 (%2)").arg(port.name, maker);
}

QList<Row> accessRows(const Facts& facts, const Port& port)
{
    switch (port.access) {
    case Access::NotAsked:
        return {};
    case Access::MayNot:
        return {rowOf(Cause::MayNotOpen, {port.name, facts.user, port.group})};
    case Access::Held:
        return {rowOf(Cause::Held, {port.name})};
    case Access::Fails:
        return {rowOf(Cause::CannotBeOpened, {port.name})};
    case Access::Hangs:
        return {rowOf(Cause::Hangs, {port.name})};
    case Access::May:
        break;
    }
    // Windows has no rights on ports: what opens was not held.
    return facts.isWindows ? QList<Row>{} : QList{rowOf(Cause::MayOpen, {port.name, facts.user})};
}

QList<Row> holderRows(const Facts& facts, const Port& port)
{
    if (facts.isWindows && port.access != Access::May)
        return {};
    QList<Row> rows;
    for (const Holder& holder : port.holders)
        rows << rowOf(
            holder.program == kUpdaterProgram ? Cause::HeldByUpdater : Cause::HeldByProgram,
            {port.name, holder.program, QString::number(holder.process)});
    if (!port.leftLock.isEmpty())
        rows << rowOf(Cause::LockLeftBehind, {port.name, port.leftLock});
    if (!rows.isEmpty())
        return rows;
    return {port.hidesHolders ? rowOf(Cause::OthersUnseen, {port.name, facts.user})
                              : rowOf(Cause::NotHeld, {port.name})};
}

Row latencyRow(const Facts& facts, const Port& port)
{
    if (!port.latency && !facts.isWindows)
        return rowOf(Cause::NoLatencyTimer, {port.name});
    const int latency = port.latency.value_or(kDriversOwnLatency);
    const QStringList arguments{port.name, QString::number(latency), port.name.section(u'/', -1)};
    if (latency <= kWantedLatency)
        return rowOf(facts.isWindows ? Cause::LatencySet : Cause::LatencyShort, arguments);
    return rowOf(facts.isWindows ? Cause::LatencyLongOnWindows : Cause::LatencyLong, arguments);
}

QList<Row> adapterRows(const Facts& facts, const Port& port)
{
    const QString which = joined({port.manufacturer, port.description, port.serialNumber});
    QList<Row> rows{rowOf(Cause::AdapterThere, {port.name, which})};
    if (!port.driver.isEmpty())
        rows << rowOf(Cause::DriverThere, {port.name, port.driver});
    return rows << accessRows(facts, port) << holderRows(facts, port) << latencyRow(facts, port);
}

/// What is plugged in and is no port that the updater takes; `chips` are ports by another driver.
QList<Row> driverRows(const Facts& facts, qsizetype adapters, const QStringList& chips)
{
    const auto isFaulty = [](int problem) { return problem != 0 && problem != kNoDriver; };
    const auto faulty = std::ranges::find_if(facts.usbProblems, isFaulty);
    QList<Row> rows;
    if (facts.usbProblems.contains(kNoDriver))
        rows << rowOf(Cause::Driverless);
    else if (faulty != facts.usbProblems.end())
        rows << rowOf(Cause::NotStarted, {QString::number(*faulty)});
    else if (adapters == 0 && chips.isEmpty() && !facts.usbProblems.isEmpty())
        rows << rowOf(facts.isWindows ? Cause::VirtualPortOff : Cause::DriverNotLoaded);
    // Beside an adapter that is taken, such a port is no matter of the updater's.
    if (adapters == 0 && !chips.isEmpty())
        rows << rowOf(Cause::ForeignDriver, {chips.join(QStringLiteral(", "))});
    return rows;
}

QList<Row> ruleRows(const Facts& facts)
{
    if (facts.isWindows)
        return {};
    if (facts.rules.isEmpty())
        return {rowOf(Cause::RuleMissing, {kRuleName})};
    const RuleFile& used = facts.rules.first();
    const RuleFile& shipped = facts.rules.last();
    if (used.content.isEmpty())
        return {rowOf(Cause::RuleEmpty, {used.path})};
    return {used.content == shipped.content
            ? rowOf(Cause::RuleThere, {used.path})
            : rowOf(Cause::RuleOverridden, {used.path, shipped.path})};
}

} // namespace

QList<Row> rowsOf(const Facts& facts)
{
    QList<Row> rows;
    qsizetype adapters = 0;
    QStringList others;
    QStringList chips;
    for (const Port& port : facts.ports) {
        if (isAdapter(port)) {
            ++adapters;
            rows << adapterRows(facts, port);
            continue;
        }
        // On Linux one without a manufacturer is no adapter at all, but built in.
        if (!port.manufacturer.isEmpty())
            others << named(port);
        if (port.hasFtdiChip)
            chips << named(port);
    }
    const QList<Row> plugged = driverRows(facts, adapters, chips);
    rows << plugged;
    if (adapters > 1)
        rows << rowOf(Cause::SeveralAdapters, {QString::number(adapters)});
    if (adapters == 0 && plugged.isEmpty())
        rows << (others.isEmpty()
                ? rowOf(Cause::NoAdapter)
                : rowOf(Cause::OtherAdaptersOnly, {others.join(QStringLiteral(", "))}));
    return rows << ruleRows(facts);
}

} // namespace doctor
