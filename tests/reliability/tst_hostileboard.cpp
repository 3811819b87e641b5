// A board that says anything, in every state of a session. What has to hold: the program goes on
// handling events, nothing grows without end, and the next job on a sane board is exact.

#include "tests/reliability/HostileBoard.h"
#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/ProcessUsage.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

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
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false\nqt.*=false"));
    }
    void bearsEveryReply_data();
    void bearsEveryReply();
    void keepsTheLogShort();

private:
    static void hear(SessionFixture& fixture, const QByteArray& bytes);
    static void bringBack(SessionFixture& fixture, int state, HostileBoard& board);
    static void sayAnything(SessionFixture& fixture, int state, HostileBoard& board, int replies);
};

void TestHostileBoard::bearsEveryReply_data()
{
    QTest::addColumn<int>("state");
    for (const int state : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15})
        QTest::addRow("state %d", state) << state;
}

// Through the receive path of the open port; to the handler where the port is closed.
void TestHostileBoard::hear(SessionFixture& fixture, const QByteArray& bytes)
{
    if (fixture.port().isOpen())
        fixture.receive(bytes);
    else if (!bytes.isEmpty())
        fixture.dialog().GotMessage(&fixture.port(), QString::fromUtf8(bytes));
}

void TestHostileBoard::bringBack(SessionFixture& fixture, int state, HostileBoard& board)
{
    PortTest& port = fixture.port();
    if (!port.isOpen())
        port.open(QIODevice::ReadWrite);
    fixture.setFields(somewhereIn(state, board));
}

void TestHostileBoard::sayAnything(
    SessionFixture& fixture, int state, HostileBoard& board, int replies)
{
    constexpr int kRepliesPerTick = 20;
    for (int i = 0; i < replies; ++i) {
        if (fixture.port().state != state || board.oneIn(kRepliesPerTick))
            bringBack(fixture, state, board);
        const QByteArray reply = board.reply();
        const qsizetype cut = board.oneIn(4) ? board.below(static_cast<int>(reply.size()) + 1) : 0;
        hear(fixture, reply.left(cut));
        hear(fixture, reply.mid(cut));
        if (board.oneIn(kRepliesPerTick))
            fixture.step();
        (void)fixture.sent(); // a board takes what it is sent
    }
}

void TestHostileBoard::bearsEveryReply()
{
    QFETCH(int, state);
    constexpr qint64 kRoomForCaches = 1 << 20;
    SessionFixture fixture(jobOf(state));
    HostileBoard board(static_cast<unsigned>(state) + 1);
    sayAnything(fixture, state, board, kReplies / 2);
    const qint64 half = allocatedBytes();
    const qsizetype children = fixture.dialog().findChildren<QObject*>().size();
    sayAnything(fixture, state, board, kReplies / 2);

    QVERIFY2(allocatedBytes() - half < kRoomForCaches, "memory");
    QCOMPARE(fixture.dialog().findChildren<QObject*>().size(), children);
    QVERIFY(fixture.port().rxIndex >= 0 && fixture.port().rxIndex < protocol::kLineCapacity);

    fixture.closeDialog();
    fixture.openDialog(jobOf(state));
    TimedBoard sane(boardFor(jobOf(state)));
    PlayedBoard played(fixture, sane);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSmallSet(sane.board, jobOf(state)), QString());
}

void TestHostileBoard::keepsTheLogShort()
{
    constexpr int kMostParagraphs = 10'000;
    SessionFixture fixture(JobUpdate);
    fixture.setFields({{"state", StateSendImages}, {"phase", PhaseFirmwareDone}});
    const QByteArray wrong = "$VACK,5" + QByteArray(",01").repeated(64);
    for (int i = 0; i < 2 * kMostParagraphs; ++i) {
        fixture.setFields({{"state", StateSendImages}, {"imageWait", 3}});
        fixture.reply(wrong);
    }
    const auto* const log = fixture.dialog().findChild<QTextEdit*>(QStringLiteral("textEdit"));
    QVERIFY(log->document()->blockCount() <= kMostParagraphs);
    QVERIFY(fixture.log().endsWith(QStringLiteral("Veify Failed")));
}

static const RegisteredTest<TestHostileBoard> registered(__FILE__);
#include "tst_hostileboard.moc"
