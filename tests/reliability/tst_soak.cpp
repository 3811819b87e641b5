// Fifty jobs one after the other in one process, by the main window's buttons: what a dialog opened
// has to be closed again when it has gone.

#include "app/MainWindow.h"
#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/Resources.h"
#include "tests/session/SessionBench.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QPushButton>
#include <QTest>

namespace {

constexpr int kJobs = 50;
// By then every cache of Qt's is filled.
constexpr int kWarmUp = 12;
constexpr std::array kModes{JobImagesOnly, JobEraseImages, JobUpdate};

const char* buttonOf(int mode)
{
    if (mode == JobImagesOnly)
        return "pushButton_3";
    return mode == JobEraseImages ? "pushButton_2" : "pushButton";
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

private:
    void runJob(int number);
    void inTheDialog(int mode, int ticks);

    ReleaseSetFixture m_set{smallReleaseSet()};
    UsbBus m_bus;
    std::unique_ptr<PluggedAdapter> m_adapter;
    MainWindow m_window;
    int m_ended = 0;
    int m_closedBefore = 0;
    QString m_problem;
};

void TestSoak::leavesNothingBehind()
{
    m_adapter = m_bus.plug(ftdiAdapters(1).front());
    const QByteArray portName = m_adapter->portName().toLatin1();
    runJob(0); // opens what Qt keeps open from its first use on
    const int descriptors = openDescriptors();
    qint64 allocated = 0;
    qint64 resident = 0;
    for (int job = 1; job < kJobs; ++job) {
        runJob(job);
        QCOMPARE(m_problem, QString());
        // The mocked bus hands its own out and takes them back in a thread.
        QTRY_VERIFY(openDescriptors() <= descriptors);
        QCOMPARE(portLocks(portName.constData()), 0);
        if (job == kWarmUp - 1) {
            allocated = allocatedBytes();
            resident = residentBytes();
        }
    }
    const qint64 grown = allocatedBytes() - allocated;
    qInfo(
        "%d jobs to the end, %d closed before; since the %dth: %lld bytes allocated, %lld resident",
        m_ended, m_closedBefore, kWarmUp, static_cast<long long>(grown),
        static_cast<long long>(residentBytes() - resident));
    constexpr qint64 kNoise = 0x10000; // a dialog that stayed would be ten times that
    QVERIFY2(grown <= (countsEveryBlock() ? 0 : kNoise), "memory");
    QVERIFY(m_ended > kJobs / 2 && m_closedBefore > kJobs / 4);
}

// Two of three run to their end, the third is closed somewhere before; all of it while the button's
// slot runs the dialog.
void TestSoak::runJob(int number)
{
    constexpr int kToTheEnd = 400;
    constexpr int kTicksBefore = 25; // some of a job's, from none to nearly all
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
    {
        PlayedBoard played(*dialog, *m_adapter, board);
        if (!played.playToEnd(ticks))
            ++m_closedBefore;
        else if (++m_ended; m_problem.isEmpty())
            m_problem = differencesFromSmallSet(board.board, mode);
    }
    dialog->reject();
    m_adapter->discardUnread();
}

QTEST_MAIN(TestSoak)
#include "tst_soak.moc"

using namespace protocol;
