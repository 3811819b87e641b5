// A recorded log, played again in memory.

#include "tests/support/TestProgram.h"
#include "virtualboard/ReplayedBoard.h"

#include <QTest>

#include <iomanip>
#include <sstream>

using namespace std::chrono_literals;
using vboard::Emission;
using vboard::RecordedLog;
using vboard::RecordedPort;
using vboard::ReplayedBoard;
using vboard::ReplayVerdict;
using vboard::Time;

namespace {

constexpr int kFast = 921600; // baud
constexpr Time kSetUp = 10ms; // of a port that was opened

RecordedLog logOf(const std::string& text)
{
    std::istringstream stream(text);
    return RecordedLog::read(stream).value();
}

/// A line of a log, `at` into its minute.
std::string stamped(Time at, const std::string& message)
{
    std::ostringstream stamp;
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(at).count();
    stamp << "2026-11-22 06:40:" << std::setfill('0') << std::setw(2) << milliseconds / 1000 << '.'
          << std::setw(3) << milliseconds % 1000 << ' ' << message << '\n';
    return stamp.str();
}
std::string job(Time at, const std::string& message)
{
    return stamped(at, "updater.job: " + message);
}
std::string wire(Time at, const std::string& message)
{
    return stamped(at, "updater.wire: ttyUSB0 " + message);
}

// Log lines 2 to 4.
const std::string kQuestion
    = job(1s, "Job images") + wire(2s, "TX $MVER*826A") + wire(2s + 30ms, "RX $MVERR,D.01a*27BE");

/// Plays the program to the first board of a log, whose port it opens for a job.
class Desk
{
public:
    explicit Desk(const std::string& log) : Desk(logOf(log).ports.at(0)) { }
    explicit Desk(const RecordedPort& port) : board(port) { open(); }

    void open(int baudRate = ReplayedBoard::kJobBaudRate) { board.portIsAt(baudRate, now); }
    void close() { board.portIsAt(0, now); }
    /// Lets time pass in the steps that the board asks for; returns what comes meanwhile.
    std::string wait(Time time)
    {
        const Time end = now + time;
        std::string heard;
        for (auto due = board.due(); due && *due <= end; due = board.due()) {
            now = std::max(now, *due);
            heard += collect();
        }
        now = end;
        return heard + collect();
    }
    /// Says `line` and returns what comes within `time`.
    std::string say(const std::string& line, Time time = 50ms)
    {
        board.receive(line + '\n', ReplayedBoard::kJobBaudRate, now);
        return wait(time);
    }
    ReplayVerdict verdict() const { return board.verdict(); }

    ReplayedBoard board;
    Time now = 5s;
    std::vector<Emission::What> others; // what happened that was not bytes
    Time lastAt{}; // when the last thing happened

private:
    std::string collect()
    {
        std::string bytes;
        for (const Emission& emission : board.takeDue(now)) {
            lastAt = now;
            bytes += emission.bytes;
            if (emission.what != Emission::What::Bytes)
                others.push_back(emission.what);
        }
        return bytes;
    }
};

} // namespace

class TestReplay : public QObject
{
    Q_OBJECT

private slots:
    void answersTheSameLineAfterTheSameTime()
    {
        Desk desk(kQuestion);
        desk.wait(700ms);
        const Time asked = desk.now;
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR,D.01a*27BE\n");
        QCOMPARE(desk.lastAt - asked, Time(30ms));
        QVERIFY(desk.verdict().asRecorded);
        QCOMPARE(desk.verdict().linesPlayed, std::size_t(1));
        QVERIFY(desk.board.isFinished());
    }

    void endsALineWithoutLineFeedLikeABoardAndCountsFromItsLastByte()
    {
        Desk desk(kQuestion + wire(3s, "TX $D,0,1*FFF") + wire(3s + 20ms, "RX $DACK*1"));
        desk.say("$MVER*826A");
        const Time asked = desk.now;
        desk.board.receive("$D,0,1*FFF", kFast, asked);
        QCOMPARE(desk.wait(50ms), "$DACK*1\n");
        QCOMPARE(desk.lastAt - asked, Time(20ms));
    }

    void answersTheSameOfEqualLines()
    {
        Desk desk(kQuestion + wire(3s, "TX $E,1*1") + wire(5s, "TX $E,1*1")
            + wire(5s + 5ms, "RX $EACK*2"));
        desk.say("$MVER*826A");
        QCOMPARE(desk.say("$E,1*1", 1500ms), "");
        QCOMPARE(desk.say("$E,1*1"), "$EACK*2\n");
    }

