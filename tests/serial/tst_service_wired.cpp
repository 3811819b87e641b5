// The service wired as it is meant to be: the port's readyRead() to SerialGotData(), a periodic
// timer to OnTimeout(). Three adapters are on the bus, and one of them has a board.

#include "tests/serial/HuntBench.h"

#include <QSocketNotifier>
#include <QTest>
#include <QTimer>

#include <array>
#include <chrono>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr auto kTick = 10ms;
constexpr auto kReportInterval = 60ms;

/// What a board says and hears on one adapter. It hears nothing at a speed that is not its own.
class ScriptedBoard : public QObject
{
public:
    enum class Kind { Working, Silent, Noisy };

    ScriptedBoard(PluggedAdapter& adapter, Kind kind)
        : m_adapter(adapter), m_kind(kind), m_notifier(adapter.masterFd(), QSocketNotifier::Read)
    {
        connect(&m_notifier, &QSocketNotifier::activated, this, &ScriptedBoard::hear);
        connect(&m_timer, &QTimer::timeout, this, &ScriptedBoard::speak);
        m_timer.start(kReportInterval);
    }

    [[nodiscard]] QByteArray heard() const { return m_heard; }

private:
    void hear()
    {
        std::array<char, 256> bytes{};
        const ssize_t size = ::read(m_adapter.masterFd(), bytes.data(), bytes.size());
        if (size <= 0 || m_adapter.baudRate() != speed())
            return;
        m_heard.append(bytes.data(), size);
        m_inBootloader
            = m_inBootloader || (m_kind == Kind::Working && m_heard.endsWith("$BOOTLOADM*9FEC\n"));
    }

    void speak()
    {
        if (m_adapter.baudRate() != speed() || m_kind == Kind::Silent)
            return;
        if (m_kind == Kind::Noisy)
            say("noise\n$STATUS*0BAD\n$STATUSX*973\n$Bootloader\r\n");
        else if (m_inBootloader)
            say("$Bootloader\n");
        else
            say("$STATUS*3BC1\n");
    }

    void say(const QByteArray& line)
    {
        QCOMPARE(
            ::write(m_adapter.masterFd(), line.constData(), static_cast<std::size_t>(line.size())),
            static_cast<ssize_t>(line.size()));
    }

    [[nodiscard]] int speed() const { return m_inBootloader ? 115200 : 19200; }

    PluggedAdapter& m_adapter;
    Kind m_kind;
    QSocketNotifier m_notifier;
    QTimer m_timer;
    QByteArray m_heard;
    bool m_inBootloader = false;
};

} // namespace

class TestServiceWired : public QObject
{
    Q_OBJECT

private slots:
    void findsTheBoardAmongThree_data();
    void findsTheBoardAmongThree();
    void findsNothingWhileSendingIsDisabled();
};

void TestServiceWired::findsTheBoardAmongThree_data()
{
    QTest::addColumn<int>("place");
    QTest::newRow("first") << 0;
    QTest::newRow("second") << 1;
    QTest::newRow("third") << 2;
}

void TestServiceWired::findsTheBoardAmongThree()
{
    QFETCH(int, place);
    HuntBench bench;
    std::vector<std::unique_ptr<ScriptedBoard>> boards;
    for (int i = 0; i < 3; ++i) {
        PluggedAdapter& adapter = bench.plug(QStringLiteral("ttyUSB31%1").arg(i));
        const auto other = i == 0 ? ScriptedBoard::Kind::Silent : ScriptedBoard::Kind::Noisy;
        boards.push_back(std::make_unique<ScriptedBoard>(
            adapter, i == place ? ScriptedBoard::Kind::Working : other));
    }
    QStringList lines;
    connect(
        &bench.service, &Serial_Connect::GotMessage, this, [&bench, &lines](const QString& line) {
            lines << bench.portState() + QLatin1Char(' ') + line;
        });
    bench.probe.sendEnabled = true;
    connect(&bench.port, SIGNAL(readyRead()), &bench.service, SLOT(SerialGotData()));
    connect(&bench.probe.timer, SIGNAL(timeout()), &bench.service, SLOT(OnTimeout()));
    bench.probe.timer.start(kTick);

    QTRY_VERIFY_WITH_TIMEOUT(bench.settings.deviceReady, 20000);
    const QString name = QStringLiteral("ttyUSB31%1").arg(place);
    QCOMPARE(bench.portState(), name + QStringLiteral(" at 115200"));
    const QStringList boardLines = lines.filter(name);
    QCOMPARE(boardLines.first(), name + QStringLiteral(" at 19200 $STATUS*3BC1\n"));
    QCOMPARE(boardLines.last(), name + QStringLiteral(" at 115200 $Bootloader\n"));
    QVERIFY(boards.at(static_cast<std::size_t>(place))->heard().contains("$BOOTLOADM*9FEC\n"));
    for (int i = 0; i < 3; ++i) {
        if (i != place)
            QVERIFY(!boards.at(static_cast<std::size_t>(i))->heard().contains("$BOOTLOADM"));
    }

    // Found is found: the port stays open, and the board is heard on.
    const auto heard = lines.size();
    QTRY_VERIFY(lines.size() > heard);
    QCOMPARE(bench.portState(), name + QStringLiteral(" at 115200"));
}

void TestServiceWired::findsNothingWhileSendingIsDisabled()
{
    HuntBench bench;
    const ScriptedBoard board(
        bench.plug(QStringLiteral("ttyUSB313")), ScriptedBoard::Kind::Working);
    connect(&bench.port, &QSerialPort::readyRead, &bench.service, &Serial_Connect::SerialGotData);
    connect(&bench.probe.timer, &QTimer::timeout, &bench.service, &Serial_Connect::OnTimeout);
    bench.probe.timer.start(kTick);
    QTRY_COMPARE_WITH_TIMEOUT(bench.probe.portIndex, 1, 20000);
    QVERIFY(!bench.settings.deviceReady);
    QVERIFY(board.heard().startsWith("$V"));
    QVERIFY(!board.heard().contains("$BOOTLOADM"));
}

QTEST_GUILESS_MAIN(TestServiceWired)
#include "tst_service_wired.moc"
