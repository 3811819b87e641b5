// The cable and the person, in every state of a session: an adapter that goes, a line that takes
// nothing, a dialog that is closed, a port that somebody else has.

#include "app/MainWindow.h"
#include "tests/reliability/PlayedBoard.h"
#include "tests/reliability/Resources.h"
#include "tests/session/SessionBench.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QPushButton>
#include <QTest>
#include <QWindow>

#include <algorithm>
#include <array>
#include <unistd.h>

namespace {

/// The numbers that a session has somewhere in `state`.
SessionFields somewhereIn(int state)
{
    return {{"state", state}, {"flashAddress", 0x1040}, {"phase", state == StateSendImages ? 3 : 1},
        {"fwStep", 1}, {"retries", state == StateProbe ? 5 : 0}, {"ticks", 4}, {"imageIndex", 1},
        {"imageStep", 1}};
}

void addStates()
{
    QTest::addColumn<int>("state");
    for (const int state : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15})
        QTest::addRow("state %d", state) << state;
}

/// A job that shows that nothing is left of what came before; empty when it ends exact.
QString nextJob(SessionBench& bench)
{
    bench.openDialog(JobImagesOnly);
    bench.adapter().discardUnread();
    TimedBoard board;
    PlayedBoard played(bench.dialog(), bench.adapter(), board);
    if (!played.playToEnd())
        return QStringLiteral("the next job does not end");
    return differencesFromSmallSet(board.board, JobImagesOnly);
}

/// Takes from the line until the program has nothing left to send. What it was, as far as the line
/// was there.
QByteArray takeAll(SessionBench& bench)
{
    QByteArray arrived;
    std::array<char, 4096> chunk{};
    while (bench.port().bytesToWrite() > 0) {
        const ssize_t count = ::read(bench.adapter().masterFd(), chunk.data(), chunk.size());
        if (count <= 0)
            return arrived;
        arrived.append(chunk.data(), count);
        QCoreApplication::processEvents();
    }
    return arrived + bench.sent();
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

class TestCutShort : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false")); }
    void bearsAnAdapterThatGoes_data() { addStates(); }
    void bearsAnAdapterThatGoes();
    void bearsAnAdapterThatGoesUnnoticed_data() { addStates(); }
    void bearsAnAdapterThatGoesUnnoticed();
    void closesTheDialog_data() { addStates(); }
    void closesTheDialog();
    void sendsTheRestOnceTheLineTakesItAgain();
    void leavesOutLinesThatTheLineDoesNotTake();
    void waitsForABoardOfAnotherSpeed();
    void keepsTheMainWindowBlocked();
    void aSecondDialogLeavesTheFirstItsPort();
};

void TestCutShort::bearsAnAdapterThatGoes()
{
    QFETCH(int, state);
    SessionBench bench(JobUpdate);
    bench.setFields(somewhereIn(state));
    bench.adapter().unplug();
    QTRY_VERIFY(!bench.port().isOpen());
    bench.step(5);
    bench.closeDialog();
    bench.adapter().plugAgain();
    QCOMPARE(nextJob(bench), QString());
}

// What is sent before the event loop has told of it fails.
void TestCutShort::bearsAnAdapterThatGoesUnnoticed()
{
    QFETCH(int, state);
    SessionBench bench(JobUpdate);
    bench.setFields(somewhereIn(state));
    bench.adapter().unplug();
    QVERIFY(bench.port().isOpen());
    bench.step(5);
    bench.reply("$MVERR,D.02n");
    bench.closeDialog();
    bench.adapter().plugAgain();
    QCOMPARE(nextJob(bench), QString());
}

void TestCutShort::closesTheDialog()
{
    QFETCH(int, state);
    SessionBench bench(JobUpdate);
    const QByteArray portName = bench.adapter().portName().toLatin1();
    QCOMPARE(portLocks(portName.constData()), 1);
    bench.setFields(somewhereIn(state));
    bench.step();
    // A line has begun to arrive, and what was sent is not read by anybody.
    QVERIFY(::write(bench.adapter().masterFd(), "$DA", 3) == 3);
    bench.dialog().reject();
    QCOMPARE(portLocks(portName.constData()), 0);
    bench.dialog().Timeout(); // a tick that was on its way
    bench.closeDialog();
    QCOMPARE(nextJob(bench), QString());
}

