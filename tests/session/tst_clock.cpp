#include "tests/session/SessionBench.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QTest>

#include <algorithm>
#include <array>
#include <unistd.h>

namespace {

/// The board's view of the program's tick, in milliseconds, and the twentieth that a timer may be
/// early.
constexpr qint64 kTick = 500;
constexpr qint64 kEarliestTick = kTick - kTick / 20;

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
    void probesASilentBoardEvery500MillisecondsAndReopensFast();
};

void TestClock::probesASilentBoardEvery500MillisecondsAndReopensFast()
{
    SessionBench bench;
    bench.closeDialog();
    SilentBoard board(bench.adapter());
    DialogBootload dialog(&bench.service(), JobUpdate, nullptr);
    DialogBootloadProbe probe(dialog);
    const PortTest& port = *probe.ports().constFirst();
    // It was started before the ports were looked for, which takes its time.
    board.startClock();
    probe.timer().start();
    QTRY_COMPARE_WITH_TIMEOUT(port.state, qint32(StateWaitForBootloader), 50000);
    QTRY_COMPARE_WITH_TIMEOUT(board.arrivals().size(), kProbeLines, 5000);

    QByteArrayList expected(8, "$MVER");
    expected += QByteArrayList(2, "$BOOTLOADM");
    QCOMPARE(board.heard(), framedAll(expected));
    QVERIFY(port.isOpen());
    QCOMPARE(bench.adapter().baudRate(), kBootloaderBaudRate);

    // The first tick starts the session, each of the next ten sends. A computer that has other
    // things to do makes ticks late, and the one behind a late one comes after a shorter time: what
    // holds of every line is that it is not before its tick.
    QString arrivals;
    QDebug(&arrivals) << board.arrivals();
    QList<qint64> gaps;
    for (qsizetype line = 0; line < kProbeLines; ++line) {
        QVERIFY2(board.arrivals().at(line) >= (line + 2) * kEarliestTick,
            qPrintable("before its tick: " + arrivals));
        if (line > 0)
            gaps << board.arrivals().at(line) - board.arrivals().at(line - 1);
    }
    std::sort(gaps.begin(), gaps.end());
    QVERIFY2(gaps.at(gaps.size() / 2) >= 400, qPrintable("two at a time: " + arrivals));

    dialog.done(QDialog::Rejected);
}

QTEST_MAIN(TestClock)
#include "tst_clock.moc"
