#include "tests/support/TestProgram.h"
#include "tests/virtualboard/BoardDriver.h"

using namespace vboard;

namespace {

BoardOptions atLineRate()
{
    BoardOptions options;
    options.lineRate = true;
    options.times.boot = 0ms;
    return options;
}

} // namespace

class TestSerialLine : public QObject
{
    Q_OBJECT

private slots:
    void withoutLineRateNothingTakesTime()
    {
        BoardDriver driver;
        QCOMPARE(driver.ask("MVER"), std::string("$MVERR,D.01a"));
        QCOMPARE(driver.times, std::vector<Time>{Time::zero()});
    }

    void everyByteTakesTenBitTimesBothWays()
    {
        BoardDriver driver(atLineRate());
        // "$MVER*826A\n" there and "$MVERR,D.01a*27BE\n" back: 11 + 18 bytes at 19200 baud.
        const Time there(11 * 10 * 1'000'000 / 19200);
        const Time back(18 * 10 * 1'000'000 / 19200);
        QCOMPARE(driver.ask("MVER", there + back - 1us), std::string());
        driver.wait(1us);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$MVERR,D.01a"));
    }

    void linesQueueOnTheLine()
    {
        LinePace pace(true);
        QCOMPARE(pace.pass(96, 921600, Time::zero()), Time(1041));
        QCOMPARE(pace.pass(96, 921600, Time::zero()), Time(2082));
        QCOMPARE(pace.pass(96, 921600, Time(5000)), Time(6041));
    }

    void anAnswerWaitsForTheLatencyTimer()
    {
        BoardOptions options;
        options.adapterLatency = 16ms;
        BoardDriver driver(options);
        QCOMPARE(driver.ask("MVER", 15'999us), std::string());
        driver.wait(1us);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$MVERR,D.01a"));
    }

    void aFullPacketDoesNotWait()
    {
        AdapterBuffer adapter(16ms);
        QCOMPARE(adapter.take(std::string(61, 'x'), Time(0)), std::string());
        QCOMPARE(*adapter.due(), Time(16ms));
        QCOMPARE(adapter.take("y", Time(5000)), std::string(61, 'x') + 'y');
        QVERIFY(!adapter.due());
        QCOMPARE(adapter.take(std::string(63, 'z'), Time(6000)), std::string(62, 'z'));
        QCOMPARE(*adapter.due(), Time(6000) + Time(16ms));
        QCOMPARE(adapter.flush(), std::string("z"));
    }

    void twoShortAnswersShareAPacket()
    {
        BoardOptions options;
        options.adapterLatency = 16ms;
        BoardDriver driver(options);
        driver.send("MVER");
        driver.wait(10ms);
        driver.send("MVER");
        driver.wait(6ms);
        QCOMPARE(driver.times, std::vector<Time>{Time(16ms)});
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()),
            std::string("$MVERR,D.01a $MVERR,D.01a"));
    }

    void aShortChecksumStillEndsAfterSilenceAtLineRate()
    {
        BoardDriver driver(atLineRate());
        driver.capture();
        driver.wait(1s);
        driver.sendRaw(withoutLineFeed("E,1000,1"));
        const Time onTheLine(std::int64_t{14} * 10 * 1'000'000 / 921600);
        driver.wait(onTheLine + LineReader::kSilence - 1us);
        QCOMPARE(driver.board.statistics().received.count("E"), std::size_t(0));
        driver.wait(1us);
        QCOMPARE(driver.board.statistics().received.count("E"), std::size_t(1));
    }

private:
    static std::string withoutLineFeed(const std::string& body)
    {
        std::string line = withChecksum(body);
        line.pop_back();
        return line;
    }
};

static const RegisteredTest<TestSerialLine> registered(__FILE__);
#include "tst_serialline.moc"
