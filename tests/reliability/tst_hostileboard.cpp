// A board that sends anything, in every state of a session. The program must go on handling events,
// nothing may grow without limit, and the next job on a sound board must be exact.

#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/ProcessUsage.h"
#include "tests/support/Reference.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>
#include <QRandomGenerator>

namespace {

/// Replies that a board sends, and that none does: numbers out of range, a wrong checksum, fields
/// and lines that are too long, bytes that are no UTF-8.
QByteArrayList replies()
{
    return {"$Bootloader", "$GACK", "$MVERR,D.02n", "$IACK,0", "$IACK,1", "$FACK,0", "$FACK,1",
        "$FACK,2,1", "$AACK,0", "$AACK,1", "$EACK", "$DACK", "$PACK", "$CACK",
        "$VACK,5" + QByteArray(",00").repeated(64), "$VACK,B" + QByteArray(",FF").repeated(63),
        "$FACK,FFFFFFFF,100000000", "$FACK,80000000,zz", "$IACK,-1", "$PACK,1*0BAD", "", "$",
        "$MVERR", "$MVERR,\xC3\xFF", "$MVERR," + QByteArray(300, 'x'), QByteArray(1100, 'x')};
}

/// Any of them, with or without its checksum and line end. The session's fuzzer tests what a
/// changed byte does.
QByteArray anyReply(QRandomGenerator& random)
{
    static const QByteArrayList known = replies();
    const QByteArray line = known.at(random.bounded(static_cast<int>(known.size())));
    const bool checked = random.bounded(2) == 0;
    return (checked ? reference::framed(line) : line) + (random.bounded(10) == 0 ? "" : "\n");
}

/// Numbers of a session in `state`, possible or not.
SessionFields somewhereIn(int state, QRandomGenerator& random)
{
    return {{"state", state}, {"flashAddress", 0x1000 + random.bounded(0xDF000 / 64 + 1) * 64},
        {"phase", random.bounded(5)}, {"fwStep", random.bounded(4)},
        {"retries", random.bounded(11)}, {"ticks", random.bounded(20)},
        {"imageIndex", random.bounded(5)}, {"imageOffset", random.bounded(4) * 256},
        {"imageStep", random.bounded(3)}, {"imageWait", random.bounded(7)},
        {"blockNumber", random.bounded(4)}};
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
    static void sayAnything(SessionFixture& fixture, int state, QRandomGenerator& random);
};

void TestHostileBoard::bearsEveryReply_data()
{
    QTest::addColumn<int>("state");
    for (const int state : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15})
        QTest::addRow("state %d", state) << state;
}

// Through the receive path of an open port; directly to the handler when the port is closed.
void TestHostileBoard::sayAnything(SessionFixture& fixture, int state, QRandomGenerator& random)
{
    constexpr int kReplies = 5000;
    constexpr int kRepliesPerTick = 20;
    for (int i = 0; i < kReplies; ++i) {
        if (fixture.port().state != state || random.bounded(kRepliesPerTick) == 0) {
            fixture.memoryPort().beOpen();
            fixture.setFields(somewhereIn(state, random));
        }
        const QByteArray reply = anyReply(random);
        if (fixture.port().isOpen())
            fixture.receive(reply);
        else
            fixture.dialog().GotMessage(&fixture.port(), QString::fromUtf8(reply));
        if (random.bounded(kRepliesPerTick) == 0)
            fixture.step();
        (void)fixture.sent(); // as a board takes what it is sent
    }
}

void TestHostileBoard::bearsEveryReply()
{
    QFETCH(int, state);
    constexpr qint64 kRoomForCaches = 1 << 20;
    SessionFixture fixture(jobOf(state));
    QRandomGenerator random(static_cast<quint32>(state));
    sayAnything(fixture, state, random);
    const qint64 half = allocatedBytes();
    const qsizetype children = fixture.dialog().findChildren<QObject*>().size();
    sayAnything(fixture, state, random);

    QVERIFY2(allocatedBytes() - half < kRoomForCaches, "memory");
    QCOMPARE(fixture.dialog().findChildren<QObject*>().size(), children);
    QVERIFY(fixture.port().rxIndex >= 0 && fixture.port().rxIndex < protocol::kLineCapacity);

    fixture.closeDialog();
    fixture.openDialog(jobOf(state));
    TimedBoard sane(boardFor(jobOf(state)));
    PlayedBoard played(fixture, sane);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSet(sane.board, jobOf(state)), QString());
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
