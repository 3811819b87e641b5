#include "tests/support/TestProgram.h"
#include "tests/virtualboard/BoardDriver.h"

using namespace vboard;

using Dialogue = std::vector<Exchange>;

Q_DECLARE_METATYPE(Dialogue)

namespace {

BoardOptions losing(const std::string& word)
{
    BoardOptions options;
    std::string error;
    options.faults.push_back(FaultRule::parse("drop-command at=1 word=" + word, error).value());
    return options;
}

std::string data(std::uint32_t offset)
{
    return BoardDriver::dataLine(offset, 1);
}

std::string block(std::uint32_t number, int size)
{
    return BoardDriver::block(number, size);
}

Dialogue operator+(Dialogue first, const Dialogue& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// Blocks of 256 bytes up to `last` - 1.
Dialogue blocksBefore(std::uint32_t last)
{
    Dialogue blocks;
    for (std::uint32_t number = 0; number < last; ++number)
        blocks.push_back({block(number, 256), "$FACK," + hex(number) + ",0"});
    return blocks;
}

} // namespace

class TestBootloader : public QObject
{
    Q_OBJECT

private slots:
    // Capturing

    void bootloaderAnnouncesItselfEvery500MsUntilCaptured()
    {
        BoardDriver driver;
        driver.send("BOOTLOADM");
        driver.baudRate = 921600;
        driver.wait(OwnTimes().boot + 1000ms);
        QCOMPARE(driver.heard(), std::string("$Bootloader\n$Bootloader\n$Bootloader\n"));
        driver.sendRaw("$G\n");
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$GACK"));
        driver.wait(2s);
        QCOMPARE(driver.heard(), std::string());
    }

    void aCommandCapturesWhenGWasLost()
    {
        BoardDriver driver;
        driver.send("BOOTLOADM");
        driver.baudRate = 921600;
        driver.wait(OwnTimes().boot);
        QCOMPARE(driver.ask("E,1000,1"), std::string("$EACK"));
        driver.wait(2s);
        QCOMPARE(driver.heard(), std::string());
    }

    void aLeftoverOfACutOffJobDoesNotCapture()
    {
        BoardDriver driver;
        driver.send("BOOTLOADM");
        driver.baudRate = 921600;
        driver.wait(OwnTimes().boot);
        QCOMPARE(driver.ask(BoardDriver::dataLine(0x140, 1)), std::string());
        driver.heard();
        driver.wait(500ms);
        QCOMPARE(driver.heard(), std::string("$Bootloader\n"));
    }

    // What it answers, and what it does not

    void answersWhatMakesSense_data()
    {
        QTest::addColumn<Dialogue>("dialogue");
        const auto row
            = [](const char* name, const Dialogue& lines) { QTest::newRow(name) << lines; };
        row("pages of the firmware area alone",
            {{"E,1000,1", "$EACK"}, {"E,DF000,1", "$EACK"}, {"E,E0000,1", ""}, {"E,0,1", ""},
                {"E,1800,1", ""}, {"E,1000,2", ""}, {"E,FFFFFFFFF,1", ""}});
        row("data before a page is erased", {{data(0), ""}});
        row("data after a page is programmed",
            Dialogue{{"E,1000,1", "$EACK"}} + BoardDriver::dataFrom(0)
                + Dialogue{{"P,1000,1000", "$PACK"}, {data(0), ""}});
        row("data outside the page or of another size",
            {{"E,1000,1", "$EACK"}, {data(0x1000), ""}, {data(0x20), ""},
                {"D,0" + BoardDriver::bytes(63, 1), ""}, {"D,0" + BoardDriver::bytes(65, 1), ""},
                {"D,0" + BoardDriver::bytes(63, 1) + ",XY", ""}, {data(0xFC0), "$DACK"}});
        row("a page with a missing line",
            Dialogue{{"E,1000,1", "$EACK"}} + BoardDriver::dataFrom(64)
                + Dialogue{{"P,1000,1000", ""}, {data(0), "$DACK"}, {"P,2000,1000", ""},
                    {"P,1000,800", ""}, {"P,1000,1000", "$PACK"}});
        row("repeated lines",
            Dialogue{{"E,1000,1", "$EACK"}, {"E,1000,1", "$EACK"}, {data(0), "$DACK"}}
                + BoardDriver::dataFrom(0)
                + Dialogue{{"P,1000,1000", "$PACK"}, {"P,1000,1000", "$PACK"}});
        row("an image whose version is held",
            {{"I,07,02,A,1A", "$IACK,1"}, {"I,07,03,A,1A", "$IACK,0"},
                {"I,08,02,A,1A", "$IACK,0"}});
        row("an image that is not complete is wanted again",
            {{"I,03,02,A,1A", "$IACK,0"}, {block(0, 256), "$FACK,00,0"},
                {"I,03,02,A,1A", "$IACK,0"}, {block(1, 256), ""}, {block(0, 256), "$FACK,00,0"}});
        row("blocks out of order",
            {{block(0, 256), ""}, {"I,03,02,A,1A", "$IACK,0"}, {block(1, 256), ""},
                {block(0, 257), ""}, {block(0, 200), "$FACK,00,0"}, {block(1, 256), ""}});
        row("a repeated block, and another in its place",
            {{"I,03,02,A,1A", "$IACK,0"}, {block(0, 256), "$FACK,00,0"},
                {block(0, 256), "$FACK,00,0"}, {BoardDriver::block(0, 256, 0x11), ""}});
        row("more blocks than two digits count",
            Dialogue{{"I,00,01,154,E6", "$IACK,0"}} + blocksBefore(0x262)
                + Dialogue{{block(0x262, 240), "$FACK,262,0"}, {"I,00,01,154,E6", "$IACK,1"}});
        row("an empty image is complete with its empty block",
            {{"I,05,01,00,00", "$IACK,0"}, {"F,00", "$FACK,00,0"}, {"I,05,01,00,00", "$IACK,1"}});
        row("an image beyond all memory", {{"I,05,01,FFFFFFFF,FFFFFFFF", ""}});
        row("anything else to erase", {{"A,2", ""}});
    }

