#include "doctor/CoursePicture.h"
#include "doctor/LogFindings.h"
#include "doctor/LogReader.h"
#include "doctor/LogRows.h"
#include "tests/support/TestProgram.h"

#include <QDir>
#include <QFile>

#include <array>
#include <set>

using namespace doctor;

namespace {

struct NamedCause
{
    const char* name;
    Cause cause;
};

/// All that a log can show, by the names of the recorded logs.
constexpr auto kCauses = std::to_array<NamedCause>({
    {"answers-kept-back", Cause::AnswersKeptBack},
    {"board-restarted", Cause::BoardRestarted},
    {"board-silent", Cause::BoardSilent},
    {"closed-early", Cause::ClosedEarly},
    {"held", Cause::Held},
    {"job-complete", Cause::JobComplete},
    {"lines-lost", Cause::LinesLost},
    {"log-ends-early", Cause::LogEndsEarly},
    {"no-adapter", Cause::NoAdapter},
    {"no-answer", Cause::NoAnswer},
    {"no-bootloader", Cause::NoBootloader},
    {"no-job", Cause::NoJob},
    {"not-understood", Cause::NotUnderstood},
    {"other-adapters-only", Cause::OtherAdaptersOnly},
    {"port-forbidden", Cause::PortForbidden},
    {"port-gone", Cause::PortGone},
    {"port-not-opened", Cause::PortNotOpened},
});

QStringList logNames()
{
    return QDir(QStringLiteral(RECORDED_LOGS)).entryList({QStringLiteral("*.log")}, QDir::Files);
}

Course courseOf(const QString& name)
{
    QFile file(QStringLiteral(RECORDED_LOGS "/") + name);
    Course course;
    QString error;
    if (!file.open(QIODevice::ReadOnly) || !readLog(file, course, error))
        qFatal("%s: %s", qPrintable(name), qPrintable(error));
    return course;
}

/// The text of the row about `topic`; empty where there is none.
QString textOf(const QList<Row>& rows, QLatin1StringView topic)
{
    const auto row
        = std::ranges::find_if(rows, [&](const Row& each) { return each.topic == topic; });
    return row == rows.end() ? QString() : row->text;
}

/// How many pixels of `image` look like `colour`.
int pixelsOf(const QImage& image, QColor colour)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == colour)
                ++count;
        }
    }
    return count;
}

} // namespace

/// What the recorded logs tell: see record-logs.
class TestLogRows : public QObject
{
    Q_OBJECT

private slots:
    void findsTheCauseOfEachLog_data();
    void findsTheCauseOfEachLog();
    void hasALogOfEachCause();
    void tellsALogInAboutTenRows_data() { findsTheCauseOfEachLog_data(); }
    void tellsALogInAboutTenRows();
    void tellsHowFarItCame_data();
    void tellsHowFarItCame();
    void tellsWhatWasSentAgain();
    void tellsAnswerTimes();
    void namesThePortsThatHaveTheSameCause();
    void tellsAPortThatWasUnpluggedWhileItWasProbed();
    void tellsApartPortsThatStandElsewhere();
    void tellsManyPortsInFewRows();
    void quotesAnErrorThatItDoesNotKnow();
    void drawsTheCourse();
    void drawsRepeatsInRed();
    void drawsAJobWithoutPagesAndImages();
    void drawsEveryLog_data() { findsTheCauseOfEachLog_data(); }
    void drawsEveryLog();
    void hasRoomForManyPorts();
};

void TestLogRows::findsTheCauseOfEachLog_data()
{
    QTest::addColumn<QString>("name");
    const QStringList names = logNames();
    for (const QString& name : names)
        QTest::newRow(qPrintable(name)) << name;
}

void TestLogRows::findsTheCauseOfEachLog()
{
    QFETCH(QString, name);
    const QString wanted = name.section(u'.', 0, 0);
    const auto* const known = std::ranges::find_if(
        kCauses, [&](const NamedCause& row) { return wanted == QLatin1StringView(row.name); });
    QVERIFY2(known != kCauses.end(), "no cause of this name");
    const QList<Finding> findings = findingsOf(courseOf(name));
    QCOMPARE(findings.size(), 1);
    QCOMPARE(findings.first().cause, known->cause);
}

