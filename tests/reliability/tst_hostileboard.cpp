// A board that says anything, in every state of a session. What has to hold: the program goes on
// handling events, nothing grows without end, and the next job on a sane board is exact.

#include "tests/reliability/HostileBoard.h"
#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/Resources.h"
#include "tests/session/SessionBench.h"

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTest>

#include <chrono>

using namespace std::chrono_literals;

namespace {

constexpr int kReplies = 10'000;

/// The session's numbers somewhere in `state`, sane or not.
SessionFields somewhereIn(int state, HostileBoard& random)
{
    return {{"state", state}, {"flashAddress", 0x1000 + random.below(0xDF000 / 64 + 1) * 64},
        {"phase", random.below(5)}, {"fwStep", random.below(4)}, {"retries", random.below(11)},
        {"ticks", random.below(20)}, {"imageIndex", random.below(5)},
        {"imageOffset", random.below(4) * 256}, {"imageStep", random.below(3)},
        {"imageWait", random.below(7)}, {"blockNumber", random.below(4)}};
}

int jobOf(int state)
{
    if (state == StateEraseImages)
        return JobEraseImages;
    return state == StateSendImages ? JobImagesOnly : JobUpdate;
}

} // namespace

class TestHostileBoard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false")); }
    void bearsEveryReply_data();
    void bearsEveryReply();
    void keepsTheLogShort();

private:
    static void hear(SessionBench& bench, const QByteArray& bytes);
    static void bringBack(SessionBench& bench, int state, HostileBoard& board);
    static void sayAnything(SessionBench& bench, int state, HostileBoard& board, int replies);
};

void TestHostileBoard::bearsEveryReply_data()
{
    QTest::addColumn<int>("state");
    for (const int state : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15})
        QTest::addRow("state %d", state) << state;
}

// Through the receive path of the open port; what a closed one is told is told to the handler.
void TestHostileBoard::hear(SessionBench& bench, const QByteArray& bytes)
{
    PortTest& port = bench.port();
    if (bytes.isEmpty())
        return;
    if (!port.isOpen()) {
        bench.dialog().GotMessage(&port, QString::fromUtf8(bytes));
        return;
    }
    QVERIFY(::write(bench.adapter().masterFd(), bytes.constData(),
                static_cast<std::size_t>(bytes.size()))
        == bytes.size());
    constexpr int kArrivalTimeout = 5000; // ms
    QVERIFY(port.waitForReadyRead(kArrivalTimeout));
}

void TestHostileBoard::bringBack(SessionBench& bench, int state, HostileBoard& board)
{
    PortTest& port = bench.port();
    if (!port.isOpen())
        port.open(QIODevice::ReadWrite);
    port.onTheWire = QDeadlineTimer(); // closing need not wait for what is on no wire
    bench.setFields(somewhereIn(state, board));
}

void TestHostileBoard::sayAnything(SessionBench& bench, int state, HostileBoard& board, int replies)
{
    constexpr int kRepliesPerTick = 20;
    for (int i = 0; i < replies; ++i) {
        if (bench.port().state != state || board.oneIn(kRepliesPerTick))
            bringBack(bench, state, board);
        const QByteArray reply = board.reply();
        const qsizetype cut = board.oneIn(4) ? board.below(static_cast<int>(reply.size()) + 1) : 0;
        hear(bench, reply.left(cut));
        hear(bench, reply.mid(cut));
        if (board.oneIn(kRepliesPerTick)) {
            bench.port().onTheWire = QDeadlineTimer();
            bench.step();
        }
        (void)bench.sent(); // a board takes what it is sent
    }
}

void TestHostileBoard::bearsEveryReply()
{
    QFETCH(int, state);
    constexpr qint64 kRoomForCaches = 1 << 20;
    constexpr auto kTimePerReply = 5ms; // on a machine that is busy with other things
    SessionBench bench(jobOf(state));
    HostileBoard board(static_cast<unsigned>(state) + 1);
    QElapsedTimer time;
    time.start();

    sayAnything(bench, state, board, kReplies / 2);
    const qint64 half = allocatedBytes();
    const int descriptors = openDescriptors();
    const qsizetype children = bench.dialog().findChildren<QObject*>().size();
    sayAnything(bench, state, board, kReplies / 2);

    QVERIFY(time.elapsed() < (kReplies * kTimePerReply).count());
    QVERIFY2(allocatedBytes() - half < kRoomForCaches, "memory");
    QVERIFY(openDescriptors() <= descriptors + 1); // the port may be open now and closed then
    QCOMPARE(bench.dialog().findChildren<QObject*>().size(), children);
    QVERIFY(bench.port().rxIndex >= 0 && bench.port().rxIndex < protocol::kLineCapacity);

    bench.closeDialog();
    bench.adapter().discardUnread();
    bench.openDialog(jobOf(state));
    TimedBoard sane(boardFor(jobOf(state)));
    PlayedBoard played(bench.dialog(), bench.adapter(), sane);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSmallSet(sane.board, jobOf(state)), QString());
}

void TestHostileBoard::keepsTheLogShort()
{
    constexpr int kMostParagraphs = 10'000;
    SessionBench bench(JobUpdate);
    bench.setFields({{"state", StateSendImages}, {"phase", PhaseFirmwareDone}});
    const QByteArray wrong = "$VACK,5" + QByteArray(",01").repeated(64);
    for (int i = 0; i < 2 * kMostParagraphs; ++i) {
        bench.setFields({{"state", StateSendImages}, {"imageWait", 3}});
        bench.reply(wrong);
    }
    const auto* const log = bench.dialog().findChild<QTextEdit*>(QStringLiteral("textEdit"));
    QVERIFY(log->document()->blockCount() <= kMostParagraphs);
    QVERIFY(bench.log().endsWith(QStringLiteral("Veify Failed")));
}

QTEST_MAIN(TestHostileBoard)
#include "tst_hostileboard.moc"
