#include "tests/session/DebugLog.h"
#include "tests/session/SessionSamples.h"

#include <QTest>

namespace {

/// The next of a board's commands as the lines arrive, without its checksum; empty when there is
/// none.
QByteArray takeLine(QByteArray& bytes)
{
    const qsizetype end = bytes.indexOf('*');
    if (end < 0)
        return {};
    QByteArray line = bytes.left(end);
    const qsizetype next = bytes.indexOf('$', end);
    bytes = next < 0 ? QByteArray() : bytes.mid(next);
    return line;
}

/// A healthy board's answer to `line`; empty when it has none.
QByteArray answerTo(const QByteArray& line)
{
    if (line.startsWith("$I,"))
        return "$IACK,0";
    if (line.startsWith("$F,"))
        return "$FACK," + line.mid(3, line.indexOf(',', 3) - 3);
    return {};
}

/// The words of a whole job with the small set: a header and its blocks for each image.
constexpr QByteArrayView kJobWords{"$I $F $F $F $I $F $I $F $X"};

} // namespace

/// Two boards at once.
class TestTwoBoards : public QObject
{
    Q_OBJECT

private slots:
    void opensBothInTheOrderOfTheBus();
    void stepsBothInListOrder();
    void everyAcknowledgementStepsBothOnce_data();
    void everyAcknowledgementStepsBothOnce();
    void otherRepliesStepNeither_data();
    void otherRepliesStepNeither();
    void advancesTheOthersTimeouts();
    void probesOnWhileTheOtherWrites();
    void keepsTheSessionsApart();
    void finishesBothJobs();
    void goesOnWhenTheOtherIsUnplugged();
};

void TestTwoBoards::opensBothInTheOrderOfTheBus()
{
    std::vector<Adapter> adapters = ftdiAdapters(2);
    adapters.front().portName = uniquePortName(5);
    adapters.back().portName = uniquePortName(1);
    SessionBench bench(JobUpdate, adapters);
    QCOMPARE(bench.probe().ports().size(), qsizetype(2));
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(bench.port(i).portName(), bench.adapter(i).portName());
        QVERIFY(bench.port(i).isOpen());
        QCOMPARE(bench.adapter(i).baudRate(), 19200);
        QCOMPARE(bench.port(i).state, 1);
    }
    bench.step(2);
    QCOMPARE(bench.sent(0), framed("$MVER"));
    QCOMPARE(bench.sent(1), framed("$MVER"));
}

void TestTwoBoards::stepsBothInListOrder()
{
    SessionBench bench(JobUpdate, 2);
    bench.step();
    const DebugLog log;
    bench.step();
    // Both lines are logged as they are sent.
    const QStringList sending = log.with(QStringLiteral("$MVER"));
    QCOMPARE(sending.size(), qsizetype(2));
    QVERIFY(sending.at(0).contains(bench.port(0).portName()));
    QVERIFY(sending.at(1).contains(bench.port(1).portName()));
}

void TestTwoBoards::everyAcknowledgementStepsBothOnce_data()
{
    QTest::addColumn<SessionFields>("given");
    QTest::addColumn<QByteArray>("reply");
    const auto row = [](const SessionFields& given, const QByteArray& reply) {
        QTest::newRow(reply.left(12)) << somewhere(given) << reply;
    };
    row({{"state", 5}, {"imageStep", 0}}, "$IACK,0");
    row({{"state", 5}, {"imageStep", 0}}, "$IACK,1");
    row({{"state", 5}}, "$IACK,7");
    row({{"state", 5}}, "$FACK,9");
    row({{"state", 5}}, "$FACK,8,1");
    row({{"state", 5}}, "$FACK,8");
    row({{"state", 11}, {"fwStep", 0}}, "$EACK");
    row({{"state", 11}}, "$DACK");
    row({{"state", 11}, {"fwStep", 2}}, "$PACK");
    row({{"state", 11}, {"fwStep", 2}, {"phase", 2}}, "$CACK");
    row({{"state", 11}, {"fwStep", 3}, {"phase", 2}}, "$PACK,2");
    row({{"state", 5}, {"phase", 3}}, "$VACK,5" + QByteArray(",00").repeated(64));
}

void TestTwoBoards::everyAcknowledgementStepsBothOnce()
{
    QFETCH(SessionFields, given);
    QFETCH(QByteArray, reply);
    SessionBench bench(JobUpdate, 2);
    for (const int answering : {0, 1}) {
        const int other = 1 - answering;
        bench.setFields(given, answering);
        bench.setFields(somewhere({{"state", 2}}), other);
        const SessionFields expected = with(bench.fields(other), {{"retries", 3}});
        bench.reply(reply, answering);
        QCOMPARE(toText(bench.fields(other)), toText(expected));
        QCOMPARE(bench.sent(other), framed("$MVER"));
        // At most one line a step.
        QVERIFY(bench.sent(answering).count('$') <= 1);
    }
}

void TestTwoBoards::otherRepliesStepNeither_data()
{
    QTest::addColumn<SessionFields>("given");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("answer");
    const auto row = [](const char* reply, const SessionFields& given, const QByteArray& answer) {
        QTest::newRow(reply) << somewhere(given) << QByteArray(reply) << answer;
    };
    row("$Bootloader", {{"phase", 0}}, "$G\n");
    row("$GACK", {{"phase", 0}}, {});
    row("$MVERR,3", {}, framed("$BOOTLOADM"));
    row("$AACK,0", {{"state", 4}}, {});
    row("$AACK,1", {{"state", 4}}, framed("$X"));
    // Out of place.
    row("$DACK", {{"state", 5}}, {});
    row("$EACK", {{"state", 5}}, {});
    row("$PACK", {{"state", 11}}, {});
    row("$FACK,9", {{"state", 11}}, {});
    row("$IACK,0", {{"state", 5}, {"imageStep", 1}}, {});
    row("$HELLO", {}, {});
}

