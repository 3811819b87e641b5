// A board that says anything, in every state of a session. What has to hold: the program goes on
// handling events, nothing grows without end, and the next job on a sane board is exact.

#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/ProcessUsage.h"
#include "tests/support/Reference.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

#include <random>

namespace {

constexpr int kReplies = 10'000;

/// Random numbers; the same seed gives the same again.
class Random
{
public:
    explicit Random(int seed) : m_random(static_cast<unsigned>(seed)) { }

    /// From 0 to `limit` - 1.
    int below(qsizetype limit)
    {
        return static_cast<int>(m_random() % static_cast<unsigned>(limit));
    }
    bool oneIn(int count) { return below(count) == 0; }

private:
    std::mt19937 m_random;
};

/// What a board says, and what none does: numbers out of range, a wrong checksum, fields and lines
/// that are too long, bytes that are no UTF-8.
QByteArrayList replies()
{
    return {"$Bootloader", "$GACK", "$MVERR,D.02n", "$IACK,0", "$IACK,1", "$FACK,0", "$FACK,1",
        "$FACK,2,1", "$AACK,0", "$AACK,1", "$EACK", "$DACK", "$PACK", "$CACK",
        "$VACK,5" + QByteArray(",00").repeated(64), "$VACK,B" + QByteArray(",FF").repeated(63),
        "$FACK,FFFFFFFF,100000000", "$FACK,80000000,zz", "$IACK,-1", "$PACK,1*0BAD", "", "$",
        "$MVERR", "$MVERR,\xC3\xFF", "$MVERR," + QByteArray(300, 'x'), QByteArray(1100, 'x')};
}

/// Any of them with or without its checksum and line end; one in four has a byte changed or added,
/// or is cut.
QByteArray anyReply(Random& random)
{
    static const QByteArrayList known = replies();
    QByteArray line = known.at(random.below(known.size()));
    if (random.oneIn(2))
        line = reference::framed(line);
    const int at = random.below(line.size() + 1);
    const auto byte = static_cast<char>(random.below(256));
    switch (random.below(12)) {
    case 0:
        line.replace(at, 1, QByteArray(1, byte));
        break;
    case 1:
        line.insert(at, random.oneIn(2) ? byte : '\0');
        break;
    case 2:
        line.truncate(at);
        break;
    default:
        break;
    }
    return line + (random.oneIn(10) ? "\r" : "") + (random.oneIn(10) ? "" : "\n");
}

/// The session's numbers somewhere in `state`, sane or not.
SessionFields somewhereIn(int state, Random& random)
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
    static void bringBack(SessionFixture& fixture, int state, Random& random);
    static void sayAnything(SessionFixture& fixture, int state, Random& random, int replies);
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

void TestHostileBoard::bringBack(SessionFixture& fixture, int state, Random& random)
{
    PortTest& port = fixture.port();
    if (!port.isOpen())
        port.open(QIODevice::ReadWrite);
    fixture.setFields(somewhereIn(state, random));
}

void TestHostileBoard::sayAnything(SessionFixture& fixture, int state, Random& random, int replies)
{
    constexpr int kRepliesPerTick = 20;
    for (int i = 0; i < replies; ++i) {
        if (fixture.port().state != state || random.oneIn(kRepliesPerTick))
            bringBack(fixture, state, random);
        const QByteArray reply = anyReply(random);
        const qsizetype cut = random.oneIn(4) ? random.below(reply.size() + 1) : 0;
        hear(fixture, reply.left(cut));
        hear(fixture, reply.mid(cut));
        if (random.oneIn(kRepliesPerTick))
            fixture.step();
        (void)fixture.sent(); // a board takes what it is sent
    }
}

void TestHostileBoard::bearsEveryReply()
{
    QFETCH(int, state);
    constexpr qint64 kRoomForCaches = 1 << 20;
    SessionFixture fixture(jobOf(state));
    Random random(state);
    sayAnything(fixture, state, random, kReplies / 2);
    const qint64 half = allocatedBytes();
    const qsizetype children = fixture.dialog().findChildren<QObject*>().size();
    sayAnything(fixture, state, random, kReplies / 2);

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