    void answersWhatMakesSense()
    {
        QFETCH(Dialogue, dialogue);
        BoardOptions options;
        options.held = {{7, 2}};
        BoardDriver driver(options);
        driver.capture();
        QCOMPARE(driver.converse(dialogue), std::string());
        const auto unanswered = static_cast<unsigned long>(std::count_if(dialogue.begin(),
            dialogue.end(), [](const Exchange& exchange) { return exchange.answer.empty(); }));
        unsigned long broken = 0;
        for (const auto& [rule, times] : driver.board.statistics().rulesBroken)
            broken += times;
        QCOMPARE(broken, unanswered);
    }

    void countsRepeatedLinesAndRefusedImages()
    {
        BoardOptions options;
        options.held = {{7, 2}};
        BoardDriver driver(options);
        driver.capture();
        QCOMPARE(driver.converse({{"E,1000,1", "$EACK"}, {data(0), "$DACK"}, {data(0), "$DACK"},
                     {"I,07,02,A,1A", "$IACK,1"}}),
            std::string());
        QCOMPARE(driver.board.statistics().received.at("D").repeated, 1UL);
        QCOMPARE(driver.board.statistics().imagesRefused, 1UL);
    }

    void ownTimesDelayTheAnswers()
    {
        BoardOptions options;
        options.times.erase = 45ms;
        BoardDriver driver(options);
        driver.capture();
        QCOMPARE(driver.ask("E,1000,1", 44ms), std::string());
        driver.wait(1ms);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$EACK"));
    }

    void takesItsTimeOverAnImagesLastBlock()
    {
        BoardOptions options;
        options.times.imageEnd = 2s;
        BoardDriver driver(options);
        driver.capture();
        driver.ask("I,03,02,10,09"); // 288 bytes
        QCOMPARE(driver.ask(BoardDriver::block(0, 256)), std::string("$FACK,00,0"));
        QCOMPARE(driver.ask(BoardDriver::block(1, 32)), std::string());
        // What comes meanwhile is answered after it.
        driver.send("I,03,02,10,09");
        driver.wait(1s);
        QCOMPARE(driver.heard(), std::string());
        driver.wait(1s);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$FACK,01,0 $IACK,1"));
    }

    void erasesAllImages()
    {
        BoardOptions options;
        options.held = {{1, 1}};
        BoardDriver driver(options);
        driver.capture();
        QCOMPARE(driver.ask("A,1"), std::string("$AACK,0"));
        driver.wait(999ms);
        QCOMPARE(driver.ask("A,1"), std::string("$AACK,0")); // does not start over
        QCOMPARE(driver.board.images().images().size(), std::size_t(1));
        driver.wait(1ms);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$AACK,1"));
        QVERIFY(driver.board.images().images().empty());
    }

    // The end

    void startsItsApplicationAfterX()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.ask("X"), std::string());
        QVERIFY(driver.board.isFinished());
        driver.wait(OwnTimes().boot);
        driver.baudRate = 19200;
        QCOMPARE(driver.ask("MVER"), std::string("$MVERR,D.01a"));
    }

    void staysInTheBootloaderWithoutX()
    {
        BoardDriver driver(losing("X"));
        driver.capture();
        driver.ask("X", OwnTimes().boot);
        QVERIFY(driver.board.isFinished());
        QCOMPARE(driver.board.runs(), Runs::Bootloader);
        driver.wait(10s);
        QCOMPARE(driver.heard(), std::string());
    }

    void staysInTheBootloaderWithHalfAFirmware()
    {
        BoardDriver driver;
        driver.capture();
        driver.programPage(0x1000);
        driver.ask("X", OwnTimes().boot);
        QCOMPARE(driver.board.runs(), Runs::Bootloader);
        driver.heard();
        driver.wait(500ms);
        QCOMPARE(driver.heard(), std::string("$Bootloader\n"));
    }
};

static const RegisteredTest<TestBootloader> registered(__FILE__);
#include "tst_bootloader.moc"
