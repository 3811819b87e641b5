#include "bootload/SentLine.h"
#include "tests/support/TestProgram.h"

using namespace std::chrono_literals;

class TestSentLine : public QObject
{
    Q_OBJECT

private slots:
    void countsHowOftenALineWasSent()
    {
        SentLine line;
        QCOMPARE(line.kind(), LineKind::None);
        QCOMPARE(line.times(), 0);
        line.noteSent(LineKind::Data, 0x1000);
        QCOMPARE(line.times(), 1);
        line.noteSent(LineKind::Data, 0x1000);
        QCOMPARE(line.times(), 2);
        QCOMPARE(line.kind(), LineKind::Data);
        QCOMPARE(line.number(), 0x1000);
    }

    void countsEachLineForItself()
    {
        SentLine line;
        line.noteSent(LineKind::Data, 0x1000);
        line.noteSent(LineKind::Data, 0x1040);
        QCOMPARE(line.times(), 1);
        line.noteSent(LineKind::ProgramPage, 0x1040);
        QCOMPARE(line.times(), 1);
        QCOMPARE(line.kind(), LineKind::ProgramPage);
    }

    void saysHowManyAnswersMayStillCome()
    {
        SentLine line;
        QCOMPARE(line.noteAnswered(LineKind::ImageHeader), 0);
        line.noteSent(LineKind::ImageHeader, 3);
        QCOMPARE(line.noteAnswered(LineKind::ImageHeader), 0);
        for (int i = 0; i < 4; ++i)
            line.noteSent(LineKind::ImageHeader, 4);
        QCOMPARE(line.noteAnswered(LineKind::ImageHeader), 3);
        QCOMPARE(line.kind(), LineKind::None);
        QCOMPARE(line.noteAnswered(LineKind::ImageHeader), 0);
    }

    void isNotAnsweredByTheAnswerToAnotherLine()
    {
        SentLine line;
        line.noteSent(LineKind::Data, 0x1000);
        line.noteSent(LineKind::Data, 0x1000);
        QCOMPARE(line.noteAnswered(LineKind::ErasePage), 0);
        QCOMPARE(line.times(), 2);
    }

    void mayBeGivenUpOnceAnAnswerCanHaveCome()
    {
        SentLine line;
        line.setUnanswerableFor(1h);
        QVERIFY(line.mayBeGivenUp()); // nothing was sent
        line.noteSent(LineKind::Data, 0x1000);
        QVERIFY(!line.mayBeGivenUp());
        line.setUnanswerableFor(0ms);
        QVERIFY(line.mayBeGivenUp());
        line.setUnanswerableFor(1h);
        line.giveUp();
        QVERIFY(line.mayBeGivenUp());
    }

    void takesAsManySurplusAnswersAsAreExpected()
    {
        SurplusAnswers answers;
        QVERIFY(!answers.take(0));
        answers.expect(2, 7);
        QVERIFY(!answers.take(8));
        QVERIFY(answers.take(7));
        QVERIFY(answers.take(7));
        QVERIFY(!answers.take(7));
        answers.expect(1, 7);
        answers.expect(0, 8);
        QVERIFY(!answers.take(7));
    }
};

static const RegisteredTest<TestSentLine> registered(__FILE__);
#include "tst_sentline.moc"
