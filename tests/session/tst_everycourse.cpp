// Every course that a small job can take when lines and answers are lost, late or doubled. What is
// known to be wrong or endless stands in docs/reliability.md, with the reason.
//
// EXPLORE_FAULTS and EXPLORE_DOUBLED go deeper, or less deep: that many in each course of each row.

#include "tests/session/CourseExplorer.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>

#include <memory>

Q_DECLARE_METATYPE(SmallJob)
Q_DECLARE_METATYPE(Faults)

namespace {

using Begin = SmallJob::Begin;

/// Courses that are known to end wrong, or not to end.
struct Known
{
    int wrong = 0;
    int endless = 0;
};

SmallJob jobFrom(Begin begin, SmallBoardKind board = {})
{
    SmallJob job;
    job.begin = begin;
    job.board = board;
    return job;
}

SmallJob imagesJob(int images, qint32 blocks, int held = 0, SmallBoardKind board = {})
{
    SmallJob job = jobFrom(Begin::Images, board);
    job.images = images;
    job.blocks = blocks;
    job.held = held;
    return job;
}

SmallJob hurried(SmallJob job)
{
    job.hurried = true;
    return job;
}

SmallBoardKind without(bool SmallBoardKind::*feature, SmallBoardKind kind = {})
{
    kind.*feature = false;
    return kind;
}

std::optional<int> numberFrom(const char* variable)
{
    bool ok = false;
    const int number = qEnvironmentVariableIntValue(variable, &ok);
    return ok ? std::optional(number) : std::nullopt;
}

void addRow(const QString& name, const SmallJob& job, Faults faults, Known known = {})
{
    faults.faults = numberFrom("EXPLORE_FAULTS").value_or(faults.faults);
    faults.doubled = numberFrom("EXPLORE_DOUBLED").value_or(faults.doubled);
    QString text = name + QStringLiteral(", %1 faults").arg(faults.faults);
    if (faults.doubled > 0)
        text += QStringLiteral(", %1 doubled").arg(faults.doubled);
    QTest::newRow(qPrintable(text)) << job << faults << known.wrong << known.endless;
}

void addFirmwareRows()
{
    const SmallBoardKind checks;
    const SmallBoardKind blind = without(&SmallBoardKind::checksPages);
    const SmallJob checked = jobFrom(Begin::Firmware, checks);
    const SmallJob unchecked = jobFrom(Begin::Firmware, blind);
    addRow(QStringLiteral("firmware, board checks"), checked, {2, 0});
    addRow(QStringLiteral("firmware, board does not check"), unchecked, {2, 0});
    addRow(QStringLiteral("firmware, hurried, board checks"), hurried(checked), {1, 0});
    addRow(QStringLiteral("firmware, hurried, board does not check"), hurried(unchecked), {1, 0});
    addRow(QStringLiteral("firmware, board checks"), checked, {1, 1});
    // A "$DACK" that comes twice hides a line that is lost after it.
    addRow(QStringLiteral("firmware, board does not check"), unchecked, {1, 1}, {66, 0});
    // An answer that is lost is not given again.
    addRow(QStringLiteral("firmware, board checks and does not repeat its answers"),
        jobFrom(Begin::Firmware, without(&SmallBoardKind::answersRepeats)), {1, 0}, {0, 71});
    addRow(QStringLiteral("firmware, board neither checks nor repeats its answers"),
        jobFrom(Begin::Firmware, without(&SmallBoardKind::answersRepeats, blind)), {1, 0}, {0, 72});
}

void addImageRows(int images, qint32 blocks)
{
    const QString name = QStringLiteral("%1 images of %2 blocks").arg(images).arg(blocks);
    const SmallBoardKind forgets = without(&SmallBoardKind::keepsImages);
    for (const int held : {0, 1, images}) {
        const QString variant = name + QStringLiteral(", board has %1").arg(held);
        addRow(variant, imagesJob(images, blocks, held), {2, 0});
        addRow(variant + QStringLiteral(", hurried"), hurried(imagesJob(images, blocks, held)),
            {1, 0});
    }
    addRow(name + QStringLiteral(", board begins a whole image again"),
        imagesJob(images, blocks, 0, forgets), {2, 0});
    addRow(name + QStringLiteral(", board begins a whole image again"),
        imagesJob(images, blocks, 0, forgets), {1, 1});
    addRow(name + QStringLiteral(", hurried, board begins a whole image again"),
        hurried(imagesJob(images, blocks, 0, forgets)), {1, 0});
}

} // namespace

class TestEveryCourse : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { m_set.reset(); }
    void endsExact_data();
    void endsExact();

private:
    std::unique_ptr<ReleaseSetFixture> m_set;
};

void TestEveryCourse::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false"));
    m_set = std::make_unique<ReleaseSetFixture>(
        ReleaseSetFiles{{QStringLiteral("fw1.bin"), exploredFirmware()}});
}

void TestEveryCourse::endsExact_data()
{
    QTest::addColumn<SmallJob>("job");
    QTest::addColumn<Faults>("faults");
    QTest::addColumn<int>("wrong");
    QTest::addColumn<int>("endless");

    for (const int boot : {0, 1, 8, 12, 20}) {
        SmallJob job = jobFrom(Begin::Probe);
        job.board.bootTicks = boot;
        const QString name = QStringLiteral("capture, bootloader after %1 steps").arg(boot);
        addRow(name, job, {1, 0});
        job.board.announcesEarly = true;
        addRow(name + QStringLiteral(", heard at any speed"), job, {1, 1});
    }
    addFirmwareRows();
    for (const int images : {2, 3}) {
        for (const qint32 blocks : {2, 3})
            addImageRows(images, blocks);
    }
    // An "$IACK,1" that comes twice is taken for the next image's, which is left out.
    addRow(QStringLiteral("2 images of 2 blocks, board has 0"), imagesJob(2, 2), {1, 1}, {1, 0});
    addRow(
        QStringLiteral("2 images of 2 blocks, board has 1"), imagesJob(2, 2, 1), {1, 1}, {27, 0});
    // An answer that is lost is not given again.
    addRow(QStringLiteral("2 images of 2 blocks, board does not repeat its answers"),
        imagesJob(2, 2, 0, without(&SmallBoardKind::answersRepeats)), {1, 0}, {0, 4});
    addRow(QStringLiteral("erase"), jobFrom(Begin::Erase), {2, 0});
    addRow(QStringLiteral("erase"), jobFrom(Begin::Erase), {1, 1});
}

void TestEveryCourse::endsExact()
{
    QFETCH(SmallJob, job);
    QFETCH(Faults, faults);
    QFETCH(int, wrong);
    QFETCH(int, endless);
    const Exploration found = explore(job, faults);
    qInfo("%zu worlds, %d wrong, %d endless", found.worlds, found.wrong, found.endless);
    if (found.wrong != wrong || found.endless != endless)
        qWarning("the shortest course:\n%s", qPrintable(found.course.join(u'\n')));
    QCOMPARE(found.wrong, wrong);
    QCOMPARE(found.endless, endless);
}

static const RegisteredTest<TestEveryCourse> registered(__FILE__);
#include "tst_everycourse.moc"