void TestTwoBoards::otherRepliesStepNeither()
{
    QFETCH(SessionFields, given);
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, answer);
    SessionBench bench(JobUpdate, 2);
    bench.setFields(given, 0);
    bench.setFields(somewhere({{"state", 2}}), 1);
    const QString before = toText(bench.fields(1));
    bench.reply(reply, 0);
    QCOMPARE(toText(bench.fields(1)), before);
    QCOMPARE(bench.sent(1), QByteArray());
    QCOMPARE(bench.sent(0), answer);
}

void TestTwoBoards::advancesTheOthersTimeouts()
{
    SessionBench bench(JobImagesOnly, 2);
    bench.setFields(somewhere({{"state", 11}}), 0);
    bench.setFields(
        somewhere({{"state", 5}, {"imageIndex", 0}, {"imageStep", 0}, {"imageWait", 3}}), 1);
    for (int i = 0; i < 3; ++i)
        bench.reply("$DACK", 0);
    QCOMPARE(bench.sent(1), QByteArray());
    bench.reply("$DACK", 0);
    QCOMPARE(bench.sent(1), framed(kHeaderA));
}

void TestTwoBoards::probesOnWhileTheOtherWrites()
{
    SessionBench bench(JobUpdate, 2);
    bench.setFields(somewhere({{"state", 11}}), 0);
    bench.setFields(somewhere({{"state", 1}}), 1);
    for (int i = 0; i < 12; ++i)
        bench.reply("$DACK", 0);
    QCOMPARE(bench.port(1).state, 3);
    QCOMPARE(bench.adapter(1).baudRate(), 921600);
    QCOMPARE(bench.adapter(0).baudRate(), 19200);
    QByteArrayList expected(8, "$MVER");
    expected += QByteArrayList(2, "$BOOTLOADM");
    QCOMPARE(bench.sent(1), framedAll(expected));
    QCOMPARE(bench.port(0).flashAddress, 0x1040 + 12 * 64);
}

void TestTwoBoards::keepsTheSessionsApart()
{
    SessionBench bench(JobImagesOnly, 2);
    const SessionFields announced
        = somewhere({{"state", 5}, {"imageIndex", 0}, {"imageStep", 0}, {"imageWait", 3}});
    bench.setFields(announced, 0);
    bench.setFields(announced, 1);
    bench.reply("$IACK,1", 0);
    QCOMPARE(bench.port(0).imageIndex, 1);
    QCOMPARE(bench.port(1).imageIndex, 0);
    QCOMPARE(bench.port(1).imageWait, 2);
    QCOMPARE(bench.sent(0), framed(kHeaderB));
    bench.reply("$IACK,0", 1);
    QCOMPARE(bench.port(0).imageStep, 0);
    QCOMPARE(bench.port(0).imageWait, 2);
    QCOMPARE(bench.port(1).imageStep, 1);
    QVERIFY(bench.sent(1).startsWith("$F,00,"));
    QCOMPARE(bench.sent(0), QByteArray());

    // Each reads the firmware for itself.
    bench.setFields({{"state", 0}}, 0);
    bench.setFields({{"state", 0}}, 1);
    bench.step();
    QVERIFY(&bench.port(0).file != &bench.port(1).file);
    QVERIFY(bench.port(0).file.isOpen());
    QVERIFY(bench.port(1).file.isOpen());
    bench.receive("$MVE", 0);
    bench.receive("$MVERR,2\n", 1);
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 2"));
    bench.receive("RR,1\n", 0);
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 1"));
}

void TestTwoBoards::finishesBothJobs()
{
    SessionBench bench(JobImagesOnly, 2);
    bench.step(13);
    bench.reply("$Bootloader", 0);
    bench.reply("$Bootloader", 1);
    bench.step(2 + 8);
    (void)bench.sent(0);
    (void)bench.sent(1);
    // Both headers are out; each board answers whatever it has been sent, the first one first.
    QByteArrayList words[2] = {{"$I"}, {"$I"}};
    QByteArray pending[2];
    bench.reply("$IACK,0", 0);
    bench.reply("$IACK,0", 1);
    for (int turn = 0; turn < 40; ++turn) {
        for (const int board : {0, 1}) {
            pending[board] += bench.sent(board);
            const QByteArray line = takeLine(pending[board]);
            words[board] += line.isEmpty() ? QByteArrayList() : QByteArrayList{line.left(2)};
            if (!answerTo(line).isEmpty())
                bench.reply(answerTo(line), board);
        }
    }
    for (const int board : {0, 1}) {
        QCOMPARE(words[board].join(' '), kJobWords.toByteArray());
        QCOMPARE(bench.port(board).state, 15);
    }
    bench.step(4);
    QVERIFY(!bench.port(0).isOpen());
    QVERIFY(!bench.port(1).isOpen());
    QCOMPARE(bench.log(), QStringLiteral("Bootload Complete\nBootload Complete"));
}

void TestTwoBoards::goesOnWhenTheOtherIsUnplugged()
{
    SessionBench bench(JobUpdate, 2);
    bench.setFields(somewhere({{"state", 11}}), 0);
    bench.setFields(somewhere({{"state", 11}}), 1);
    bench.adapter(0).unplug();
    QTRY_VERIFY(!bench.port(0).isOpen());
    bench.reply("$DACK", 1);
    QCOMPARE(bench.port(1).flashAddress, 0x1080);
    QVERIFY(bench.sent(1).startsWith("$D,80,"));
    bench.step(40);
    QVERIFY(bench.port(1).isOpen());
}

QTEST_MAIN(TestTwoBoards)
#include "tst_twoboards.moc"
