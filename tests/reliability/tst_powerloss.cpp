// A board that lost power in the middle of a job is updated by closing the dialog and starting
// again.

#include "tests/reliability/PlayedBoard.h"
#include "tests/session/SessionBench.h"

#include <QLoggingCategory>
#include <QTest>

#include <random>

namespace {

constexpr int kMoments = 10;
// Ticks of a job, and those for which a person looks at a dialog in which nothing moves.
constexpr int kPatience = 60;
// Lines of a whole job: those that find the board, a page's 66 for every page, the images' and
// "$X".
constexpr int kLinesOfJob = 2 + 1 + 66 * 223 + 8 + 1;

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
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false")); }
    void startingAgainCompletesTheBoard_data();
    void startingAgainCompletesTheBoard();
};

void TestPowerLoss::startingAgainCompletesTheBoard_data()
{
    QTest::addColumn<int>("line");
    std::mt19937 random(20260);
    for (int i = 0; i < kMoments; ++i) {
        const int line = 1 + static_cast<int>(random() % kLinesOfJob);
        QTest::addRow("at line %d of %d", line, kLinesOfJob) << line;
    }
}

void TestPowerLoss::startingAgainCompletesTheBoard()
{
    QFETCH(int, line);
    SessionBench bench(JobUpdate);
    TimedBoard board(losingPowerAt(line));
    {
        PlayedBoard played(bench.dialog(), bench.adapter(), board);
        for (int tick = 0; tick < kPatience && board.board.faultsStruck().empty(); ++tick)
            played.tick();
        QCOMPARE(board.board.faultsStruck().size(), std::size_t(1));
        QVERIFY(!board.board.isFinished());
        QVERIFY(!differencesFromSmallSet(board.board, JobUpdate).isEmpty());
    }
    // Without power nothing hears what the session says again and again, until the dialog is
    // closed.
    bench.step(kPatience);
    QVERIFY(bench.sent().contains('$'));
    bench.closeDialog();

    bench.openDialog(JobUpdate);
    PlayedBoard played(bench.dialog(), bench.adapter(), board);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSmallSet(board.board, JobUpdate), QString());
}

QTEST_MAIN(TestPowerLoss)
#include "tst_powerloss.moc"
