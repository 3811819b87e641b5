// The service wired as it is meant to be: the port's readyRead() to SerialGotData(), a periodic
// timer to OnTimeout(). Three adapters are on the bus, and one of them has a board.

#include "tests/serial/HuntFixture.h"
#include "tests/support/TestProgram.h"
#include "virtualboard/Board.h"

#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <chrono>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr auto kTick = 10ms;

// The board's time runs faster, so that its report of every second fits the ticks.
constexpr int kBoardHaste = 10;

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
    void findsTheBoardAmongThree_data()
    {
        QTest::addColumn<int>("place");
        QTest::newRow("first") << 0;
        QTest::newRow("second") << 1;
        QTest::newRow("third") << 2;
    }

    void findsTheBoardAmongThree()
    {
        QFETCH(int, place);
        HuntFixture hunt;
        const QString name = QStringLiteral("port %1").arg(place);
        // The system lists the ports in the order of plugging.
        std::unique_ptr<ReportingBoard> board;
        std::vector<std::unique_ptr<FarEnd>> others;
        for (int i = 0; i < 3; ++i) {
            if (i == place) {
                board = std::make_unique<ReportingBoard>(hunt.plug(i));
                continue;
            }
            PluggedAdapter& adapter = hunt.plug(i);
            if (others.empty())
                others.push_back(std::make_unique<FarEnd>(adapter)); // says nothing
            else
                others.push_back(std::make_unique<NoisyDevice>(adapter));
        }
        QStringList lines;
        connect(
            &hunt.service, &Serial_Connect::GotMessage, this, [&hunt, &lines](const QString& line) {
                lines << hunt.portState() + QLatin1Char(' ') + line;
            });
        hunt.probe.sendEnabled = true;
        connect(&hunt.port, SIGNAL(readyRead()), &hunt.service, SLOT(SerialGotData()));
        connect(&hunt.probe.timer, SIGNAL(timeout()), &hunt.service, SLOT(OnTimeout()));
        hunt.probe.timer.start(kTick);

        QTRY_VERIFY_WITH_TIMEOUT(hunt.settings.deviceReady, 30000);
        QCOMPARE(hunt.portState(), name + QStringLiteral(" at 115200"));
        QCOMPARE(board->runs(), vboard::Runs::Bootloader);
        QVERIFY(board->heard().endsWith("$BOOTLOADM*9FEC\n"));
        const QStringList boardLines = lines.filter(name);
        QCOMPARE(boardLines.first(), name + QStringLiteral(" at 19200 $STATUS*3BC1\n"));
        QCOMPARE(boardLines.last(), name + QStringLiteral(" at 115200 $Bootloader\n"));
        for (const auto& other : others)
            QVERIFY(!other->heard().contains("$BOOTLOADM"));

        // Once found, the port stays open and is read on.
        const auto heard = lines.size();
        QTRY_VERIFY(lines.size() > heard);
        QCOMPARE(hunt.portState(), name + QStringLiteral(" at 115200"));
    }

    void findsNothingWhileSendingIsDisabled()
    {
        HuntFixture hunt;
        const ReportingBoard board(hunt.plug(3));
        connect(&hunt.port, &QSerialPort::readyRead, &hunt.service, &Serial_Connect::SerialGotData);
        connect(&hunt.probe.timer, &QTimer::timeout, &hunt.service, &Serial_Connect::OnTimeout);
        hunt.probe.timer.start(kTick);
        QTRY_COMPARE_WITH_TIMEOUT(hunt.probe.portIndex, 1, 30000);
        QVERIFY(!hunt.settings.deviceReady);
        QCOMPARE(board.runs(), vboard::Runs::Application);
        QVERIFY(board.heard().startsWith("$V"));
        QVERIFY(!board.heard().contains("$BOOTLOADM"));
    }
};

static const RegisteredTest<TestServiceWired> registered(__FILE__);
#include "tst_service_wired.moc"
