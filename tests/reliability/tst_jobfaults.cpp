// The three jobs on a board that fails: what the protocol can recover from ends with flash and
// images exact, the rest is completed by closing the dialog and starting the job again.

#include "tests/reliability/PlayedBoard.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

#include <array>

namespace {

/// A job, and where a fault occurs in it: at a line in the midst of what the job is about, or at
/// its answer.
struct FaultyJob
{
    const char* name;
    int mode;
    const char* command;
    const char* reply;
    const char* answers; ///< the occasions of its answers
};

constexpr std::array kJobs{
    FaultyJob{"update", JobUpdate, "word=D at=70", "word=DACK at=70",
        "GACK at=1;EACK at=2;DACK at=70;DACK at=128;PACK at=3"},
    // The last blocks of the small set's images are the third, the fourth and the fifth.
    FaultyJob{"images", JobImagesOnly, "word=F at=2", "word=FACK at=2",
        "GACK at=1;IACK at=1;IACK at=3;FACK at=1;FACK at=3;FACK at=4;FACK at=5"},
    FaultyJob{"erase", JobEraseImages, "word=A at=1", "word=AACK at=1", "GACK at=1;AACK at=2"},
};

vboard::BoardOptions withFaults(int mode, const QStringList& faults)
{
    vboard::BoardOptions options = boardFor(mode);
    std::string error;
    for (const QString& fault : faults)
        options.faults.push_back(vboard::FaultRule::parse(fault.toStdString(), error).value());
    return options;
}

void addColumns()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("faults");
}

void addRow(const QString& fault, const FaultyJob& job, const QStringList& faults)
{
    QTest::addRow("%s, %s", qPrintable(fault), job.name) << job.mode << faults;
}

unsigned long repeated(const vboard::Board& board, const char* word)
{
    return board.statistics().received.at(word).repeated;
}

} // namespace

class TestJobFaults : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false\nqt.*=false"));
    }
    void endsExactInSpiteOfAFault_data();
    void endsExactInSpiteOfAFault();
    void endsAnImageWhoseLastAnswerIsLate_data();
    void endsAnImageWhoseLastAnswerIsLate();
    void isCompletedByStartingAgain_data();
    void isCompletedByStartingAgain();
    void doesNotEndWithoutABoard_data();
    void doesNotEndWithoutABoard();
    void waitsForABoardOfAnotherSpeed();
};

void TestJobFaults::endsExactInSpiteOfAFault_data()
{
    addColumns();
    for (const FaultyJob& job : kJobs) {
        for (const QString& fault : std::initializer_list<QString>{"drop-command",
                 "corrupt-command", "garbage", "long-line", "announce", "silence for=3s"})
            addRow(fault, job, {fault + ' ' + job.command});
        for (const QString& fault : std::initializer_list<QString>{
                 "drop-reply", "delay-reply", "delay-reply by=2s", "split-reply", "join-lines"})
            addRow(fault, job, {fault + ' ' + job.reply});
        for (const QString& fault : std::initializer_list<QString>{"drop-reply",
                 "delay-reply by=400ms", "delay-reply by=2s", "double-reply",
                 "double-reply by=100ms", "double-reply by=1s"}) {
            QStringList faults;
            const QStringList answers = QString::fromLatin1(job.answers).split(u';');
            for (const QString& answer : answers)
                faults << fault + " word=" + answer;
            addRow("every " + fault, job, faults);
        }
    }
    // With half a firmware the board comes back in its bootloader, and obeys the erase line that is
    // sent again.
    addRow("restart between pages", kJobs.front(), {"restart word=E at=3"});
}

void TestJobFaults::endsExactInSpiteOfAFault()
{
    QFETCH(int, mode);
    QFETCH(QStringList, faults);
    SessionFixture fixture(mode);
    TimedBoard board(withFaults(mode, faults));
    PlayedBoard played(fixture, board);
    QVERIFY(played.playToEnd());
    QCOMPARE(board.board.appliedFaults().size(), static_cast<std::size_t>(faults.size()));
    QCOMPARE(differencesFromSmallSet(board.board, mode), QString());
}

