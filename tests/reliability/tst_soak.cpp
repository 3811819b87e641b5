// Dialogs by the main window's buttons: fifty jobs one after the other in one process, where each
// dialog has to release what it took; and never two dialogs at a time.

#include "app/MainWindow.h"
#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/ProcessUsage.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QPushButton>
#include <QWindow>

#include <algorithm>
#include <array>

namespace {

constexpr int kJobs = 50;
// After this many jobs Qt's caches are filled.
constexpr int kWarmUp = 12;
constexpr std::array kModes{JobImagesOnly, JobEraseImages, JobUpdate};

const char* buttonOf(int mode)
{
    if (mode == JobImagesOnly)
        return "pushButton_3";
    return mode == JobEraseImages ? "pushButton_2" : "pushButton";
}

QWidgetList openDialogs()
{
    QWidgetList dialogs = QApplication::topLevelWidgets();
    dialogs.removeIf([](const QWidget* widget) {
        return !widget->isVisible() || !widget->inherits("DialogBootload");
    });
    return dialogs;
}

} // namespace

class TestSoak : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false\nqt.*=false"));
    }
    void leavesNothingBehind();
    void keepsTheMainWindowBlocked();

private:
    void runJob(int number);
    void inTheDialog(int mode, int ticks);

    ReleaseSetFixture m_set{smallReleaseSet()};
    MainWindow m_window;
    int m_ended = 0;
    int m_closedBefore = 0;
    QString m_problem;
};

void TestSoak::leavesNothingBehind()
{
    qint64 allocated = 0;
    for (int job = 0; job < kJobs; ++job) {
        runJob(job);
        QCOMPARE(m_problem, QString());
        if (job == kWarmUp - 1)
            allocated = allocatedBytes();
    }
    const qint64 grown = allocatedBytes() - allocated;
    qInfo("%d jobs to the end, %d closed before; since the %dth: %lld bytes allocated", m_ended,
        m_closedBefore, kWarmUp, static_cast<long long>(grown));
    constexpr qint64 kNoise = 0x10000; // a dialog that is not deleted takes ten times as much
    QVERIFY2(grown <= (countsEveryBlock() ? 0 : kNoise), "memory");
    QVERIFY(m_ended > kJobs / 2 && m_closedBefore > kJobs / 4);
}

// Two of three jobs run to their end, the third is closed before, all within the button's click.
void TestSoak::runJob(int number)
{
    constexpr int kToTheEnd = 400;
    constexpr int kTicksBefore = 25; // the ticks before it is closed are fewer than this
    const int mode = kModes.at(static_cast<std::size_t>(number / 3) % kModes.size());
    const int ticks = number % 3 == 2 ? number * 7 % kTicksBefore : kToTheEnd;
    QTimer::singleShot(0, this, [this, mode, ticks] { inTheDialog(mode, ticks); });
    auto* const button = m_window.findChild<QPushButton*>(QLatin1String(buttonOf(mode)));
    button->click();
}

void TestSoak::inTheDialog(int mode, int ticks)
{
    auto* const dialog = qobject_cast<DialogBootload*>(QApplication::activeModalWidget());
    if (dialog == nullptr) {
        m_problem = QStringLiteral("no dialog");
        return;
    }
    TimedBoard board(boardFor(mode));
    PlayedBoard played(*dialog, board);
    if (!played.playToEnd(ticks))
        ++m_closedBefore;
    else if (++m_ended; m_problem.isEmpty())
        m_problem = differencesFromSet(board.board, mode);
    dialog->reject();
}

void TestSoak::keepsTheMainWindowBlocked()
{
    m_window.show();
    auto* const button = m_window.findChild<QPushButton*>(QStringLiteral("pushButton"));
    const auto press = [&] {
        QTest::mouseClick(
            m_window.windowHandle(), Qt::LeftButton, {}, button->mapTo(&m_window, QPoint(5, 5)));
    };
    // A click returns when its dialog is closed; a second dialog would run within the first one's.
    qsizetype mostDialogs = 0;
    QTimer closing;
    closing.setInterval(200);
    connect(&closing, &QTimer::timeout, this, [&mostDialogs] {
        const QWidgetList dialogs = openDialogs();
        mostDialogs = std::max(mostDialogs, dialogs.size());
        for (QWidget* const dialog : dialogs)
            dialog->close();
    });
    closing.start();
    press();
    QCOMPARE(mostDialogs, 1);

    mostDialogs = 0;
    QTimer::singleShot(0, this, press);
    button->click();
    QCOMPARE(mostDialogs, 1);
}

static const RegisteredTest<TestSoak> registered(__FILE__);
#include "tst_soak.moc"
