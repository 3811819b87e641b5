// Receiving: how bytes become lines, and what the service makes of a line. The checksums in here
// were computed with another implementation.

#include "tests/serial/ServiceFixture.h"
#include "tests/support/TestProgram.h"

namespace {

constexpr auto kStatus = "$STATUS*3BC1\n";
constexpr auto kAnswer = "$BOOTLOADM*9FEC\n";

QString message(const QByteArray& line)
{
    return QStringLiteral("GotMessage ") + QString::fromUtf8(line);
}

QString messageNoCrc(const QByteArray& line)
{
    return QStringLiteral("GotMessageNoCRC ") + QString::fromUtf8(line);
}

QStringList bothMessages(const QByteArray& line)
{
    return {messageNoCrc(line), message(line)};
}

} // namespace

class TestServiceLines : public QObject
{
    Q_OBJECT

private slots:
    // Bytes become lines.
    void deliversTwoLinesOfOneReadInOrder()
    {
        ServiceFixture link;
        link.receive("$ONE\n$TWO*3834\n$V*3834\n$THREE\n");
        QCOMPARE(link.takeSignals(),
            bothMessages("$ONE\n") << message("$V*3834\n") << bothMessages("$THREE\n"));
        QCOMPARE(link.probe.rxIndex, qint16(0));
    }

