// The three jobs on a faulty board: after a fault that the protocol recovers from, flash and
// images are exact; after the others the dialog is closed and the job started again.

#include "tests/reliability/PlayedBoard.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

#include <array>

namespace {

// How long a user watches a dialog in which nothing moves.
constexpr int kPatience = 60; // ticks

/// A job, and where a fault occurs in it: at a line in the middle of the job's own work, or at its
/// answer.
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
    void isCompletedByStartingAgain_data();
    void isCompletedByStartingAgain();
    void isCompletedAfterPowerWasLost_data();
    void isCompletedAfterPowerWasLost();
    void doesNotEndWithoutABoard_data();
    void doesNotEndWithoutABoard();
    void waitsForABoardThatKeptItsPower();
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
    // With an incomplete firmware the board restarts into its bootloader, and obeys the erase line
    // that is resent.
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
    QCOMPARE(differencesFromSet(board.board, mode), QString());
}

void TestJobFaults::isCompletedByStartingAgain_data()
{
    addColumns();
    for (const FaultyJob& job : kJobs) {
        const QString restart = QStringLiteral("restart ") + job.command;
        addRow("restart", job, {restart});
        // A captured bootloader does not announce itself again: besides plugging in, the machine
        // has to be switched off and on.
        addRow("unplug", job, {restart, QStringLiteral("unplug for=1s ") + job.command});
    }
}

void TestJobFaults::isCompletedByStartingAgain()
{
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
    QCOMPARE(differencesFromSet(board.board, mode), QString());
}

// Lines of an update: three that find the board, 66 for each page, and the images' eight.
void TestJobFaults::isCompletedAfterPowerWasLost_data()
{
    QTest::addColumn<int>("line");
    for (const int line : {4, 5, 69, 70, 1000, 7000, 12'345, 14'721, 14'722, 14'728})
        QTest::addRow("line %d", line) << line;
}

void TestJobFaults::isCompletedAfterPowerWasLost()
{
    QFETCH(int, line);
    SessionFixture fixture(JobUpdate);
    TimedBoard board(withFaults(JobUpdate, {QStringLiteral("restart at=%1").arg(line)}));
    {
        PlayedBoard played(fixture, board);
        for (int tick = 0; tick < kPatience && board.board.appliedFaults().empty(); ++tick)
            played.tick();
        QCOMPARE(board.board.appliedFaults().size(), std::size_t(1));
        QVERIFY(!differencesFromSet(board.board, JobUpdate).isEmpty());
    }
    // Without power nothing hears what the session resends, until the dialog is closed.
    fixture.step(kPatience);
    QVERIFY(fixture.sent().contains('$'));
    fixture.closeDialog();

    fixture.openDialog(JobUpdate);
    PlayedBoard played(fixture, board);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSet(board.board, JobUpdate), QString());
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
    QVERIFY(!differencesFromSet(board.board, mode).isEmpty());
}

// A captured bootloader does not announce itself: only switching the machine off and on helps.
void TestJobFaults::waitsForABoardThatKeptItsPower()
{
    constexpr int kTicksIntoTheFirmware = 30;
    vboard::BoardOptions options;
    options.lineRate = true;
    SessionFixture fixture(JobUpdate);
    TimedBoard board(options);
    {
        PlayedBoard played(fixture, board);
        QVERIFY(!played.playToEnd(kTicksIntoTheFirmware));
        QCOMPARE(fixture.port().state, static_cast<qint32>(StateFirmware));
    }
    fixture.closeDialog();

    fixture.openDialog(JobUpdate);
    PlayedBoard played(fixture, board);
    QVERIFY(!played.playToEnd());
    QCOMPARE(fixture.port().state, static_cast<qint32>(StateWaitForBootloader));
    QCOMPARE(fixture.port().phase, static_cast<qint32>(PhaseNotCaptured));
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
