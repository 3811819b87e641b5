#include "tests/session/DebugLog.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

/// Two boards at once.
class TestTwoBoards : public QObject
{
    Q_OBJECT

private slots:
    void stepsBothInListOrder()
    {
        SessionFixture session(JobUpdate, 2);
        session.step();
        const DebugLog log;
        session.step();
        // Both lines are logged as they are sent.
        const QStringList sending = log.with(QStringLiteral("$MVER"));
        QCOMPARE(sending.size(), qsizetype(2));
        QVERIFY(sending.at(0).contains(session.port(0).portName()));
        QVERIFY(sending.at(1).contains(session.port(1).portName()));
    }

    void everyAcknowledgementStepsBothOnce_data()
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

    void everyAcknowledgementStepsBothOnce()
    {
        QFETCH(SessionFields, given);
        QFETCH(QByteArray, reply);
        SessionFixture session(JobUpdate, 2);
        for (const int answering : {0, 1}) {
            const int other = 1 - answering;
            session.setFields(given, answering);
            session.setFields(somewhere({{"state", 2}}), other);
            const SessionFields expected = with(session.fields(other), {{"retries", 3}});
            session.reply(reply, answering);
            QCOMPARE(toText(session.fields(other)), toText(expected));
            QCOMPARE(session.sent(other), framed("$MVER"));
            // At most one line a step.
            QVERIFY(session.sent(answering).count('$') <= 1);
        }
    }

    void otherRepliesStepNeither_data()
    {
        QTest::addColumn<SessionFields>("given");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QByteArray>("answer");
        const auto row
            = [](const char* reply, const SessionFields& given, const QByteArray& answer) {
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

    void otherRepliesStepNeither()
    {
        QFETCH(SessionFields, given);
        QFETCH(QByteArray, reply);
        QFETCH(QByteArray, answer);
        SessionFixture session(JobUpdate, 2);
        session.setFields(given, 0);
        session.setFields(somewhere({{"state", 2}}), 1);
        const QString before = toText(session.fields(1));
        session.reply(reply, 0);
        QCOMPARE(toText(session.fields(1)), before);
        QCOMPARE(session.sent(1), QByteArray());
        QCOMPARE(session.sent(0), answer);
    }

    void sendsNoLineAgainBeforeItsAnswerCanHaveCome_data()
    {
        QTest::addColumn<SessionFields>("given");
        QTest::addColumn<QByteArray>("word");
        const auto row = [](const char* name, const SessionFields& given, const QByteArray& word) {
            QTest::newRow(name) << somewhere(given) << word;
        };
        const SessionFields image = {{"state", 5}, {"imageIndex", 0}, {"imageWait", 0}};
        row("erase", {{"state", 11}, {"fwStep", 0}, {"ticks", 4}}, "$E");
        row("data", {{"state", 11}, {"fwStep", 1}, {"ticks", 4}}, "$D");
        row("program", {{"state", 11}, {"fwStep", 2}, {"ticks", 18}}, "$P");
        row("header", with(somewhere(image), {{"imageStep", 0}}), "$I");
        row("block", with(somewhere(image), {{"imageStep", 1}, {"imageOffset", 0}}), "$F");
    }

    void sendsNoLineAgainBeforeItsAnswerCanHaveCome()
    {
        constexpr int kManyAnswers = 40;
        QFETCH(SessionFields, given);
        QFETCH(QByteArray, word);
        for (const int boards : {1, 2}) {
            SessionFixture session(JobUpdate, boards);
            session.setFields(given, 0);
            if (boards == 2)
                session.setFields(somewhere({{"state", 11}}), 1);
            session.step();
            QCOMPARE(session.sent(0).left(2), word);
            for (int i = 0; i < kManyAnswers; ++i) {
                if (boards == 2)
                    session.reply("$DACK", 1);
                else
                    session.step();
            }
            // Alone it counts its steps, however fast they come.
            QCOMPARE(session.sent(0).isEmpty(), boards == 2);
            session.port(0).answers.setUnanswerableFor({});
            session.step(18);
            QCOMPARE(session.sent(0).left(2), word);
        }
    }

    void sendsAgainAtOnceWhenNoOtherPortIsOpen()
    {
        SessionFixture session(JobUpdate, 2);
        session.memoryPort(1).close();
        session.setFields(somewhere({{"state", 11}, {"fwStep", 1}, {"ticks", 4}}), 0);
        session.step();
        (void)session.sent(0);
        session.step(4);
        QCOMPARE(session.sent(0).left(2), QByteArray("$D"));
    }

    void beginsNoImageAgainBeforeItsLastBlockCanHaveBeenAnswered()
    {
        SessionFixture session(JobUpdate, 2);
        session.setFields(somewhere({{"state", 11}}), 1);
        session.setFields(somewhere({{"state", 5}, {"imageIndex", 1}, {"imageStep", 1},
                              {"imageWait", 0}, {"imageOffset", 0}}),
            0);
        session.step();
        QCOMPARE(session.sent(0), framed(blockLine(0, 1)));
        for (int i = 0; i < 30; ++i)
            session.reply("$DACK", 1);
        QCOMPARE(session.sent(0), QByteArray());
        session.reply("$FACK,00", 0);
        QCOMPARE(session.sent(0), framed(kHeaderC));
    }

    void keepsTheSessionsApart()
    {
        SessionFixture session(JobImagesOnly, 2);
        const SessionFields announced
            = somewhere({{"state", 5}, {"imageIndex", 0}, {"imageStep", 0}, {"imageWait", 3}});
        session.setFields(announced, 0);
        session.setFields(announced, 1);
        session.reply("$IACK,1", 0);
        QCOMPARE(session.port(0).imageIndex, 1);
        QCOMPARE(session.port(1).imageIndex, 0);
        QCOMPARE(session.port(1).imageWait, 2);
        QCOMPARE(session.sent(0), framed(kHeaderB));
        session.reply("$IACK,0", 1);
        QCOMPARE(session.port(0).imageStep, 0);
        QCOMPARE(session.port(0).imageWait, 2);
        QCOMPARE(session.port(1).imageStep, 1);
        QVERIFY(session.sent(1).startsWith("$F,00,"));
        QCOMPARE(session.sent(0), QByteArray());

        // Each reads the firmware for itself.
        session.setFields({{"state", 0}}, 0);
        session.setFields({{"state", 0}}, 1);
        session.step();
        QVERIFY(&session.port(0).file != &session.port(1).file);
        QVERIFY(session.port(0).file.isOpen());
        QVERIFY(session.port(1).file.isOpen());
        session.receive("$MVE", 0);
        session.receive("$MVERR,2\n", 1);
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 2"));
        session.receive("RR,1\n", 0);
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 1"));
    }

    void goesOnWhenTheOtherHasClosed()
    {
        SessionFixture session(JobUpdate, 2);
        session.setFields(somewhere({{"state", 11}}), 0);
        session.setFields(somewhere({{"state", 11}}), 1);
        session.port(0).close();
        session.reply("$DACK", 1);
        QCOMPARE(session.port(1).flashAddress, 0x1080);
        QVERIFY(session.sent(1).startsWith("$D,80,"));
        session.step(40);
        QVERIFY(session.port(1).isOpen());
    }
};

static const RegisteredTest<TestTwoBoards> registered(__FILE__);
#include "tst_twoboards.moc"