    void deliversALineThatIsSplitOverReadsOnce()
    {
        ServiceFixture link;
        link.receive("$STA");
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.rxIndex, qint16(4));
        link.receive("TUS*3BC1");
        QVERIFY(link.takeSignals().isEmpty());
        link.receive("\n");
        QCOMPARE(link.takeSignals(), QStringList(message(kStatus)));
    }

    void nothingToReadIsNoLine()
    {
        ServiceFixture link;
        link.service.SerialGotData();
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.rxIndex, qint16(0));
    }

    void deliversALineWhoseLineFeedComesAt_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<QByteArray>("checksum");
        QTest::newRow("996") << 996 << QByteArray("B92C");
        QTest::newRow("997") << 997 << QByteArray("1418");
        QTest::newRow("998") << 998 << QByteArray("6312");
    }

    void deliversALineWhoseLineFeedComesAt()
    {
        QFETCH(int, position);
        QFETCH(QByteArray, checksum);
        const QByteArray checked = '$' + QByteArray(position - 6, 'x') + '*' + checksum + '\n';
        const QByteArray unchecked = QByteArray(position - 1, 'x') + "$\n";
        QCOMPARE(checked.indexOf('\n'), position);

        ServiceFixture link;
        link.receive(checked);
        QCOMPARE(link.takeSignals(), QStringList(message(checked)));
        link.receive(unchecked);
        QCOMPARE(link.takeSignals(), bothMessages(unchecked));
        link.receive(kStatus);
        QCOMPARE(link.takeSignals(), QStringList(message(kStatus)));
        QCOMPARE(link.probe.secondaryVersion, QStringLiteral("1.00a"));
        QVERIFY(!link.probe.ignoreInput);
    }

    void aLineFeedInTheLastByteLeavesNothingOfTheLine_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("with a checksum") << '$' + QByteArray(993, 'x') + "*CC3F\n";
        QTest::newRow("without") << '$' + QByteArray(998, 'x') + '\n';
        QTest::newRow("dollar further on") << "xx$" + QByteArray(996, 'x') + '\n';
    }

    void aLineFeedInTheLastByteLeavesNothingOfTheLine()
    {
        QFETCH(QByteArray, line);
        QCOMPARE(line.size(), 1000);
        ServiceFixture link;
        link.receive(line);
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.crcLineCount, 0);
        QCOMPARE(link.probe.rxBuffer[0], '\0');
        QCOMPARE(link.probe.rxBuffer[1], '\0');
        QCOMPARE(link.probe.rxBuffer[999], '\n');
        link.receive(kStatus);
        QCOMPARE(link.takeSignals(), QStringList(message(kStatus)));
    }

    void aLongerLineOverwritesItsOwnStart()
    {
        ServiceFixture link;
        link.receive(QByteArray(1000, 'x') + kStatus);
        QCOMPARE(link.takeSignals(), QStringList(message(kStatus)));
        link.receive('$' + QByteArray(2099, 'x') + "\n$V*3834\n");
        QCOMPARE(link.takeSignals(), QStringList(message("$V*3834\n")));
    }

    void handlesTheLineThatIsInTheBuffer()
    {
        ServiceFixture link;
        link.receive("$V*3834");
        link.service.LocalGotMessage();
        QCOMPARE(link.takeSignals(), QStringList(message("$V*3834")));

        ServiceFixture unfinished;
        unfinished.receive("$Bootloader");
        unfinished.service.LocalGotMessage();
        QVERIFY(unfinished.takeSignals().isEmpty());
        QVERIFY(!unfinished.settings.deviceReady);
    }

    void linesAreDroppedUnreadWhileInputIsIgnored()
    {
        ServiceFixture link;
        link.probe.ignoreInput = true;
        link.receive(QByteArray(kStatus) + "$Bootloader\n");
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.crcLineCount, 0);
        QVERIFY(!link.settings.deviceReady);
        QCOMPARE(link.probe.rxIndex, qint16(0));
        QCOMPARE(link.sent(), QByteArray());
    }

    // Lines with a checksum.

    void handsOnALineWithAChecksum_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("plain") << QByteArray("$A,1*CF00\n");
        QTest::newRow("bytes before the dollar") << QByteArray("xx$V*3834\n");
        QTest::newRow("carriage return") << QByteArray("$V*3834\r\n");
        QTest::newRow("three digits") << QByteArray("$D*BA7\n");
        QTest::newRow("two digits") << QByteArray("$IB*D0\n");
        QTest::newRow("one digit") << QByteArray("$CMW*5\n");
        QTest::newRow("nothing to check") << QByteArray("$*FFFF\n");
        QTest::newRow("announcement") << QByteArray("$Bootloader*DB48\n");
    }

    void handsOnALineWithAChecksum()
    {
        QFETCH(QByteArray, line);
        ServiceFixture link;
        link.receive(line);
        QCOMPARE(link.takeSignals(), QStringList(message(line)));
        QCOMPARE(link.probe.crcLineCount, 1);
        QVERIFY(!link.settings.deviceReady);
    }

    void dropsALineWithAWrongChecksum_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("other digits") << QByteArray("$STATUS*3BC0\n");
        QTest::newRow("no digits") << QByteArray("$STATUS*\n");
        QTest::newRow("cut digits") << QByteArray("$STATUS*3BC\n");
        QTest::newRow("digits cut by a comma") << QByteArray("$STATUS*3B,C1\n");
        QTest::newRow("digits cut by a star") << QByteArray("$STATUS*3B*C1\n");
        QTest::newRow("six digits") << QByteArray("$BEUE*00ABCD\n");
        QTest::newRow("other text") << QByteArray("$STATUT*3BC1\n");
        QTest::newRow("dollar in the text") << QByteArray("$$STATUS*3BC1\n");
        QTest::newRow("carriage return in the text") << QByteArray("$S\rTATUS*3BC1\n");
    }

    void dropsALineWithAWrongChecksum()
    {
        QFETCH(QByteArray, line);
        ServiceFixture link;
        link.probe.sendEnabled = true;
        link.probe.idleTicks = 7;
        link.receive(line);
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.crcLineCount, 0);
        QCOMPARE(link.probe.idleTicks, 7);
        QVERIFY(!link.probe.statusAnswered);
        QCOMPARE(link.sent(), QByteArray());
    }

    void acceptsTheChecksumSpelledAs_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("lower case") << QByteArray("$BEUE*abcd\n");
        QTest::newRow("mixed case") << QByteArray("$BEUE*aBcD\n");
        QTest::newRow("five digits, 0 first") << QByteArray("$BEUE*0ABCD\n");
        QTest::newRow("five digits, 1 first") << QByteArray("$BEUE*1ABCD\n");
        QTest::newRow("a letter as a 0 digit") << QByteArray("$IB*0xD0\n");
        QTest::newRow("ended by a comma") << QByteArray("$BEUE*ABCD,\n");
        QTest::newRow("ended by a star") << QByteArray("$BEUE*ABCD*1\n");
        QTest::newRow("an empty field as 0") << QByteArray("$AJXB*\n");
        QTest::newRow("0 without leading zeros") << QByteArray("$AJXB*0\n");
    }

    void acceptsTheChecksumSpelledAs()
    {
        QFETCH(QByteArray, line);
        ServiceFixture link;
        link.receive(line);
        QCOMPARE(link.takeSignals(), QStringList(message(line)));
    }

    void asksForTheVersionAfterEachOfTheFirstFiveLines()
    {
        ServiceFixture link;
        for (int line = 1; line <= 5; ++line) {
            link.receive("$A,1*CF00\n");
            QCOMPARE(link.sent(), QByteArray("$V"));
            QCOMPARE(link.probe.crcLineCount, line);
        }
        link.receive("$A,1*CF00\n");
        QCOMPARE(link.sent(), QByteArray());
        QCOMPARE(link.probe.crcLineCount, 6);
        QCOMPARE(link.takeSignals().size(), 6);
    }

    void handsALineOnBeforeItCountsAndAnswersIt()
    {
        ServiceFixture link;
        link.probe.sendEnabled = true;
        int calls = 0;
        connect(&link.service, &Serial_Connect::GotMessage, this, [&link, &calls] {
            ++calls;
            QCOMPARE(link.probe.crcLineCount, 0);
            QVERIFY(!link.probe.statusAnswered);
            QCOMPARE(link.sent(), QByteArray());
        });
        link.receive(kStatus);
        QCOMPARE(calls, 1);
        QCOMPARE(link.sent(), QByteArray("$V") + kAnswer);
    }

    void aCheckedLineEndsTheIdleTime()
    {
        ServiceFixture link;
        link.probe.idleTicks = 7;
        link.receive("$V\n");
        QCOMPARE(link.probe.idleTicks, 7);
        link.receive("$V*3834\n");
        QCOMPARE(link.probe.idleTicks, 0);
    }

    // The status report.

    void answersTheStatusReport()
    {
        ServiceFixture link;
        link.probe.sendEnabled = true;
        link.probe.waitTicks = 40;
        link.receive(kStatus);
        QCOMPARE(link.takeSignals(), QStringList(message(kStatus)));
        QCOMPARE(link.sent(), QByteArray("$V") + kAnswer);
        QVERIFY(link.probe.statusAnswered);
        QCOMPARE(link.probe.waitTicks, 3);

        link.probe.crcLineCount = 5;
        link.receive(kStatus);
        QCOMPARE(link.sent(), kAnswer);
    }

    void keepsTheAnswerWhileSendingIsDisabled()
    {
        ServiceFixture link;
        link.receive(kStatus);
        QCOMPARE(link.sent(), QByteArray("$V"));
        QVERIFY(link.probe.statusAnswered);
        QCOMPARE(link.probe.waitTicks, 3);
    }

    void takesForAStatusReport_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("taken");
        QTest::newRow("the word alone") << QByteArray(kStatus) << true;
        QTest::newRow("further fields") << QByteArray("$STATUS,1,2*D47D\n") << true;
        QTest::newRow("a further letter") << QByteArray("$STATUSX*973\n") << false;
        QTest::newRow("lower case") << QByteArray("$status*5069\n") << false;
        QTest::newRow("something before the dollar") << QByteArray("x$STATUS*3BC1\n") << false;
        QTest::newRow("another word") << QByteArray("$A,1*CF00\n") << false;
    }

    void takesForAStatusReport()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, taken);
        ServiceFixture link;
        link.probe.sendEnabled = true;
        link.receive(line);
        QCOMPARE(link.takeSignals(), QStringList(message(line)));
        QCOMPARE(link.probe.statusAnswered, taken);
        QCOMPARE(link.probe.waitTicks, taken ? 3 : 2);
        QCOMPARE(link.sent(), taken ? QByteArray("$V") + kAnswer : QByteArray("$V"));
    }

    // Lines without a checksum.

    void theBootloadersAnnouncementEndsTheHunt()
    {
        ServiceFixture link;
        link.probe.portFound = true;
        bool readyAtSignal = false;
        connect(&link.service, &Serial_Connect::GotMessageNoCRC, this,
            [&link, &readyAtSignal] { readyAtSignal = link.settings.deviceReady; });
        link.receive("$Bootloader\n");
        QVERIFY(link.settings.deviceReady);
        QVERIFY(!link.probe.portFound);
        QVERIFY(readyAtSignal);
        QCOMPARE(link.takeSignals(), bothMessages("$Bootloader\n"));
        QCOMPARE(link.probe.crcLineCount, 0);
        QVERIFY(link.port.isOpen());
        QCOMPARE(link.sent(), QByteArray());
    }

    void onlyTheExactAnnouncementEndsTheHunt_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("carriage return") << QByteArray("$Bootloader\r\n");
        QTest::newRow("lower case") << QByteArray("$bootloader\n");
        QTest::newRow("something before") << QByteArray("x$Bootloader\n");
        QTest::newRow("something after") << QByteArray("$Bootloader,1\n");
        QTest::newRow("cut") << QByteArray("$Bootloade\n");
    }

    void onlyTheExactAnnouncementEndsTheHunt()
    {
        QFETCH(QByteArray, line);
        ServiceFixture link;
        link.probe.portFound = true;
        link.receive(line);
        QVERIFY(!link.settings.deviceReady);
        QVERIFY(link.probe.portFound);
        QCOMPARE(link.takeSignals(), bothMessages(line));
    }

    void aLineWithoutChecksumGivesBothSignals()
    {
        ServiceFixture link;
        link.probe.sendEnabled = true;
        link.receive("xx$STATUS,1\r\n");
        QCOMPARE(link.takeSignals(), bothMessages("xx$STATUS,1\r\n"));
        QCOMPARE(link.probe.crcLineCount, 0);
        QVERIFY(!link.probe.statusAnswered);
        QCOMPARE(link.sent(), QByteArray());
    }

    void aLineWithoutDollarGivesNothing_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("empty") << QByteArray("\n");
        QTest::newRow("text") << QByteArray("STATUS\n");
        QTest::newRow("with a checksum") << QByteArray("STATUS*3BC1\n");
        QTest::newRow("announcement") << QByteArray("Bootloader\n");
    }

    void aLineWithoutDollarGivesNothing()
    {
        QFETCH(QByteArray, line);
        ServiceFixture link;
        link.receive(line);
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.crcLineCount, 0);
        QCOMPARE(link.sent(), QByteArray());
    }

    void whatAnEarlierLineLeftBehindIsNotRead()
    {
        ServiceFixture link;
        link.receive("0123456789$V*3834\n");
        link.takeSignals();
        link.receive("noise\n");
        QVERIFY(link.takeSignals().isEmpty());
        link.receive("$V*38\n");
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.crcLineCount, 1);
    }

    void aReceivedNulCutsTheText()
    {
        ServiceFixture link;
        link.receive(QByteArray("$ON\0E\n", 6));
        QVERIFY(link.takeSignals().isEmpty());
        link.receive(QByteArray("$ST\0ATUS*3BC1\n", 14));
        QVERIFY(link.takeSignals().isEmpty());
        link.receive("$TWO\n");
        QCOMPARE(link.takeSignals(), bothMessages("$TWO\n"));
    }

    void bytesThatAreNoTextArriveAsReplacements()
    {
        ServiceFixture link;
        const QByteArray line = "$\xff" + QByteArray("\xc3\xa4\n");
        link.receive(line);
        const QString text = QStringLiteral("$\uFFFD\u00E4\n");
        QCOMPARE(link.takeSignals(),
            QStringList(
                {QStringLiteral("GotMessageNoCRC ") + text, QStringLiteral("GotMessage ") + text}));
    }
};

static const RegisteredTest<TestServiceLines> registered(__FILE__);
#include "tst_service_lines.moc"