void TestLogRows::hasALogOfEachCause()
{
    const QStringList logs = logNames();
    std::set<QString> names;
    for (const QString& name : logs)
        names.insert(name.section(u'.', 0, 0));
    for (const NamedCause& row : kCauses)
        QVERIFY2(names.contains(QLatin1StringView(row.name)), row.name);
}

void TestLogRows::tellsALogInAboutTenRows()
{
    QFETCH(QString, name);
    const QList<Row> rows = rowsOf(courseOf(name));
    QVERIFY(rows.size() >= 3);
    QVERIFY(rows.size() <= 10);
    for (const Row& row : rows) {
        QVERIFY(!row.topic.isEmpty());
        QVERIFY2(!row.text.isEmpty(), qPrintable(row.topic));
        QVERIFY2(!row.text.contains(u'%') && !row.text.contains(u"()") && !row.text.contains(u"  ")
                && !row.text.contains(u"an unknown time"),
            qPrintable(row.text));
        // What is to be done stands in the last one only.
        QVERIFY2(row == rows.last() || row.kind == Row::Kind::Fact, qPrintable(row.text));
    }
    QVERIFY(rows.first().text.startsWith(u"Annealing DB Updater "));
}

void TestLogRows::tellsHowFarItCame_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("place");
    const auto row = [](const char* name, const char* place) {
        QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(place);
    };
    row("no-answer.log", "asking the board who it is, without an answer");
    row("no-bootloader.log", "waiting for its bootloader, last answer at ");
    row("board-silent.firmware.log", "in page 2 of 223, silent since ");
    row("board-silent.image.log", "in image 2 of 5, block 2 of 4, silent since ");
    row("board-silent.erasing.log", "erasing the images, silent since ");
    row("port-gone.log", "in image 2 of 5, block 2 of 4, unplugged or without contact since ");
    row("port-forbidden.log", "could not be opened: Permission denied");
    row("job-complete.images.log", "complete at ");
    row("log-ends-early.cut.log", "in image 3 of 5, block 2 of 4, last answer at ");
}

void TestLogRows::tellsHowFarItCame()
{
    QFETCH(QString, name);
    QFETCH(QString, place);
    const QString text = textOf(rowsOf(courseOf(name)), QLatin1StringView("how far"));
    QVERIFY2(text.startsWith(place), qPrintable(text));
}

void TestLogRows::tellsWhatWasSentAgain()
{
    const auto sentAgain = [](const char* name) {
        return textOf(rowsOf(courseOf(QString::fromLatin1(name))), QLatin1StringView("sent again"));
    };
    QCOMPARE(sentAgain("job-complete.images.log"), QStringLiteral("nothing"));
    QCOMPARE(
        sentAgain("job-complete.resends.log"), QStringLiteral("1 of 21 image blocks (image 2)"));
    QCOMPARE(sentAgain("board-silent.firmware.log"), QStringLiteral("2 of 73 data lines (page 2)"));
}

void TestLogRows::tellsAnswerTimes()
{
    const QString text = textOf(rowsOf(courseOf(QStringLiteral("answers-kept-back.log"))),
        QLatin1StringView("answer times"));
    QVERIFY2(text.contains(u"image headers ") && text.contains(u"image blocks ")
            && text.endsWith(u", of 20)"),
        qPrintable(text));
}

void TestLogRows::namesThePortsThatHaveTheSameCause()
{
    Course course = courseOf(QStringLiteral("board-silent.one-of-three.log"));
    course.ports.append(course.ports.at(1));
    course.ports.last().name = QStringLiteral("COM7");
    const QList<Finding> findings = findingsOf(course);
    QCOMPARE(findings.size(), 1);
    QCOMPARE(findings.first().arguments.first(), course.ports.at(1).name + ", COM7");
}

