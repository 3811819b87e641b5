// The service on real ports, wired as it is meant to be: the port's readyRead() to SerialGotData(),
// a periodic timer to OnTimeout().

#include "tests/serial/ServiceFixture.h"
#include "tests/support/PortNames.h"
#include "tests/support/TestProgram.h"
#include "virtualboard/Board.h"
#include "virtualboard/UsbBus.h"

#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <chrono>
#include <memory>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr auto kTick = 10ms;

constexpr int kTicksUntilOpen = 9;

// The board's time runs faster, so that its report of every second fits the ticks.
constexpr int kBoardHaste = 10;

/// The bus, with an adapter for each number of a port. Outlives the port: closing one asks the bus.
class Adapters
{
public:
    explicit Adapters(int count)
    {
        for (int number = 0; number < count; ++number) {
            Adapter adapter;
            adapter.portName = uniquePortName(number);
            m_adapters.push_back(m_bus.plug(adapter));
        }
    }
    [[nodiscard]] PluggedAdapter& at(std::size_t number) const { return *m_adapters.at(number); }

private:
    UsbBus m_bus;
    std::vector<std::unique_ptr<PluggedAdapter>> m_adapters;
};

/// What is connected to an adapter.
class FarEnd : public QObject
{
public:
    explicit FarEnd(PluggedAdapter& adapter)
        : m_adapter(adapter), m_notifier(adapter.masterFd(), QSocketNotifier::Read)
    {
        connect(&m_notifier, &QSocketNotifier::activated, this, &FarEnd::hear);
    }

    [[nodiscard]] QByteArray heard() const { return m_heard; }

protected:
    virtual void take(const QByteArray& /*bytes*/) { }

    [[nodiscard]] int rate() const { return m_adapter.baudRate(); }

    void say(const QByteArray& bytes)
    {
        QCOMPARE(::write(m_adapter.masterFd(), bytes.constData(),
                     static_cast<std::size_t>(bytes.size())),
            static_cast<ssize_t>(bytes.size()));
    }

private:
    void hear()
    {
        std::array<char, 256> bytes{};
        const ssize_t size = ::read(m_adapter.masterFd(), bytes.data(), bytes.size());
        if (size <= 0)
            return;
        m_heard.append(bytes.data(), size);
        take(QByteArray(bytes.data(), size));
    }

    PluggedAdapter& m_adapter;
    QSocketNotifier m_notifier;
    QByteArray m_heard;
};

/// The board that the service is made for.
class ReportingBoard : public FarEnd
{
public:
    explicit ReportingBoard(PluggedAdapter& adapter) : FarEnd(adapter), m_board(options())
    {
        m_age.start();
        connect(&m_timer, &QTimer::timeout, this, &ReportingBoard::live);
        m_timer.start(2ms);
    }

    [[nodiscard]] vboard::Runs runs() const { return m_board.runs(); }

private:
    static vboard::BoardOptions options()
    {
        vboard::BoardOptions options;
        options.kind = vboard::Kind::Service;
        return options;
    }

    [[nodiscard]] vboard::Time now() const
    {
        return kBoardHaste * std::chrono::milliseconds(m_age.elapsed());
    }

    void take(const QByteArray& bytes) override
    {
        m_board.receive(bytes.toStdString(), rate(), now());
    }

    void live()
    {
        for (const vboard::Emission& emission : m_board.takeDue(now())) {
            if (emission.baudRate == rate())
                say(QByteArray::fromStdString(emission.bytes));
        }
    }

    vboard::Board m_board;
    QElapsedTimer m_age;
    QTimer m_timer;
};

/// Something else that talks at the firmware's speed, and nearly like a board.
class NoisyDevice : public FarEnd
{
public:
    explicit NoisyDevice(PluggedAdapter& adapter) : FarEnd(adapter)
    {
        connect(&m_timer, &QTimer::timeout, this, [this] {
            if (rate() == 19200)
                say("noise\n$STATUS*0BAD\n$STATUSX*973\n$Bootloader\r\n");
        });
        m_timer.start(60ms);
    }

private:
    QTimer m_timer;
};

} // namespace

class TestServiceWired : public QObject
{
    Q_OBJECT

private slots:
    // The first port's device says nothing, the second one's nearly what a board says.
    void findsTheBoardAmongThree()
    {
        const Adapters adapters(3);
        const FarEnd silent(adapters.at(0));
        const NoisyDevice noisy(adapters.at(1));
        const ReportingBoard board(adapters.at(2));
        ServiceFixture<QSerialPort> fixture;
        QStringList lines;
        connect(&fixture.service, &Serial_Connect::GotMessage, this,
            [&fixture, &lines](const QString& line) {
                if (fixture.port.portName() == uniquePortName(2))
                    lines << QString::number(fixture.port.baudRate()) + QLatin1Char(' ') + line;
            });
        fixture.probe.sendEnabled = true;
        connect(&fixture.probe.timer, SIGNAL(timeout()), &fixture.service, SLOT(OnTimeout()));
        fixture.probe.timer.start(kTick);

        QTRY_VERIFY_WITH_TIMEOUT(fixture.settings.deviceReady, 30000);
        QCOMPARE(board.runs(), vboard::Runs::Bootloader);
        QVERIFY(board.heard().endsWith("$BOOTLOADM*9FEC\n"));
        QCOMPARE(lines.first(), QStringLiteral("19200 $STATUS*3BC1\n"));
        QCOMPARE(lines.last(), QStringLiteral("115200 $Bootloader\n"));
        QVERIFY(!(silent.heard() + noisy.heard()).contains("$BOOTLOADM"));

        // Once found, the port stays open and is read on.
        const auto heard = lines.size();
        QTRY_VERIFY(lines.size() > heard);
        QCOMPARE(lines.last(), QStringLiteral("115200 $Bootloader\n"));
    }

    // The hunt may close the port before the event loop comes round again.
    void whatIsSentLeavesWithoutATurnOfTheEventLoop()
    {
        const Adapters adapters(1);
        ServiceFixture<QSerialPort> fixture;
        for (int tick = 0; tick < kTicksUntilOpen; ++tick)
            fixture.service.OnTimeout();
        fixture.probe.sendEnabled = true;
        protocol::Line line("$A,1");
        fixture.service.AddCRC_nSend(line.buffer().data());
        QCOMPARE(fixture.port.bytesToWrite(), qint64(0));
        fixture.service.WriteMessage(QStringLiteral("$V"));
        QCOMPARE(fixture.port.bytesToWrite(), qint64(0));
        QByteArray data = "$W";
        QCOMPARE(fixture.service.WriteMessage(data), 2);
        QCOMPARE(fixture.port.bytesToWrite(), qint64(0));
    }

    void closesAPortThatVanishesAndKeepsOneThatFails()
    {
        const Adapters adapters(1);
        ServiceFixture<QSerialPort> fixture;
        for (int tick = 0; tick < kTicksUntilOpen; ++tick)
            fixture.service.OnTimeout();
        emit fixture.port.errorOccurred(QSerialPort::ResourceError);
        QVERIFY(fixture.port.isOpen());
        adapters.at(0).unplug();
        QTRY_VERIFY(!fixture.port.isOpen());
    }
};

static const RegisteredTest<TestServiceWired> registered(__FILE__);
#include "tst_service_wired.moc"