    void keepsAnAnswerForAPortThatIsClosed()
    {
        Desk desk(kQuestion + wire(3s, "TX $BOOTLOADM*9FEC") + wire(3s + 300ms, "RX $Bootloader"));
        desk.say("$MVER*826A");
        desk.say("$BOOTLOADM*9FEC");
        desk.close();
        QCOMPARE(desk.wait(400ms), "");
        desk.open(kFast);
        const Time opened = desk.now;
        QCOMPARE(desk.wait(50ms), "$Bootloader\n");
        QCOMPARE(desk.lastAt - opened, kSetUp);
    }

    void countsWhatCameUnaskedFromTheOpening()
    {
        Desk desk(job(1s, "Job images") + wire(1s + 800ms, "RX $STATUS*1")
            + wire(2s, "TX $MVER*826A") + wire(3s, "RX $STATUS*1"));
        const Time opened = desk.now;
        QCOMPARE(desk.wait(900ms), "$STATUS*1\n");
        QCOMPARE(desk.lastAt - opened, Time(800ms));
        QCOMPARE(desk.say("$MVER*826A", 990ms), "");
        QCOMPARE(desk.wait(20ms), "$STATUS*1\n");
    }

    void answersAtOnceWhereALogHasNoTimes()
    {
        Desk desk("updater.job: Job images\nupdater.wire: ttyUSB0 TX $MVER*826A\n"
                  "updater.wire: ttyUSB0 RX $MVERR,D.01a*27BE\n");
        desk.wait(kSetUp);
        QCOMPARE(desk.say("$MVER*826A", Time::zero()), "$MVERR,D.01a*27BE\n");
    }

    void sendsWhatWasNoTextAsBytesThatAreNone()
    {
        Desk desk(kQuestion + wire(2s + 40ms, "RX a\xEF\xBF\xBD\xEF\xBF\xBD$FACK*1"));
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR,D.01a*27BE\na\xFF\xFF$FACK*1\n");
    }

    void saysTheLineThatIsAnotherOne()
    {
        Desk desk(kQuestion + wire(3s, "TX $A,1*CF00") + wire(3s, "RX $AACK,0*1"));
        desk.say("$MVER*826A");
        QCOMPARE(desk.say("$I,1,1*1"), "");
        QCOMPARE(
            desk.verdict().difference, "log line 4: \"$A,1*CF00\" was expected, \"$I,1,1*1\" came");
        QVERIFY(!desk.verdict().asRecorded);
        QVERIFY(desk.board.isFinished());
        QCOMPARE(desk.say("$A,1*CF00"), "");
    }

    void keepsTheAnswerBackOnceTheProgramDiffers()
    {
        Desk desk(kQuestion + wire(3s, "TX $A,1*CF00"));
        desk.say("$MVER*826A", 1ms);
        QCOMPARE(desk.say("$I,1,1*1"), "");
    }

    void showsOfALongLineThePlaceThatDiffers()
    {
        const std::string start = "$D,40" + std::string(150, '0');
        Desk desk(job(1s, "Job update") + wire(3s, "TX " + start + "55*1"));
        desk.say(start + "66*1");
        QVERIFY(desk.verdict().difference.find("055*1\" was expected") != std::string::npos);
        QVERIFY(desk.verdict().difference.find("066*1\" came") != std::string::npos);
    }

    void saysTheLineThatDidNotCome()
    {
        Desk desk(kQuestion + wire(3s, "TX $BOOTLOADM*9FEC"));
        desk.say("$MVER*826A");
        QVERIFY(!desk.board.isFinished());
        QCOMPARE(desk.verdict().difference,
            "log line 4: \"$BOOTLOADM*9FEC\" was expected, nothing came");
    }

    void awaitsNoLineThatWasNotSent()
    {
        Desk desk(kQuestion + wire(3s, "not sent $BOOTLOADM*9FEC"));
        desk.say("$MVER*826A");
        QVERIFY(desk.verdict().asRecorded);
    }

    void notesOneRepeatMore()
    {
        Desk desk(kQuestion + wire(3s, "TX $A,1*CF00"));
        desk.say("$MVER*826A", 1ms);
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR,D.01a*27BE\n");
        desk.say("$A,1*CF00");
        QVERIFY(desk.verdict().asRecorded);
        QCOMPARE(desk.verdict().notes,
            std::vector<std::string>{"log line 2: sent once more than then: \"$MVER*826A\""});
    }

    void differsAtTwoRepeatsMore()
    {
        Desk desk(kQuestion + wire(3s, "TX $A,1*CF00"));
        for (int times = 0; times < 3; ++times)
            desk.say("$MVER*826A");
        QVERIFY(desk.verdict().difference.ends_with("\"$MVER*826A\" came"));
    }

