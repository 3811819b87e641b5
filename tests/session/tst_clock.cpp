#include "tests/session/BusFixture.h"
#include "tests/support/TestProgram.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <unistd.h>

namespace {

/// The board's view of the program's tick, in milliseconds: a timer may be a twentieth early, and
/// clocks that count whole milliseconds lose some.
constexpr qint64 kTick = 500;
constexpr qint64 kEarliestTick = kTick - kTick / 20 - 2;

/// A board that says nothing: it notes what it hears, and when.
class SilentBoard
{
public:
    explicit SilentBoard(const PluggedAdapter& adapter)
        : m_adapter(adapter), m_notifier(adapter.masterFd(), QSocketNotifier::Read)
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { hear(); });
    }

    void startClock() { m_clock.start(); }

    [[nodiscard]] QByteArray heard() const { return m_heard; }
    /// Milliseconds from the start of the clock to each line's arrival.
    [[nodiscard]] const QList<qint64>& arrivals() const { return m_arrivals; }

private:
    void hear()
    {
        std::array<char, 256> bytes{};
        const ssize_t size = ::read(m_adapter.masterFd(), bytes.data(), bytes.size());
        const QByteArray heard(bytes.data(), std::max<ssize_t>(size, 0));
        m_heard += heard;
        for (qsizetype line = 0; line < heard.count('$'); ++line)
            m_arrivals << m_clock.elapsed();
    }

    const PluggedAdapter& m_adapter;
    QElapsedTimer m_clock;
    QByteArray m_heard;
    QList<qint64> m_arrivals;
    QSocketNotifier m_notifier;
};

} // namespace

/// A session by its own timer.
class TestClock : public QObject
{
    Q_OBJECT

private slots:
    void probesASilentBoardEvery500MillisecondsAndReopensFast()
    {
        BusFixture session;
        session.closeDialog();
        SilentBoard board(session.adapter());
        DialogBootload dialog(&session.service(), JobUpdate, nullptr);
        DialogBootloadProbe probe(dialog);
        const PortTest& port = *probe.ports().constFirst();
        // Anew: finding the ports took time after the constructor had started it.
        board.startClock();
        probe.timer().start();
        QTRY_COMPARE_WITH_TIMEOUT(port.state, qint32(StateWaitForBootloader), 50000);
        QTRY_COMPARE_WITH_TIMEOUT(board.arrivals().size(), kProbeLines, 5000);

        QByteArrayList expected(8, "$MVER");
        expected += QByteArrayList(2, "$BOOTLOADM");
        QCOMPARE(board.heard(), framedAll(expected));
        QVERIFY(port.isOpen());
        QCOMPARE(session.adapter().baudRate(), protocol::kBootloaderBaudRate);

        // The first tick starts the session, each of the next ten sends. A busy computer makes
        // ticks late, never early.
        QString arrivals;
        QDebug(&arrivals) << board.arrivals();
        for (qsizetype line = 0; line < kProbeLines; ++line) {
            QVERIFY2(board.arrivals().at(line) >= (line + 2) * kEarliestTick,
                qPrintable("before its tick: " + arrivals));
        }

        dialog.done(QDialog::Rejected);
    }
};

static const RegisteredTest<TestClock> registered(__FILE__);
#include "tst_clock.moc"
