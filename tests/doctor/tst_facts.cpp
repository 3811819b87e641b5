// What is found out about a computer, on a mocked USB bus.

#include "doctor/Facts.h"
#include "tests/session/PortHolder.h"
#include "tests/support/PortNames.h"
#include "tests/support/TestProgram.h"
#include "virtualboard/UsbBus.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>

using namespace doctor;

namespace {

constexpr int kManyPorts = 20;

Adapter adapterNumber(int number)
{
    Adapter adapter;
    adapter.portName = uniquePortName(number);
    return adapter;
}

/// Who holds the computer's first port, but for the bus, which has it open in this process.
QList<Holder> holdersOfThePort()
{
    QList<Holder> holders = factsOfThisComputer().ports.first().holders;
    holders.removeIf(
        [](const Holder& holder) { return holder.process == QCoreApplication::applicationPid(); });
    return holders;
}

} // namespace

class TestFacts : public QObject
{
    Q_OBJECT

private slots:
    void findsNothingOnAComputerWithNothing()
    {
        const UsbBus bus;
        QElapsedTimer timer;
        timer.start();
        const Facts facts = factsOfThisComputer();
        qInfo("nothing plugged in: %lld ms", timer.elapsed());
        QVERIFY(facts.ports.isEmpty());
        QVERIFY(facts.usbProblems.isEmpty());
        QVERIFY(!facts.user.isEmpty());
        QVERIFY(!facts.isWindows);
    }

    void findsAnAdapterAndAllOfIt()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapterNumber(0));
        const Facts facts = factsOfThisComputer();
        QCOMPARE(facts.ports.size(), 1);
        const Port& port = facts.ports.first();
        QCOMPARE(port.name, "/dev/" + uniquePortName(0));
        QCOMPARE(port.manufacturer, plugged->adapter().manufacturer);
        QCOMPARE(port.description, plugged->adapter().description);
        QCOMPARE(port.serialNumber, plugged->adapter().serialNumber);
        QCOMPARE(port.driver, QStringLiteral("ftdi_sio"));
        QCOMPARE(port.latency, std::optional(1));
        QCOMPARE(port.access, Access::May);
        QCOMPARE(holdersOfThePort(), QList<Holder>{});
        QCOMPARE(port.leftLock, QString());
        QCOMPARE(facts.usbProblems, QList<int>{0});
    }

    void opensNoPort()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapterNumber(1));
        QCOMPARE(factsOfThisComputer().ports.size(), 1);
        QCOMPARE(plugged->baudRate(), PluggedAdapter::kIdleBaudRate);
    }

    void asksNothingOfAnotherMakersPort()
    {
        UsbBus bus;
        Adapter adapter = adapterNumber(2);
        adapter.manufacturer = QStringLiteral("Prolific");
        const auto plugged = bus.plug(adapter);
        const PortHolder holder(adapter.portName);
        const Facts facts = factsOfThisComputer();
        QCOMPARE(facts.ports.size(), 1);
        QCOMPARE(facts.ports.first().access, Access::NotAsked);
        QCOMPARE(facts.ports.first().holders, QList<Holder>{});
        QVERIFY(facts.usbProblems.isEmpty());
    }

    void findsOnceWhoHoldsAPortAndLocksIt()
    {
        UsbBus bus;
        const auto plugged = bus.plug(adapterNumber(3));
        PortHolder holder(plugged->portName());
        const QList<Holder> holders = holdersOfThePort();
        QCOMPARE(holders.size(), 1);
        const QString own = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
        QCOMPARE(holders.first().program, own);

        // What it left is the updater's to remove, as this user is its owner.
        holder.kill();
        QCOMPARE(holdersOfThePort(), QList<Holder>{});
        QCOMPARE(factsOfThisComputer().ports.first().leftLock, QString());
    }

    void takesItsTimeWithManyPorts()
    {
        UsbBus bus;
        std::vector<std::unique_ptr<PluggedAdapter>> plugged;
        plugged.reserve(kManyPorts);
        for (int number = 0; number < kManyPorts; ++number)
            plugged.push_back(bus.plug(adapterNumber(number)));
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(factsOfThisComputer().ports.size(), kManyPorts);
        qInfo("%d ports: %lld ms", kManyPorts, timer.elapsed());
    }
};

static const RegisteredTest<TestFacts> registered(__FILE__);
#include "tst_facts.moc"
