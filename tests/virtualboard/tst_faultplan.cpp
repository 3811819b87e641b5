#include "tests/support/TestProgram.h"
#include "tests/virtualboard/BoardDriver.h"

using namespace vboard;
using Dialogue = std::vector<Exchange>;

Q_DECLARE_METATYPE(Dialogue)

namespace {

constexpr auto kAnswer = "$MVERR,D.01a";

FaultRule rule(const std::string& text)
{
    std::string error;
    const auto parsed = FaultRule::parse(text, error);
    if (!parsed)
        throw std::runtime_error(error);
    return *parsed;
}

BoardOptions with(const std::string& text, std::uint64_t seed = 1)
{
    BoardOptions options;
    options.faults = {rule(text)};
    options.seed = seed;
    return options;
}

} // namespace

class TestFaultPlan : public QObject
{
    Q_OBJECT

private slots:
    void readsARule()
    {
        const FaultRule read = rule("delay-reply rate=0.2% word=DACK by=1.5s times=3");
        QCOMPARE(read.kind, FaultKind::DelayReply);
        QCOMPARE(read.rate, 0.002);
        QCOMPARE(read.word, std::string("DACK"));
        QCOMPARE(*read.length, Time(1500ms));
        QCOMPARE(read.times, 3UL);
        QVERIFY(!read.at);
        QVERIFY(!read.board);
        QCOMPARE(*rule("drop-reply at=1 board=0").board, 0UL);
        QCOMPARE(*rule("drop-reply at=120").at, 120UL);
        QVERIFY(!rule("silence at=3").length);
    }

    void refusesARuleThatIsNotUnderstood_data()
    {
        QTest::addColumn<QString>("text");
        for (const char* text : {"", "explode at=1", "drop-reply", "drop-reply at=0",
                 "drop-reply at=-1", "drop-reply at=1x", "drop-reply at", "drop-reply rate=0%",
                 "drop-reply rate=101%", "drop-reply rate=nan%", "drop-reply at=1 rate=1%",
                 "delay-reply at=1 by=300", "delay-reply at=1 by=-3ms", "delay-reply at=1 by=1e99s",
                 "garbage at=1 bytes=99999999", "drop-reply at=1 colour=red",
                 "drop-reply at=1 word=", "drop-reply at=1 board=", "drop-reply at=1 board=-1"})
            QTest::newRow(text) << QString::fromLatin1(text);
    }

    void refusesARuleThatIsNotUnderstood()
    {
        QFETCH(QString, text);
        std::string error;
        QVERIFY(!FaultRule::parse(text.toStdString(), error));
        QVERIFY(!error.empty());
    }

