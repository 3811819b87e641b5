#include "tests/support/TestProgram.h"
#include "tests/virtualboard/BoardDriver.h"

using namespace vboard;

class TestBoard : public QObject
{
    Q_OBJECT

private slots:
    void checksumHasItsPublishedCheckValue()
    {
        QCOMPARE(checksum("123456789"), std::uint16_t(0x6F91));
        QCOMPARE(checksum("A,1"), std::uint16_t(0xCF00));
        QCOMPARE(withChecksum("A,1"), std::string("$A,1*CF00\n"));
    }

    // The application

    void applicationSaysItsVersion()
    {
        BoardOptions options;
        options.version = "D.02n";
        BoardDriver driver(options);
        QCOMPARE(driver.ask("MVER"), std::string("$MVERR,D.02n"));
    }

    void applicationHearsNothingAtTheBootloadersRate()
    {
        BoardDriver driver;
        driver.baudRate = 921600;
        driver.send("MVER");
        driver.baudRate = 19200;
        QCOMPARE(driver.heard(), std::string());
        QVERIFY(driver.board.statistics().bytesAtWrongRate > 0);
        QCOMPARE(driver.ask("MVER"), std::string("$MVERR,D.01a"));
    }

    void goesIntoTheBootloaderAfterTheBootTime()
    {
        BoardOptions options;
        options.times.boot = 200ms;
        BoardDriver driver(options);
        driver.sendRaw("$BOOTLOADM\n"); // has no checksum
        driver.wait(1s);
        QCOMPARE(driver.board.runs(), Runs::Application);
        driver.send("BOOTLOADM");
        driver.wait(199ms);
        QCOMPARE(driver.board.runs(), Runs::Nothing);
        driver.send("MVER"); // is not heard
        driver.wait(1ms);
        QCOMPARE(driver.board.runs(), Runs::Bootloader);
        QCOMPARE(driver.board.baudRate(), 921600);
        QCOMPARE(driver.board.statistics().received.count("MVER"), std::size_t(0));
    }

    // Lines

    void shortChecksumEndsAfterSilence()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("E,1000,1");
        driver.sendRaw(lineWithShortChecksum());
        driver.wait(2999us);
        QCOMPARE(driver.heard(), std::string());
        driver.wait(1us);
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$DACK"));
    }

    void shortChecksumEndsAtTheNextDollar()
    {
        BoardDriver driver;
        driver.capture();
        driver.ask("E,1000,1");
        driver.sendRaw(lineWithShortChecksum() + withChecksum(BoardDriver::dataLine(64, 1)));
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$DACK $DACK"));
    }

    void silenceBeforeTheChecksumEndsNothing()
    {
        BoardDriver driver;
        const std::string line = withChecksum("MVER");
        driver.sendRaw(line.substr(0, 4));
        driver.wait(50ms);
        driver.sendRaw(line.substr(4));
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), std::string("$MVERR,D.01a"));
    }

    void picksLinesOutOfWhatArrives_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<unsigned long>("badChecksums");
        QTest::addColumn<unsigned long>("strayBytes");
        QTest::addColumn<unsigned long>("overlongLines");
        const QByteArray line = QByteArray::fromStdString(withChecksum("MVER"));
        const QByteArray answer("$MVERR,D.01a");
        QTest::newRow("two lines in one read")
            << line + line << answer + ' ' + answer << 0UL << 0UL << 0UL;
        QTest::newRow("noise before a line")
            << QByteArray("\0\xFF\n xyz", 7) + line << answer << 0UL << 7UL << 0UL;
        QTest::newRow("an endless line") << '$' + QByteArray(100'000, 'x') + '\n' + line << answer
                                         << 0UL << 98'001UL // all behind the longest line
                                         << 1UL;
        QTest::newRow("a wrong checksum")
            << QByteArray("$MVER*0000\n") << QByteArray() << 1UL << 0UL << 0UL;
        QTest::newRow("no checksum") << QByteArray("$MVER\n") << QByteArray() << 0UL << 0UL << 0UL;
    }

    void picksLinesOutOfWhatArrives()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, answer);
        QFETCH(unsigned long, badChecksums);
        QFETCH(unsigned long, strayBytes);
        QFETCH(unsigned long, overlongLines);
        BoardDriver driver;
        driver.sendRaw(bytes.toStdString());
        QCOMPARE(BoardDriver::withoutChecksums(driver.heard()), answer.toStdString());
        const Statistics& statistics = driver.board.statistics();
        QCOMPARE(statistics.badChecksums, badChecksums);
        QCOMPARE(static_cast<unsigned long>(statistics.strayInput.strayBytes), strayBytes);
        QCOMPARE(static_cast<unsigned long>(statistics.strayInput.overlongLines), overlongLines);
    }

    void unknownCommandsAreCounted()
    {
        BoardDriver driver;
        QCOMPARE(driver.ask("NONSENSE"), std::string());
        driver.capture();
        QCOMPARE(driver.ask("C,1000,DFFFF"), std::string());
        QCOMPARE(driver.board.statistics().rulesBroken.size(), std::size_t(2));
    }

    // The second kind

    void theServiceKindReportsItsStatusEverySecond()
    {
        BoardOptions options;
        options.kind = Kind::Service;
        BoardDriver driver(options);
        driver.wait(2s);
        QCOMPARE(driver.heard(), withChecksum("STATUS") + withChecksum("STATUS"));
        QCOMPARE(driver.ask("MVER"), std::string());
        driver.sendRaw("$V" + withChecksum("BOOTLOADM"));
        driver.wait(OwnTimes().boot);
        driver.baudRate = 115200;
        QCOMPARE(driver.board.baudRate(), 115200);
        driver.wait(500ms);
        QCOMPARE(driver.heard(), std::string("$Bootloader\n"));
    }

    // Figures

    void measuresTheTurnaroundFromReplyToNextLine()
    {
        BoardDriver driver;
        driver.send("MVER");
        driver.wait(40us);
        driver.send("MVER");
        driver.wait(60us);
        driver.send("MVER");
        const Statistics& statistics = driver.board.statistics();
        QCOMPARE(statistics.turnarounds.size(), std::size_t(2));
        QCOMPARE(*statistics.turnaround(0.5), Time(40us));
        QCOMPARE(*statistics.turnaround(0.99), Time(60us));
    }

private:
    /// A data line whose checksum is below 0x1000: without leading zero or line feed, as the
    /// updater sends it.
    static std::string lineWithShortChecksum()
    {
        for (unsigned byte = 0;; ++byte) {
            const auto line
                = withChecksum(BoardDriver::dataLine(0, static_cast<unsigned char>(byte)));
            const std::size_t digits = line.find('*') + 1;
            if (line.at(digits) != '0')
                continue;
            const std::size_t first = line.find_first_not_of('0', digits);
            return line.substr(0, digits) + line.substr(first, line.size() - 1 - first);
        }
    }
};

static const RegisteredTest<TestBoard> registered(__FILE__);
#include "tst_board.moc"
