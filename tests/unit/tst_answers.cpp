#include "bootload/Answers.h"
#include "tests/support/TestProgram.h"

using namespace std::chrono_literals;

class TestAnswers : public QObject
{
    Q_OBJECT

private slots:
    void countsHowOftenALineWasSent()
    {
        Answers answers;
        QCOMPARE(answers.awaited(), LineKind::None);
        QCOMPARE(answers.times(), 0);
        answers.noteSent(LineKind::Data, 0x1000);
        QCOMPARE(answers.times(), 1);
        answers.noteSent(LineKind::Data, 0x1000);
        QCOMPARE(answers.times(), 2);
        QCOMPARE(answers.awaited(), LineKind::Data);
        QCOMPARE(answers.number(), 0x1000);
    }

    void countsEachLineForItself()
    {
        Answers answers;
        answers.noteSent(LineKind::Data, 0x1000);
        answers.noteSent(LineKind::Data, 0x1040);
        QCOMPARE(answers.times(), 1);
        answers.noteSent(LineKind::ProgramPage, 0x1040);
        QCOMPARE(answers.times(), 1);
        QCOMPARE(answers.awaited(), LineKind::ProgramPage);
    }

    void isNotAnsweredByTheAnswerToAnotherLine()
    {
        Answers answers;
        answers.noteSent(LineKind::Data, 0x1000);
        answers.noteAnswered(LineKind::ErasePage);
        QCOMPARE(answers.awaited(), LineKind::Data);
        answers.noteAnswered(LineKind::Data);
        QCOMPARE(answers.awaited(), LineKind::None);
    }

    void knowsWhetherAPagesDataWasRepeated()
    {
        Answers answers;
        answers.noteSent(LineKind::ErasePage, 0x1000);
        answers.noteSent(LineKind::ErasePage, 0x1000);
        answers.noteSent(LineKind::Data, 0x1000);
        QVERIFY(!answers.dataWasRepeated());
        answers.noteSent(LineKind::Data, 0x1000);
        QVERIFY(answers.dataWasRepeated());
        answers.noteAnswered(LineKind::Data);
        answers.noteSent(LineKind::Data, 0x1040);
        QVERIFY(answers.dataWasRepeated());
        answers.noteSent(LineKind::ErasePage, 0x2000);
        QVERIFY(!answers.dataWasRepeated());
    }

    void takesASurplusAnswerForEachHeaderThatWasSentAgain()
    {
        Answers answers;
        QVERIFY(!answers.takeSurplus(LineKind::ImageHeader));
        for (int i = 0; i < 3; ++i)
            answers.noteSent(LineKind::ImageHeader, 4);
        answers.noteAnswered(LineKind::ImageHeader);
        QVERIFY(answers.takeSurplus(LineKind::ImageHeader));
        QVERIFY(answers.takeSurplus(LineKind::ImageHeader));
        QVERIFY(!answers.takeSurplus(LineKind::ImageHeader));
        // An answer to one that was sent once ends it.
        answers.noteSent(LineKind::ImageHeader, 4);
        answers.noteSent(LineKind::ImageHeader, 4);
        answers.noteAnswered(LineKind::ImageHeader);
        answers.noteSent(LineKind::ImageHeader, 5);
        answers.noteAnswered(LineKind::ImageHeader);
        QVERIFY(!answers.takeSurplus(LineKind::ImageHeader));
    }

    void takesASurplusAnswerToTheBlockAlone()
    {
        Answers answers;
        answers.noteSent(LineKind::ImageBlock, 7);
        answers.noteSent(LineKind::ImageBlock, 7);
        answers.noteAnswered(LineKind::ImageBlock);
        QVERIFY(!answers.takeSurplus(LineKind::ImageBlock, 8));
        QVERIFY(!answers.takeSurplus(LineKind::ImageHeader));
        QVERIFY(answers.takeSurplus(LineKind::ImageBlock, 7));
        QVERIFY(!answers.takeSurplus(LineKind::ImageBlock, 7));
    }

    void expectsNoMoreAnswersThanMayBeUnderWay()
    {
        Answers answers;
        for (int i = 0; i < 1000; ++i)
            answers.noteSent(LineKind::ImageHeader, 4);
        answers.noteAnswered(LineKind::ImageHeader);
        int surplus = 0;
        while (answers.takeSurplus(LineKind::ImageHeader))
            ++surplus;
        QCOMPARE(surplus, 49);
    }

    void mayBeGivenUpOnceAnAnswerCanHaveCome()
    {
        Answers answers;
        answers.setUnanswerableFor(1h);
        QVERIFY(answers.mayBeGivenUp()); // nothing was sent
        answers.noteSent(LineKind::Data, 0x1000);
        QVERIFY(!answers.mayBeGivenUp());
        answers.setUnanswerableFor(0ms);
        QVERIFY(answers.mayBeGivenUp());
        answers.setUnanswerableFor(1h);
        answers.giveUp();
        QVERIFY(answers.mayBeGivenUp());
    }
};

static const RegisteredTest<TestAnswers> registered(__FILE__);
#include "tst_answers.moc"