    void doesWhatTheRuleSays_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("captured");
        QTest::addColumn<Dialogue>("dialogue");
        const auto row = [](const char* text, bool captured, const Dialogue& lines) {
            QTest::newRow(text) << QString::fromLatin1(text) << captured << lines;
        };
        const Exchange answered{"MVER", kAnswer};
        const Exchange lost{"MVER", ""};
        const Exchange erased{"E,1000,1", "$EACK"};
        row("drop-command at=2", false, {answered, lost, answered});
        row("drop-reply at=1", false, {lost, answered});
        row("drop-reply rate=100% times=2", false, {lost, lost, answered});
        row("drop-command at=1 word=E", true, {{"E,1000,1", ""}, erased});
        row("drop-command at=1 word=E,2000", true,
            {{"E,20000,1", "$EACK"}, erased, {"E,2000,1", ""}, {"E,2000,1", "$EACK"}});
        row("delay-reply at=1 by=300ms", false, {{"MVER", "", 299ms}, {"", kAnswer, 1ms}});
        row("double-reply at=1 by=300ms", false,
            {{"MVER", kAnswer, 299ms}, {"", kAnswer, 1ms}, {"MVER", kAnswer, 1s}});
        row("announce at=1 word=E", true, {{"E,1000,1", "$Bootloader $EACK"}});
        row("silence at=1 for=2s", false, {{"MVER", "", 1999ms}, {"MVER", "", 1ms}, answered});
        row("silence at=1", false, {{"MVER", "", 3600s}, lost});
    }

    void doesWhatTheRuleSays()
    {
        QFETCH(QString, text);
        QFETCH(bool, captured);
        QFETCH(Dialogue, dialogue);
        BoardDriver driver(with(text.toStdString()));
        if (captured)
            driver.capture();
        QCOMPARE(driver.converse(dialogue), std::string());
    }

    void hearsACommandWhoseReplyIsDropped()
    {
        for (const bool heard : {false, true}) {
            BoardDriver driver(with(heard ? "drop-reply at=1" : "drop-command at=1"));
            QCOMPARE(driver.ask("MVER"), std::string());
            QCOMPARE(driver.board.statistics().received.count("MVER"), std::size_t(heard ? 1 : 0));
        }
    }

    void strikesTheSameForTheSameSeed()
    {
        const auto pattern = [](std::uint64_t seed) {
            BoardDriver driver(with("drop-reply rate=30%", seed));
            std::string result;
            for (int line = 0; line < 200; ++line)
                result += driver.ask("MVER").empty() ? '-' : 'x';
            return result;
        };
        QCOMPARE(pattern(7), pattern(7));
        QVERIFY(pattern(7) != pattern(8));
        const std::string once = pattern(7);
        const auto dropped = std::count(once.begin(), once.end(), '-');
        QVERIFY(dropped > 35 && dropped < 85);
    }

    void aCorruptedCommandIsNotObeyed()
    {
        for (std::uint64_t seed = 0; seed < 100; ++seed) {
            BoardDriver driver(with("corrupt-command at=1", seed));
            // A digit of the checksum can become its own lower-case letter, or the "*" a "j".
            const std::string answer = driver.ask("MVER");
            const bool sameMeaning = driver.board.statistics().badChecksums == 0
                && driver.board.statistics().rulesBroken.empty();
            QVERIFY(answer.empty() || sameMeaning);
            QCOMPARE(driver.ask("MVER"), std::string(kAnswer));
        }
    }

    void splitsAReplyIntoSingleBytes()
    {
        BoardDriver driver(with("split-reply at=1 gap=2ms"));
        driver.send("MVER");
        driver.wait(1s);
        QCOMPARE(driver.times.size(), withChecksum("MVERR,D.01a").size());
        QCOMPARE(driver.times.at(3) - driver.times.at(2), Time(2ms));
        QCOMPARE(driver.heard(), withChecksum("MVERR,D.01a"));
    }

    void joinsSeveralLinesIntoOneWrite()
    {
        BoardDriver driver(with("join-lines at=1 lines=3"));
        QCOMPARE(driver.ask("MVER"), std::string("$NOTE,02 $NOTE,01 ") + kAnswer);
        QCOMPARE(driver.times.size(), std::size_t(1));
    }

    void sendsGarbageBeforeTheReply()
    {
        BoardDriver driver(with("garbage at=1 bytes=500"));
        driver.send("MVER");
        const std::string heard = driver.heard();
        const std::string answer = withChecksum("MVERR,D.01a");
        QCOMPARE(heard.size(), 500 + answer.size());
        QCOMPARE(heard.substr(500), answer);
    }

    void sendsALineThatIsTooLong()
    {
        BoardDriver driver(with("long-line at=1 bytes=3000"));
        driver.send("MVER");
        QCOMPARE(driver.heard(), std::string(3000, 'x') + '\n' + withChecksum("MVERR,D.01a"));
    }

    void aRestartLosesThePageAndTheImageThatWereBeingSent()
    {
        BoardDriver driver(with("restart at=1 word=P"));
        driver.capture();
        driver.ask("I,03,02,A,1A");
        driver.ask(BoardDriver::block(0, 256));
        QCOMPARE(driver.programPage(0x1000), std::string());
        QCOMPARE(driver.board.runs(), Runs::Nothing);
        driver.wait(OwnTimes().boot);
        // Half a firmware: the bootloader asks for it again.
        QCOMPARE(driver.board.runs(), Runs::Bootloader);
        QCOMPARE(driver.board.flash().state(0), PageState::Erased);
        QVERIFY(driver.board.images().images().empty());
        driver.heard();
        QCOMPARE(driver.ask(BoardDriver::dataLine(0, 1)), std::string());
        QCOMPARE(driver.programPage(0x1000), std::string("$PACK"));
    }

    void aRestartWithAWholeFirmwareStartsTheApplication()
    {
        BoardDriver driver(with("restart at=1 word=I"));
        driver.capture();
        driver.ask("I,03,02,A,1A", OwnTimes().boot);
        QCOMPARE(driver.board.runs(), Runs::Application);
    }

    void unplugsAndPlugsInAgain()
    {
        BoardDriver driver(with("unplug at=1 for=2s"));
        driver.send("MVER");
        QCOMPARE(driver.others.size(), std::size_t(1));
        QCOMPARE(driver.others.front().what, Emission::What::Unplug);
        driver.wait(2s);
        QCOMPARE(driver.others.size(), std::size_t(2));
        QCOMPARE(driver.others.back().what, Emission::What::PlugIn);
        QCOMPARE(driver.others.back().due, Time(2s));
    }

    void saysWhichFaultsTookPlaceAndWhen()
    {
        BoardDriver driver(with("drop-reply at=2"));
        driver.ask("MVER", 10ms);
        QVERIFY(driver.board.appliedFaults().empty());
        driver.ask("MVER");
        QCOMPARE(driver.board.appliedFaults().size(), std::size_t(1));
        const AppliedFault& struck = driver.board.appliedFaults().front();
        QCOMPARE(struck.at, Time(10ms));
        QCOMPARE(struck.rule, std::string("drop-reply at=2"));
        QCOMPARE(struck.line, std::string(kAnswer));
    }

    void tellsEveryLineToTheObserver()
    {
        BoardDriver driver(with("drop-reply at=2"));
        std::string seen;
        driver.board.setObserver([&](const RecordedLine& line) {
            seen += line.way == RecordedLine::Way::ToBoard ? '>'
                : line.way == RecordedLine::Way::FromBoard ? '<'
                                                           : '#';
        });
        driver.send("MVER");
        driver.send("MVER");
        driver.sendRaw("$MVER*1\n");
        QCOMPARE(seen, std::string("><><#>#"));
    }
};

static const RegisteredTest<TestFaultPlan> registered(__FILE__);
#include "tst_faultplan.moc"