// Lines go out faster than a slow adapter takes them when several boards hurry one another.
void TestCutShort::sendsTheRestOnceTheLineTakesItAgain()
{
    constexpr int kMoreThanTheLineHolds = 100;
    const QByteArray line = "$F,00" + QByteArray(",A5").repeated(kBlockSize);
    SessionBench bench(JobUpdate);
    bench.setFields({{"state", StateWaitForBootloader}});
    for (int i = 0; i < kMoreThanTheLineHolds; ++i)
        bench.dialog().AddCRC_nSend(&bench.port(), QString::fromLatin1(line));
    QVERIFY(bench.port().bytesToWrite() > 0);
    // Full is not gone.
    QTest::qWait(200);
    emit bench.port().errorOccurred(QSerialPort::ResourceError);
    QVERIFY(bench.port().isOpen());

    QCOMPARE(takeAll(bench), framed(line).repeated(kMoreThanTheLineHolds));
}

void TestCutShort::leavesOutLinesThatTheLineDoesNotTake()
{
    constexpr int kFarMoreThanIsKept = 1000;
    const QByteArray line = "$F,00" + QByteArray(",A5").repeated(kBlockSize);
    SessionBench bench(JobUpdate);
    bench.setFields({{"state", StateWaitForBootloader}});
    for (int i = 0; i < kFarMoreThanIsKept; ++i)
        bench.dialog().AddCRC_nSend(&bench.port(), QString::fromLatin1(line));
    QVERIFY(bench.port().bytesToWrite() >= kMaxUnsentBytes);
    QVERIFY(bench.port().bytesToWrite() < kMaxUnsentBytes + framed(line).size());

    // What left is whole lines, and once the line takes them again, so does the program.
    const QByteArray arrived = takeAll(bench);
    QVERIFY(arrived.size() > kMaxUnsentBytes);
    QCOMPARE(arrived, framed(line).repeated(arrived.size() / framed(line).size()));
    bench.dialog().AddCRC_nSend(&bench.port(), QString::fromLatin1(line));
    QCOMPARE(bench.sent(), framed(line));
}

void TestCutShort::waitsForABoardOfAnotherSpeed()
{
    vboard::BoardOptions options;
    options.kind = vboard::Kind::Service; // its bootloader talks at 115200 baud
    TimedBoard board(options);
    SessionBench bench(JobUpdate);
    {
        PlayedBoard played(bench.dialog(), bench.adapter(), board);
        QVERIFY(!played.playToEnd());
        QCOMPARE(bench.port().state, static_cast<qint32>(StateWaitForBootloader));
    }
    bench.closeDialog();
    QCOMPARE(nextJob(bench), QString());
}

void TestCutShort::keepsTheMainWindowBlocked()
{
    SessionBench bench(JobUpdate, 0);
    MainWindow window;
    window.show();
    auto* const button = window.findChild<QPushButton*>(QStringLiteral("pushButton"));
    const auto press = [&] {
        QTest::mouseClick(
            window.windowHandle(), Qt::LeftButton, {}, button->mapTo(&window, QPoint(5, 5)));
    };
    // A dialog holds its click until it is closed, and a second one would hold it as well.
    qsizetype mostDialogs = 0;
    QTimer closing;
    closing.setInterval(200);
    connect(&closing, &QTimer::timeout, &window, [&mostDialogs] {
        const QWidgetList dialogs = openDialogs();
        mostDialogs = std::max(mostDialogs, dialogs.size());
        for (QWidget* const dialog : dialogs)
            dialog->close();
    });
    closing.start();
    press();
    QCOMPARE(mostDialogs, 1);

    mostDialogs = 0;
    QTimer::singleShot(0, &window, press);
    button->click();
    QCOMPARE(mostDialogs, 1);
}

void TestCutShort::aSecondDialogLeavesTheFirstItsPort()
{
    SessionBench bench(JobImagesOnly);
    DialogBootload second(&bench.service(), JobUpdate, nullptr);
    DialogBootloadProbe probe(second);
    probe.timer().stop();
    QCOMPARE(probe.ports().size(), qsizetype(1));
    QVERIFY(!probe.ports().first()->isOpen());
    for (int i = 0; i < 20; ++i)
        second.Timeout();
    QCOMPARE(bench.sent(), QByteArray());
    TimedBoard board;
    PlayedBoard played(bench.dialog(), bench.adapter(), board);
    QVERIFY(played.playToEnd());
    QCOMPARE(differencesFromSmallSet(board.board, JobImagesOnly), QString());
    second.reject();
}

QTEST_MAIN(TestCutShort)
#include "tst_cutshort.moc"
