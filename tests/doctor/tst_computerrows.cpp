// What is said of recorded computers.

#include "doctor/Answer.h"
#include "doctor/ComputerRows.h"
#include "doctor/Facts.h"
#include "tests/support/TestProgram.h"

using namespace doctor;

namespace {

// What is said of an adapter that is well.
const QString kIsThere
    = QStringLiteral("ok  adapter: %1 is an FTDI adapter (FTDI USB Serial Port A50285BIA)");
const QString kHasDriver = QStringLiteral("ok  driver: %1 has the driver FTSER2K");
const QString kNotHeld = QStringLiteral("ok  holder: no program holds %1");
const QString kShort = QStringLiteral(
    "ok  latency: %1 hands answers on after 1 ms (after a change, from the next time it is plugged "
    "in)");
const QString kLong = QStringLiteral(
    "do  latency: %1 keeps answers back for 16 ms, which makes an update take minutes longer; "
    "start "
    "\"Set the adapter's latency\" from the start menu, then unplug the adapter and plug it in "
    "again");

const QByteArray kRule = "SUBSYSTEM==\"tty\"";

Port windowsAdapter(const QString& name = QStringLiteral("COM3"))
{
    Port port;
    port.name = name;
    port.manufacturer = QStringLiteral("FTDI");
    port.description = QStringLiteral("USB Serial Port");
    port.serialNumber = QStringLiteral("A50285BIA");
    port.driver = QStringLiteral("FTSER2K");
    port.hasFtdiChip = true;
    port.latency = 1;
    port.access = Access::May;
    return port;
}

Port windowsPort(const QString& name, const QString& manufacturer, bool hasFtdiChip = false)
{
    Port port;
    port.name = name;
    port.manufacturer = manufacturer;
    port.hasFtdiChip = hasFtdiChip;
    return port;
}

Port com1()
{
    return windowsPort(QStringLiteral("COM1"), QStringLiteral("(Standard port types)"));
}

Facts windows(const QList<Port>& ports, const QList<int>& usbProblems)
{
    Facts facts;
    facts.isWindows = true;
    facts.ports = ports;
    facts.usbProblems = usbProblems;
    return facts;
}

Port linuxAdapter(const QString& name = QStringLiteral("/dev/ttyUSB0"))
{
    Port port = windowsAdapter(name);
    port.driver = QStringLiteral("ftdi_sio");
    port.group = QStringLiteral("dialout");
    return port;
}

Facts linux_(const QList<Port>& ports, const QList<int>& usbProblems)
{
    Facts facts;
    facts.user = QStringLiteral("ann");
    facts.ports = ports;
    facts.usbProblems = usbProblems;
    facts.rules = {{QStringLiteral("/usr/lib/rule"), kRule}};
    return facts;
}

/// The same, with one thing changed.
template <typename Thing, typename Change> Thing with(Thing thing, Change change)
{
    change(thing);
    return thing;
}

Port opens(Port port, Access access)
{
    port.access = access;
    return port;
}

QStringList linesOf(const Facts& facts)
{
    return textOf(rowsOf(facts)).split(u'\n', Qt::SkipEmptyParts);
}

QString ofCom3(const QString& line)
{
    return line.arg(QStringLiteral("COM3"));
}

} // namespace