    void notesOneRepeatFewerAndGivesItsAnswer()
    {
        Desk desk(kQuestion + wire(3s, "TX $MVER*826A") + wire(3s, "RX $MVERR*1")
            + wire(4s, "TX $A,1*CF00"));
        desk.say("$MVER*826A");
        QCOMPARE(desk.say("$A,1*CF00"), "$MVERR*1\n");
        QVERIFY(desk.verdict().asRecorded);
        QCOMPARE(desk.verdict().notes,
            std::vector<std::string>{"log line 4: sent once fewer than then: \"$MVER*826A\""});
    }

    void differsAtTwoRepeatsFewer()
    {
        Desk desk(kQuestion + wire(3s, "TX $MVER*826A") + wire(4s, "TX $MVER*826A")
            + wire(5s, "TX $A,1*CF00"));
        desk.say("$MVER*826A");
        desk.say("$A,1*CF00");
        QVERIFY(desk.verdict().difference.starts_with("log line 4: "));
    }

    void overtakesTheProgramsRepeatAsTheAnswerDidThen()
    {
        Desk desk(job(1s, "Job images") + wire(2s, "TX $F,0*1") + wire(2s + 1700ms, "RX $FACK*1"));
        QCOMPARE(desk.say("$F,0*1", 1490ms), "$FACK*1\n");
    }

