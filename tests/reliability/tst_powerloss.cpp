// A board that lost power in the middle of a job is updated by closing the dialog and starting
// again.

#include "tests/reliability/PlayedBoard.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

#include <random>
#include <set>

namespace {

// The small set's images have few lines, but a board with its firmware whole comes back as another.
constexpr int kMomentsInFirmware = 7;
constexpr int kMomentsInImages = 3;
// Ticks of a job, and those for which a person looks at a dialog in which nothing moves.
constexpr int kPatience = 60;
// Lines of a job: those that find the board, a page's 66 for every page, and the images'.
constexpr int kLinesBefore = 2 + 1;
constexpr int kFirmwareLines = 66 * 223;
constexpr int kImageLines = 8;

/// `count` different numbers from `first` on, below `first` + `size`.
std::set<int> randomLines(std::mt19937& random, int count, int first, int size)
{
    std::set<int> lines;
    while (static_cast<int>(lines.size()) < count)
        lines.insert(first + static_cast<int>(random() % static_cast<unsigned>(size)));
    return lines;
}

vboard::BoardOptions losingPowerAt(int line)
{
    vboard::BoardOptions options;
    std::string error;
    const auto rule = vboard::FaultRule::parse("restart at=" + std::to_string(line), error);
    options.faults.push_back(rule.value());
    return options;
}

} // namespace

class TestPowerLoss : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false\nqt.*=false"));
    }
    void startingAgainCompletesTheBoard_data();
    void startingAgainCompletesTheBoard();
    void aBoardThatKeptItsPowerIsNotFoundAgain();
};

void TestPowerLoss::startingAgainCompletesTheBoard_data()
{
    QTest::addColumn<int>("line");
    std::mt19937 random(20260);
    for (const int line : randomLines(random, kMomentsInFirmware, 1 + kLinesBefore, kFirmwareLines))
        QTest::addRow("firmware, line %d", line) << line;
    const int firstOfImages = 1 + kLinesBefore + kFirmwareLines;
    for (const int line : randomLines(random, kMomentsInImages, firstOfImages, kImageLines))
        QTest::addRow("images, line %d", line) << line;
}

void TestPowerLoss::startingAgainCompletesTheBoard()
{
    QFETCH(int, line);
    SessionFixture fixture(JobUpdate);
    TimedBoard board(losingPowerAt(line));
    {
        PlayedBoard played(fixture, board);
        for (int tick = 0; tick < kPatience && board.board.appliedFaults().empty(); ++tick)
            played.tick();
        QCOMPARE(board.board.appliedFaults().size(), std::size_t(1));
        QVERIFY(!board.board.isFinished());
        QVERIFY(!differencesFromSmallSet(board.board, JobUpdate).isEmpty());
    }
    // Without power nothing hears what the session says again and again, until the dialog is
    // closed.
    fixture.step(kPatience);
    QVERIFY(fixture.sent().contains('$'));
    fixture.closeDialog();

    fixture.openDialog(JobUpdate);
    PlayedBoard played(fixture, board);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSmallSet(board.board, JobUpdate), QString());
}

// Captured, a bootloader does not announce itself: only switching the machine off and on helps.
void TestPowerLoss::aBoardThatKeptItsPowerIsNotFoundAgain()
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

static const RegisteredTest<TestPowerLoss> registered(__FILE__);
#include "tst_powerloss.moc"