void TestLogRows::tellsAPortThatWasUnpluggedWhileItWasProbed()
{
    Course course = courseOf(QStringLiteral("no-answer.log"));
    course.ports.first().gone = true;
    // It is opened again at the bootloader's speed.
    course.ports.first().openError = QStringLiteral("No such file or directory");
    const QList<Finding> findings = findingsOf(course);
    QCOMPARE(findings.first().cause, Cause::PortGone);
    QVERIFY(textOf(rowsOf(course), QLatin1StringView("how far")).contains(u"unplugged"));
}

void TestLogRows::tellsApartPortsThatStandElsewhere()
{
    Course course = courseOf(QStringLiteral("board-silent.image.log"));
    PortCourse later = course.ports.first();
    later.name = QStringLiteral("ttyUSB9");
    course.ports.append(later);
    QCOMPARE(findingsOf(course).size(), 1);
    course.ports.last().firstUnanswered = *later.firstUnanswered + 34'000;
    QCOMPARE(findingsOf(course).size(), 2);
}

void TestLogRows::tellsManyPortsInFewRows()
{
    Course course = courseOf(QStringLiteral("job-complete.images.log"));
    while (course.ports.size() < 20)
        course.ports.append(course.ports.first());
    QVERIFY(rowsOf(course).size() <= 10);
    QCOMPARE(textOf(rowsOf(course), QLatin1StringView("ports")), QStringLiteral("and 15 more"));
}

void TestLogRows::quotesAnErrorThatItDoesNotKnow()
{
    Course course = courseOf(QStringLiteral("port-forbidden.log"));
    course.ports.first().openError = QStringLiteral("Keine Berechtigung 100%1");
    const Row row = rowsOf(course).constLast();
    QVERIFY2(row.text.contains(u"(Keine Berechtigung 100%1)"), qPrintable(row.text));
}

void TestLogRows::drawsTheCourse()
{
    const QColor line(0x00, 0x5a, 0xa0);
    const QImage image
        = pictureOf(courseOf(QStringLiteral("board-silent.firmware.log")), QSize(800, 500));
    QCOMPARE(image.size(), QSize(800, 500));
    QVERIFY(pixelsOf(image, line) > 20);
    QVERIFY(pixelsOf(image, Qt::white) > 800 * 500 / 2);
    Course without = courseOf(QStringLiteral("board-silent.firmware.log"));
    without.ports.first().pages = {};
    without.ports.first().pagesAgain = {};
    QVERIFY(pictureOf(without, QSize(800, 500)) != image);
}

void TestLogRows::drawsRepeatsInRed()
{
    const QColor red(0xcc, 0x00, 0x00);
    const QSize size(800, 500);
    QVERIFY(pixelsOf(pictureOf(courseOf(QStringLiteral("lines-lost.log")), size), red) > 5);
    QCOMPARE(
        pixelsOf(pictureOf(courseOf(QStringLiteral("job-complete.images.log")), size), red), 0);
}

void TestLogRows::drawsAJobWithoutPagesAndImages()
{
    const QImage image = pictureOf(courseOf(QStringLiteral("no-job.log")), QSize(1, 1));
    QCOMPARE(image.size(), QSize(320, 240));
    QVERIFY(pixelsOf(image, Qt::white) < 320 * 240);
}

void TestLogRows::drawsEveryLog()
{
    QFETCH(QString, name);
    const Course course = courseOf(name);
    for (const QSize size : {QSize(320, 320), QSize(1200, 700)})
        QCOMPARE(pictureOf(course, size).size(), size);
}

void TestLogRows::hasRoomForManyPorts()
{
    Course course = courseOf(QStringLiteral("board-silent.firmware.log"));
    while (course.ports.size() < 16)
        course.ports.append(course.ports.first());
    QVERIFY(pictureOf(course, QSize(800, 200)).height() >= 340);
}

static const RegisteredTest<TestLogRows> registered(__FILE__);
#include "tst_logrows.moc"