class TestComputerRows : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatToDoOnEachWindowsComputer_data()
    {
        QTest::addColumn<Facts>("facts");
        QTest::addColumn<QStringList>("lines");

        const QStringList well{
            ofCom3(kIsThere), ofCom3(kHasDriver), ofCom3(kNotHeld), ofCom3(kShort)};
        const auto wellBut = [&well](qsizetype index, const QString& line) {
            return with(well, [&](QStringList& lines) { lines[index] = line; });
        };
        QTest::newRow("well") << windows({windowsAdapter()}, {0}) << well;
        QTest::newRow("well, among others") << windows(
            {com1(), windowsAdapter(),
                windowsPort(QStringLiteral("COM9"), QStringLiteral("Another Maker"), true)},
            {0, 0}) << well;
        QTest::newRow("nothing")
            << windows({}, {})
            << QStringList{
                   QStringLiteral("do  adapter: none is plugged in; plug in the machine's cable "
                                  "and switch the machine on")};
        QTest::newRow("another maker's adapter")
            << windows(
                   {com1(), windowsPort(QStringLiteral("COM7"), QStringLiteral("Prolific"))}, {})
            << QStringList{QStringLiteral(
                   "do  adapter: no FTDI adapter is plugged in, only COM1 (Standard port types), "
                   "COM7 "
                   "(Prolific), which the updater does not use; plug in the machine's own cable")};
        const QStringList foreign{QStringLiteral(
            "do  adapter: COM5 (Another Maker) has an FTDI chip but a driver that names another "
            "manufacturer, so the updater does not take it; install the chip maker's own driver "
            "for virtual COM ports, or plug in the machine's own cable")};
        const Port com5
            = windowsPort(QStringLiteral("COM5"), QStringLiteral("Another Maker"), true);
        QTest::newRow("another maker's driver") << windows({com1(), com5}, {}) << foreign;
        QTest::newRow("another maker's driver in one stage") << windows({com5}, {0}) << foreign;
        QTest::newRow("two") << windows(
            {windowsAdapter(), windowsAdapter(QStringLiteral("COM4"))}, {0, 0})
                             << well
                + QStringList(well).replaceInStrings(QStringLiteral("COM3"), QStringLiteral("COM4"))
                + QStringList{QStringLiteral(
                    "ok  adapter: there are 2, and the updater talks to all of them at once; "
                    "leave only the cables of machines that are to be updated plugged in")};

        const QStringList noDriver{QStringLiteral(
            "do  driver: an FTDI adapter is plugged in but has no driver; connect the computer to "
            "the network and plug it in again, or install the chip maker's driver for virtual COM "
            "ports")};
        QTest::newRow("no driver") << windows({com1()}, {28}) << noDriver;
        QTest::newRow("half a driver") << windows({}, {0, 28}) << noDriver;
        QTest::newRow("no port") << windows({}, {0})
                                 << QStringList{QStringLiteral(
                                        "do  driver: an FTDI adapter is plugged in but has no "
                                        "serial port; in the Device Manager, at its USB Serial "
                                        "Converter, Properties, Advanced, tick \"Load VCP\", and "
                                        "plug it in again")};
        const QString notStarted = QStringLiteral(
            "do  driver: an FTDI adapter is plugged in but Windows does not start it (problem 10); "
            "look at it in the Device Manager, and try another USB socket");
        const QString cannotBeOpened = QStringLiteral(
            "do  holder: COM3 cannot be opened; unplug the adapter and plug it in again, then "
            "restart the computer if that does not help");
        QTest::newRow("not started") << windows({}, {10}) << QStringList{notStarted};
        QTest::newRow("its port not started") << windows({opens(windowsAdapter(), Access::Fails)},
            {0, 10}) << (wellBut(2, cannotBeOpened) << notStarted);
        QTest::newRow("cannot be opened")
            << windows({opens(windowsAdapter(), Access::Fails)}, {0}) << wellBut(2, cannotBeOpened);
        QTest::newRow("held")
            << windows({opens(windowsAdapter(), Access::Held)}, {0})
            << wellBut(2,
                   QStringLiteral("do  holder: another program holds COM3: a second updater, or a "
                                  "terminal program; let an updater that is at work "
                                  "finish; close any other, or unplug the adapter and plug "
                                  "it in again"));
        QTest::newRow("hangs") << windows({opens(windowsAdapter(), Access::Hangs)}, {0})
                               << wellBut(2,
                                      QStringLiteral(
                                          "do  holder: COM3 does not come back when it is opened; "
                                          "unplug the adapter and plug it in again"));
        QTest::newRow("slow") << windows({with(windowsAdapter(), [](Port& p) { p.latency = 16; })},
            {0}) << wellBut(3, ofCom3(kLong));
        QTest::newRow("latency never set")
            << windows({with(windowsAdapter(), [](Port& p) { p.latency.reset(); })}, {0})
            << wellBut(3, ofCom3(kLong));
    }

    void saysWhatToDoOnEachWindowsComputer()
    {
        QFETCH(Facts, facts);
        QTEST(linesOf(facts), "lines");
    }

    void findsNothingToDoOnALinuxComputerThatIsWell()
    {
        const QStringList lines{
            QStringLiteral("ok  adapter: /dev/ttyUSB0 is an FTDI adapter (FTDI USB Serial Port "
                           "A50285BIA)"),
            QStringLiteral("ok  driver: /dev/ttyUSB0 has the driver ftdi_sio"),
            QStringLiteral("ok  access: ann may open /dev/ttyUSB0"),
            QStringLiteral("ok  holder: no program holds /dev/ttyUSB0"),
            QStringLiteral("ok  latency: /dev/ttyUSB0 hands answers on after 1 ms"),
            QStringLiteral("ok  rule: /usr/lib/rule is installed"),
        };
        QCOMPARE(linesOf(linux_({linuxAdapter()}, {0})), lines);
    }

    void saysWhatToDoOnALinuxComputer_data()
    {
        QTest::addColumn<Facts>("facts");
        QTest::addColumn<QString>("line");

        const auto one = [](auto change) { return linux_({with(linuxAdapter(), change)}, {0}); };
        QTest::newRow("nothing, but a port that is built in")
            << linux_({windowsPort(QStringLiteral("/dev/ttyS0"), {})}, {})
            << QStringLiteral("do  adapter: none is plugged in; plug in the machine's cable and "
                              "switch the machine on");
        QTest::newRow("no port")
            << linux_({}, {0})
            << QStringLiteral(
                   "do  driver: an FTDI adapter is plugged in but has no serial port; run 'sudo "
                   "modprobe ftdi_sio' and plug it in again (if the port goes away at once, a "
                   "program like brltty takes it: remove that)");
        QTest::newRow("no right")
            << one([](Port& p) { p.access = Access::MayNot; })
            << QStringLiteral(
                   "do  access: ann may not open /dev/ttyUSB0; run 'sudo adduser ann dialout' and "
                   "log in again, or with the rule installed log in at the computer's own screen");
        QTest::newRow("held by a program")
            << one([](Port& p) {
                   p.holders = {{QStringLiteral("minicom"), 12}};
                   p.hidesHolders = true;
               })
            << QStringLiteral(
                   "do  holder: minicom (process 12) holds /dev/ttyUSB0; close that program");
        QTest::newRow("held by the updater")
            << one([](Port& p) {
                   p.holders = {{QStringLiteral("annealing-db-updater"), 12}};
               })
            << QStringLiteral("ok  holder: the updater (process 12) is at work on /dev/ttyUSB0; "
                              "let it finish");
        QTest::newRow("a lock left behind")
            << one([](Port& p) { p.leftLock = QStringLiteral("/var/lock/LCK..ttyUSB0"); })
            << QStringLiteral(
                   "do  holder: a program that has ended left the lock /var/lock/LCK..ttyUSB0, "
                   "which keeps /dev/ttyUSB0 from being opened; run 'sudo rm "
                   "/var/lock/LCK..ttyUSB0', or restart the computer");
        QTest::newRow("programs that are not seen")
            << one([](Port& p) { p.hidesHolders = true; })
            << QStringLiteral("?   holder: no program of ann holds /dev/ttyUSB0; those of other "
                              "users are seen by 'sudo annealing-db-updater-doctor --text'");
        QTest::newRow("slow")
            << one([](Port& p) { p.latency = 16; })
            << QStringLiteral(
                   "do  latency: /dev/ttyUSB0 keeps answers back for 16 ms, which makes an update "
                   "take minutes longer; unplug the adapter and plug it in again with the rule "
                   "installed, or run 'echo 1 | sudo tee "
                   "/sys/bus/usb-serial/devices/ttyUSB0/latency_timer'");
        QTest::newRow("no timer")
            << one([](Port& p) { p.latency.reset(); })
            << QStringLiteral(
                   "do  latency: /dev/ttyUSB0 has no latency timer that can be set; use an adapter "
                   "with an FTDI chip and the kernel's driver ftdi_sio, or wait longer");
        const auto ruled = [](const QList<RuleFile>& rules) {
            return with(linux_({linuxAdapter()}, {0}), [&](Facts& f) { f.rules = rules; });
        };
        const RuleFile shipped{QStringLiteral("/usr/lib/rule"), kRule};
        QTest::newRow("no rule")
            << ruled({})
            << QStringLiteral(
                   "do  rule: 60-annealing-db-updater.rules is not installed; install the package "
                   "annealing-db-updater, then unplug the adapter and plug it in again");
        QTest::newRow("rule switched off")
            << ruled({{QStringLiteral("/etc/rule"), {}}, shipped})
            << QStringLiteral(
                   "do  rule: /etc/rule is empty and so switches the rule off; delete it");
        QTest::newRow("rule overridden")
            << ruled({{QStringLiteral("/etc/rule"), "another"}, shipped})
            << QStringLiteral("?   rule: /etc/rule takes the place of /usr/lib/rule and says "
                              "something else; delete it unless it is wanted");
        QTest::newRow("rule overridden by itself")
            << ruled({{QStringLiteral("/etc/rule"), kRule}, shipped})
            << QStringLiteral("ok  rule: /etc/rule is installed");
    }

    void saysWhatToDoOnALinuxComputer()
    {
        QFETCH(Facts, facts);
        QFETCH(QString, line);
        const QStringList lines = linesOf(facts);
        QVERIFY2(lines.contains(line), qPrintable(lines.join(u'\n')));
        // Of one thing only one thing is said.
        const QString topic = line.section(u':', 0, 0).sliced(4);
        QCOMPARE(lines.filter(QStringLiteral(" %1: ").arg(topic)).size(), 1);
    }

    void takesAPerCentSignForWhatItIs()
    {
        Port port = linuxAdapter();
        port.description = QStringLiteral("%2 of 100%");
        const QString line = linesOf(linux_({port}, {0})).value(0);
        QVERIFY2(line.contains(QStringLiteral("(FTDI %2 of 100% A50285BIA)")), qPrintable(line));
    }
};

static const RegisteredTest<TestComputerRows> registered(__FILE__);
#include "tst_computerrows.moc"
