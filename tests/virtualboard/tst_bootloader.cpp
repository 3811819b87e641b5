#include "tests/support/TestProgram.h"
#include "tests/virtualboard/BoardDriver.h"

using namespace vboard;

namespace {

BoardOptions holding(std::uint32_t number, std::uint32_t version)
{
    BoardOptions options;
    options.held = {{number, version}};
    return options;
}

BoardOptions losing(const std::string& word)
{
    BoardOptions options;
    std::string error;
    options.faults.push_back(FaultRule::parse("drop-command at=1 word=" + word, error).value());
    return options;
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

    // Firmware

    void programsAPageThatWasErasedAndFilled()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.programPage(0x1000, 0x42), std::string("$PACK"));
        QCOMPARE(driver.board.flash().state(0), PageState::Programmed);
        QCOMPARE(driver.board.flash().page(0), std::string_view(std::string(0x1000, '\x42')));
        QCOMPARE(driver.board.flash().state(1), PageState::Untouched);
    }

    void takesTheLastPageAndNoneBeyondOrBefore()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.programPage(0xDF000, 1), std::string("$PACK"));
        QCOMPARE(driver.ask("E,E0000,1"), std::string());
        QCOMPARE(driver.ask("E,0,1"), std::string());
        QCOMPARE(driver.ask("E,1800,1"), std::string());
        QCOMPARE(driver.ask("E,1000,2"), std::string());
        QCOMPARE(driver.ask("E,FFFFFFFFF,1"), std::string());
        QCOMPARE(driver.board.statistics().rulesBroken.size(), std::size_t(1));
        QCOMPARE(driver.board.statistics().rulesBroken.begin()->second, 5UL);
    }

    void dataLineNeedsAnErasedPage()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.ask(BoardDriver::dataLine(0, 1)), std::string());
        driver.programPage(0x1000, 1);
        QCOMPARE(driver.ask(BoardDriver::dataLine(0, 2)), std::string());
        QCOMPARE(driver.board.flash().page(0).at(0), '\1');
    }

    void dataLineOutsideThePageOrOfAnotherSizeIsRefused()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("E,1000,1");
        QCOMPARE(driver.ask(BoardDriver::dataLine(0x1000, 1)), std::string());
        QCOMPARE(driver.ask(BoardDriver::dataLine(0x20, 1)), std::string());
        QCOMPARE(driver.ask("D,0" + BoardDriver::bytes(63, 1)), std::string());
        QCOMPARE(driver.ask("D,0" + BoardDriver::bytes(65, 1)), std::string());
        QCOMPARE(driver.ask("D,0" + BoardDriver::bytes(63, 1) + ",XY"), std::string());
        QCOMPARE(driver.ask(BoardDriver::dataLine(0xFC0, 1)), std::string("$DACK"));
    }

    void pageWithAMissingLineIsNotProgrammed()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("E,1000,1");
        for (std::uint32_t offset = 64; offset < 0x1000; offset += 64)
            QCOMPARE(driver.ask(BoardDriver::dataLine(offset, 7)), std::string("$DACK"));
        QCOMPARE(driver.ask("P,1000,1000"), std::string());
        QCOMPARE(driver.ask(BoardDriver::dataLine(0, 7)), std::string("$DACK"));
        QCOMPARE(driver.ask("P,2000,1000"), std::string());
        QCOMPARE(driver.ask("P,1000,800"), std::string());
        QCOMPARE(driver.ask("P,1000,1000"), std::string("$PACK"));
    }

    void repeatedLinesAreAnsweredAgain()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.ask("E,1000,1"), std::string("$EACK"));
        QCOMPARE(driver.ask("E,1000,1"), std::string("$EACK"));
        QCOMPARE(driver.ask(BoardDriver::dataLine(0, 1)), std::string("$DACK"));
        QCOMPARE(driver.ask(BoardDriver::dataLine(0, 1)), std::string("$DACK"));
        for (std::uint32_t offset = 64; offset < 0x1000; offset += 64)
            driver.ask(BoardDriver::dataLine(offset, 1));
        QCOMPARE(driver.ask("P,1000,1000"), std::string("$PACK"));
        QCOMPARE(driver.ask("P,1000,1000"), std::string("$PACK"));
        QCOMPARE(driver.board.statistics().received.at("D").repeated, 1UL);
        QCOMPARE(driver.board.statistics().received.at("P").repeated, 1UL);
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

    // Images

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

    void storesAnImageByItsBlocks()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.ask("I,03,02,A,1A"), std::string("$IACK,0")); // 520 bytes
        QCOMPARE(driver.ask(BoardDriver::block(0, 256)), std::string("$FACK,00,0"));
        QCOMPARE(driver.ask(BoardDriver::block(1, 256)), std::string("$FACK,01,0"));
        QVERIFY(!driver.board.images().images().at(3).complete);
        QCOMPARE(driver.ask(BoardDriver::block(2, 8)), std::string("$FACK,02,0"));
        const StoredImage& image = driver.board.images().images().at(3);
        QVERIFY(image.complete);
        QCOMPARE(image.version, 2U);
        QCOMPARE(image.width, 10U);
        QCOMPARE(image.height, 26U);
        QCOMPARE(image.data, std::string(520, '\xAB'));
    }

    void refusesAnImageWhoseVersionIsHeld()
    {
        BoardDriver driver(holding(3, 2));
        driver.capture();
        QCOMPARE(driver.ask("I,03,02,A,1A"), std::string("$IACK,1"));
        QCOMPARE(driver.ask("I,03,03,A,1A"), std::string("$IACK,0"));
        QCOMPARE(driver.ask("I,04,02,A,1A"), std::string("$IACK,0"));
        QCOMPARE(driver.board.statistics().imagesRefused, 1UL);
    }

    void anImageThatIsNotCompleteIsWantedAgain()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("I,03,02,A,1A");
        driver.ask(BoardDriver::block(0, 256));
        QCOMPARE(driver.ask("I,03,02,A,1A"), std::string("$IACK,0"));
        QCOMPARE(driver.ask(BoardDriver::block(1, 256)), std::string());
        QCOMPARE(driver.ask(BoardDriver::block(0, 256)), std::string("$FACK,00,0"));
    }

    void blocksOutOfOrderAreNotAnswered()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.ask(BoardDriver::block(0, 256)), std::string());
        driver.ask("I,03,02,A,1A");
        QCOMPARE(driver.ask(BoardDriver::block(1, 256)), std::string());
        QCOMPARE(driver.ask(BoardDriver::block(0, 257)), std::string());
        QCOMPARE(driver.ask(BoardDriver::block(0, 200)), std::string("$FACK,00,0"));
        QCOMPARE(driver.ask(BoardDriver::block(1, 256)), std::string());
    }

    void aRepeatedBlockIsAnsweredAndStoredOnce()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("I,03,02,A,1A");
        driver.ask(BoardDriver::block(0, 256));
        QCOMPARE(driver.ask(BoardDriver::block(0, 256)), std::string("$FACK,00,0"));
        QCOMPARE(driver.ask(BoardDriver::block(0, 256, 0x11)), std::string());
        QCOMPARE(driver.board.images().images().at(3).data.size(), std::size_t(256));
    }

    void blockNumbersGrowPastTwoDigits()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("I,00,01,154,E6");
        for (std::uint32_t number = 0; number < 610; ++number)
            driver.ask(BoardDriver::block(number, 256));
        QCOMPARE(driver.ask(BoardDriver::block(0x262, 240)), std::string("$FACK,262,0"));
        QVERIFY(driver.board.images().images().at(0).complete);
    }

    void anEmptyImageIsCompleteWithItsEmptyBlock()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("I,05,01,00,00");
        QCOMPARE(driver.ask("F,00"), std::string("$FACK,00,0"));
        QVERIFY(driver.board.images().images().at(5).complete);
    }

    void anImageBeyondAllMemoryIsRefused()
    {
        BoardDriver driver;
        driver.capture();
        QCOMPARE(driver.ask("I,05,01,FFFFFFFF,FFFFFFFF"), std::string());
    }

    void erasesAllImages()
    {
        BoardDriver driver(holding(1, 1));
        driver.capture();
        QCOMPARE(driver.ask("A,1"), std::string("$AACK,0"));
        driver.wait(999ms);
        QCOMPARE(driver.ask("A,1"), std::string("$AACK,0")); // does not start over
        QCOMPARE(driver.board.images().images().size(), std::size_t(1));
        driver.wait(1ms);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$AACK,1"));
        QVERIFY(driver.board.images().images().empty());
        QCOMPARE(driver.ask("A,2"), std::string());
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
        driver.programPage(0x1000, 1);
        driver.ask("X", OwnTimes().boot);
        QCOMPARE(driver.board.runs(), Runs::Bootloader);
        driver.heard();
        driver.wait(500ms);
        QCOMPARE(driver.heard(), std::string("$Bootloader\n"));
    }
};

static const RegisteredTest<TestBootloader> registered(__FILE__);
#include "tst_bootloader.moc"