    void keepsTheTimeOfAnAnswerThatNoRepeatCouldMeet()
    {
        Desk desk(job(1s, "Job erase") + wire(2s, "TX $A,1*1") + wire(22s, "RX $AACK,1*1"));
        QCOMPARE(desk.say("$A,1*1", 19'990ms), "");
        QCOMPARE(desk.wait(20ms), "$AACK,1*1\n");
    }

    void unplugsWhenTheAdapterWasUnplugged()
    {
        Desk desk(kQuestion + job(2s + 500ms, "Port has gone \"ttyUSB0\""));
        const Time asked = desk.now;
        desk.say("$MVER*826A", 5s);
        QCOMPARE(desk.others, std::vector{Emission::What::Unplug});
        QCOMPARE(desk.lastAt - asked, Time(500ms));
    }

    void plugsInAgainWhereTheLogHasThePortAgain()
    {
        Desk desk(kQuestion + job(2s + 500ms, "Port has gone \"ttyUSB0\"") + job(20s, "Job erase")
            + wire(21s, "TX $MVER*826A") + wire(21s, "RX $MVERR*2"));
        desk.say("$MVER*826A", 5s);
        QCOMPARE(desk.others, (std::vector{Emission::What::Unplug, Emission::What::PlugIn}));
        desk.close();
        desk.open();
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR*2\n");
        QVERIFY(desk.verdict().asRecorded);
    }

    void beginsTheNextJobWhenThePortIsOpenedForOne()
    {
        Desk desk(kQuestion + wire(3s, "TX $BOOTLOADM*9FEC") + job(4s, "Dialog closed")
            + job(10s, "Job erase") + wire(11s, "TX $MVER*826A") + wire(11s, "RX $MVERR*2"));
        desk.say("$MVER*826A");
        desk.say("$BOOTLOADM*9FEC");
        desk.close();
        desk.open(kFast); // within the job
        desk.close();
        desk.open();
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR*2\n");
        QVERIFY(desk.verdict().asRecorded);
    }

    void doesNotPlayAJobTwiceInWhichThePortOnlyWent()
    {
        Desk desk(job(1s, "Job images") + job(1s + 100ms, "Port has gone \"ttyUSB0\"")
            + job(10s, "Job erase") + wire(11s, "TX $MVER*826A") + wire(11s, "RX $MVERR*2"));
        desk.wait(2s);
        desk.close();
        desk.open();
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR*2\n");
    }

    void takesADialogWithoutALineForNoJob()
    {
        Desk desk(kQuestion);
        desk.close();
        desk.open();
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR,D.01a*27BE\n");
        QVERIFY(desk.verdict().asRecorded);
    }

    void saysWhatAJobThatWasClosedTooEarlyLacks()
    {
        Desk desk(kQuestion + wire(3s, "TX $BOOTLOADM*9FEC") + job(4s, "Dialog closed")
            + job(10s, "Job erase") + wire(11s, "TX $MVER*826A"));
        desk.say("$MVER*826A");
        desk.close();
        desk.open();
        desk.say("$MVER*826A");
        QVERIFY(desk.verdict().difference.starts_with("log line 4: \"$BOOTLOADM"));
    }

    void isSilentAfterTheLogsEnd()
    {
        Desk desk(kQuestion);
        desk.say("$MVER*826A");
        QCOMPARE(desk.say("$BOOTLOADM*9FEC", 10s), "");
        QVERIFY(desk.verdict().asRecorded);
        QCOMPARE(desk.verdict().notes.size(), std::size_t(1));
    }

    void differsAtALineWhereTheLogHasNoneUntilTheDialogWasClosed()
    {
        const std::string closed = kQuestion + job(7s, "Dialog closed");
        Desk early(closed);
        early.say("$MVER*826A", 3s);
        early.say("$BOOTLOADM*9FEC");
        QVERIFY(early.verdict().difference.starts_with("log line 4: the dialog was closed"));
        Desk late(closed);
        late.say("$MVER*826A", 6s);
        late.say("$BOOTLOADM*9FEC");
        QVERIFY(late.verdict().asRecorded);
    }

    void playsEachPortOfALogByItself()
    {
        const RecordedLog log = logOf(job(1s, "Job images") + wire(2s, "TX $MVER*1")
            + stamped(2s, "updater.wire: COM5 TX $MVER*1") + wire(3s, "RX first")
            + stamped(3s, "updater.wire: COM5 RX second"));
        QCOMPARE(log.ports.size(), std::size_t(2));
        QCOMPARE(log.ports.at(1).name, "COM5");
        Desk second(log.ports.at(1));
        QCOMPARE(second.say("$MVER*1", 1s), "second\n");
    }

    void refusesAPortThatDidNotOpen()
    {
        Desk desk(job(1s, "Job images")
            + job(1s, "Could not open port \"ttyUSB0\" \"Permission denied\"")
            + wire(2s, "not sent $MVER*1") + job(3s, "Dialog closed"));
        desk.close();
        desk.wait(Time::zero());
        QCOMPARE(desk.others, std::vector{Emission::What::Refuse});
        QVERIFY(desk.verdict().asRecorded);
    }

    void refusesAPortOnlyAfterTheJobsThatHadIt()
    {
        Desk desk(kQuestion + job(9s, "Job erase")
            + job(9s, "Could not open port \"ttyUSB0\" \"Permission denied\""));
        desk.say("$MVER*826A");
        desk.close();
        desk.wait(600ms);
        desk.open(kFast);
        QVERIFY(desk.others.empty());
        desk.close();
        desk.wait(3s);
        QCOMPARE(desk.others, std::vector{Emission::What::Refuse});
    }

    void leavesOutAJobThatCouldNotOpenItsPort()
    {
        const RecordedLog log = logOf(job(1s, "Job images")
            + job(1s, "Could not open port \"ttyUSB0\" \"Permission denied\"")
            + wire(2s, "not sent $MVER*1") + kQuestion);
        QCOMPARE(log.ports.at(0).leftOut, std::vector<std::size_t>{2});
        QVERIFY(!log.ports.at(0).refused);
        Desk desk(log.ports.at(0));
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR,D.01a*27BE\n");
    }

    void playsALogThatIsCutAnywhereAsFarAsItGoes()
    {
        const std::string log = job(1s, "Annealing DB Updater 1.1.0") + kQuestion
            + wire(2s + 31ms, "TX $BOOTLOADM*9FEC") + wire(3s, "RX $Bootloader") + wire(3s, "TX $G")
            + wire(3s, "RX $GACK*1");
        for (std::size_t size = log.find('\n') + 1; size <= log.size(); ++size) {
            const RecordedLog cut = logOf(log.substr(0, size));
            if (cut.ports.empty())
                continue;
            Desk desk(cut.ports.at(0));
            for (const char* line : {"$MVER*826A", "$BOOTLOADM*9FEC", "$G"})
                desk.say(line, 2s);
            QVERIFY2(desk.verdict().asRecorded, desk.verdict().difference.c_str());
            QCOMPARE(desk.verdict().linesPlayed, desk.verdict().linesRecorded);
        }
    }

    void readsALogOfAnySystem()
    {
        std::string text = kQuestion;
        for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
            text.insert(at, 1, '\r');
        Desk desk(text);
        QCOMPARE(desk.say("$MVER*826A"), "$MVERR,D.01a*27BE\n");
    }

    void readsNoPortWhoseNameLeadsElsewhere()
    {
        QVERIFY(logOf(stamped(1s, "updater.wire: ../x TX $MVER*1")
            + stamped(1s, "updater.wire: .x TX $MVER*1") + stamped(1s, "updater.wire:  TX $"))
                    .ports.empty());
    }

    void readsNothingThatIsNotTheUpdaters()
    {
        for (const std::string& text : {std::string(), std::string("updater.wire: "),
                 std::string(1000, '\0'), stamped(1s, "default: hello"), std::string("\n\n\n")}) {
            std::istringstream stream(text);
            QVERIFY(!RecordedLog::read(stream));
        }
    }
};

static const RegisteredTest<TestReplay> registered(__FILE__);
#include "tst_replay.moc"
