// Whole jobs of the stand-in set on a board that takes its time over the last block of each image,
// with and without answers that are lost or doubled besides.
//
// SLOW_BOARD_JOBS: how many jobs a row has, each with other random numbers; 1 by default, and then
// without the rows of seldom faults.

#include "tests/reliability/PlayedBoard.h"
#include "tests/support/TestProgram.h"

#include <QDir>
#include <QLoggingCategory>

namespace {

constexpr int kHalfAnHour = 3600; // ticks

ReleaseSetFiles standInSet()
{
    ReleaseSetFiles files;
    const QDir folder(QStringLiteral(STAND_IN_SET));
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString& name : names) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s cannot be read", qPrintable(name));
        files.insert(name, file.readAll());
    }
    return files;
}

vboard::BoardOptions slowBoard(bool overtaken, vboard::Time delay, const QString& fault, int seed)
{
    vboard::BoardOptions options;
    options.lineRate = true;
    options.times = vboard::OwnTimes::realistic();
    // Another moment between two steps for each job.
    options.times.boot += std::chrono::milliseconds(seed * 7 % 500);
    options.seed = static_cast<std::uint64_t>(seed);
    QStringList faults;
    if (overtaken) {
        // Of the stand-in's images: 611 and 284 blocks.
        for (const char* const lastBlock : {"FACK,262", "FACK,11B"})
            faults << QStringLiteral("delay-reply rate=100% by=%1us word=%2")
                          .arg(delay.count())
                          .arg(QLatin1StringView(lastBlock));
    } else {
        options.times.imageEnd = delay;
    }
    if (!fault.isEmpty())
        faults << fault;
    std::string error;
    for (const QString& rule : std::as_const(faults))
        options.faults.push_back(vboard::FaultRule::parse(rule.toStdString(), error).value());
    return options;
}

} // namespace

class TestSlowBoard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false\nqt.*=false"));
    }
    void endsExact_data();
    void endsExact();
};

void TestSlowBoard::endsExact_data()
{
    QTest::addColumn<bool>("overtaken");
    QTest::addColumn<int>("delay"); // milliseconds
    QTest::addColumn<QString>("fault");
    // The seldom ones occur in many jobs alone.
    const bool many = qEnvironmentVariableIsSet("SLOW_BOARD_JOBS");
    const QStringList rates = many ? QStringList{"0.5%", "0.2%", "0.05%"} : QStringList{"0.5%"};
    for (const bool overtaken : {false, true}) {
        for (const int delay : {2500, 4000, 5000}) {
            QStringList faults{QString()};
            for (const char* const kind : {"drop-reply", "double-reply"}) {
                for (const QString& rate : rates)
                    faults << QStringLiteral("%1 rate=%2").arg(QLatin1StringView(kind), rate);
            }
            for (const QString& fault : std::as_const(faults)) {
                QTest::addRow("%s late by %d ms, %s", overtaken ? "answer" : "board", delay,
                    fault.isEmpty() ? "nothing else" : qPrintable(fault))
                    << overtaken << delay << fault;
            }
        }
    }
}

void TestSlowBoard::endsExact()
{
    QFETCH(bool, overtaken);
    QFETCH(int, delay);
    QFETCH(QString, fault);
    const ReleaseSetFiles files = standInSet();
    const int jobs = qMax(1, qEnvironmentVariableIntValue("SLOW_BOARD_JOBS"));
    int exact = 0;
    for (int seed = 1; seed <= jobs; ++seed) {
        SessionFixture fixture(JobImagesOnly, 1, files);
        TimedBoard board(slowBoard(overtaken, std::chrono::milliseconds(delay), fault, seed));
        PlayedBoard played(fixture, board);
        const bool ended = played.playToEnd(kHalfAnHour);
        exact += ended && differencesFromSet(board.board, JobImagesOnly).isEmpty() ? 1 : 0;
    }
    QCOMPARE(exact, jobs);
}

static const RegisteredTest<TestSlowBoard> registered(__FILE__);
#include "tst_slowboard.moc"