void TestJobFaults::endsAnImageWhoseLastAnswerIsLate_data()
{
    QTest::addColumn<QString>("delay");
    QTest::newRow("later than the wait") << QStringLiteral("2500ms");
    QTest::newRow("shortly before the next header") << QStringLiteral("4s");
}

// A board that takes its time over an image's last block is not sent that image again.
void TestJobFaults::endsAnImageWhoseLastAnswerIsLate()
{
    QFETCH(QString, delay);
    QStringList faults;
    for (const int lastBlock : {3, 4, 5})
        faults << QStringLiteral("delay-reply by=%1 word=FACK at=%2").arg(delay).arg(lastBlock);
    SessionFixture fixture(JobImagesOnly);
    TimedBoard board(withFaults(JobImagesOnly, faults));
    PlayedBoard played(fixture, board);
    QVERIFY(played.playToEnd());
    QCOMPARE(board.board.appliedFaults().size(), std::size_t(3));
    QCOMPARE(board.board.statistics().received.at("I").lines, 3UL);
    QCOMPARE(repeated(board.board, "F"), 0UL);
    QCOMPARE(differencesFromSmallSet(board.board, JobImagesOnly), QString());
}

void TestJobFaults::isCompletedByStartingAgain_data()
{
    addColumns();
    for (const FaultyJob& job : kJobs) {
        const QString restart = QStringLiteral("restart ") + job.command;
        addRow("restart", job, {restart});
        // A captured bootloader does not announce itself again: plugging in is not enough, the
        // machine has to be switched off and on as well.
        addRow("unplug", job, {restart, QStringLiteral("unplug for=1s ") + job.command});
    }
}

void TestJobFaults::isCompletedByStartingAgain()
{
    constexpr int kPatience = 60; // ticks
    QFETCH(int, mode);
    QFETCH(QStringList, faults);
    SessionFixture fixture(mode);
    TimedBoard board(withFaults(mode, faults));
    {
        PlayedBoard played(fixture, board);
        QVERIFY(!played.playToEnd(kPatience));
    }
    QCOMPARE(board.board.appliedFaults().size(), static_cast<std::size_t>(faults.size()));
    QVERIFY(!board.board.isFinished());

    fixture.closeDialog();
    fixture.openDialog(mode);
    PlayedBoard played(fixture, board);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSmallSet(board.board, mode), QString());
}

void TestJobFaults::doesNotEndWithoutABoard_data()
{
    addColumns();
    for (const FaultyJob& job : kJobs)
        addRow("silence", job, {QStringLiteral("silence ") + job.command});
}

void TestJobFaults::doesNotEndWithoutABoard()
{
    constexpr int kHalfAnHour = 3600; // ticks
    QFETCH(int, mode);
    QFETCH(QStringList, faults);
    SessionFixture fixture(mode);
    TimedBoard board(withFaults(mode, faults));
    PlayedBoard played(fixture, board);
    QVERIFY(!played.playToEnd(kHalfAnHour));
    QVERIFY(!board.board.isFinished());
    QVERIFY(!differencesFromSmallSet(board.board, mode).isEmpty());
}

void TestJobFaults::waitsForABoardOfAnotherSpeed()
{
    vboard::BoardOptions options;
    options.kind = vboard::Kind::Service; // its bootloader talks at 115200 baud
    TimedBoard board(options);
    SessionFixture fixture(JobUpdate);
    PlayedBoard played(fixture, board);
    QVERIFY(!played.playToEnd());
    QCOMPARE(fixture.port().state, static_cast<qint32>(StateWaitForBootloader));
    QVERIFY(board.board.statistics().received.count("E") == 0);
}

static const RegisteredTest<TestJobFaults> registered(__FILE__);
#include "tst_jobfaults.moc"
