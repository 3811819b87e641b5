#include "tests/session/SessionBench.h"
#include "tests/support/PaintCounter.h"

#include <QElapsedTimer>
#include <QTest>

#include <array>

using protocol::kLineCapacity;

/// How lines leave and arrive.
class TestFraming : public QObject
{
    Q_OBJECT

private slots:
    void sendsGoldenFrames_data();
    void sendsGoldenFrames();
    void sendsShortChecksumWithoutLineFeed();
    void sendsBytesBeforeTheDollarUnchecked();
    void sendsUpToAnEarlierNul();
    void sendsNothingWithoutADollar();
    void sendsNothingWithoutANul();
    void sendsNothingWhereTheDollarIsLast();
    void appendsTheChecksumUpToTheEndOfTheBuffer_data();
    void appendsTheChecksumUpToTheEndOfTheBuffer();
    void sendsTextUpToTheCapacity_data();
    void sendsTextUpToTheCapacity();
    void plainSendAppendsALineFeedInPlace();
    void plainSendNeedsRoomForItsLineFeed_data();
    void plainSendNeedsRoomForItsLineFeed();
    void sendMessageCompletesTheLineOnly_data();
    void sendMessageCompletesTheLineOnly();
    void turnsTheSendIndicatorWithEveryChecksummedLine();
    void keepsTheSendIndicatorForAllOtherLines();
    void sendsNothingOnAClosedPort();
    void showsTheReceiveIndicatorByTheSendCounter();
    void showsTheReceiveIndicatorAsItStoodBeforeTheAnswer();
    void paintsTheIndicatorsOnceInAnInterval();
    void paintsTheNewestIndicatorAtTheNextTick();
    void handsOnTwoLinesOfOneRead();
    void joinsALineSplitOverTwoReads();
    void losesTheLineBehindOneThatIsCutForGood();
    void overwritesTheBeginningOfAnOverlongLine();
    void cutsALineWhoseLineFeedEndsTheBuffer_data();
    void cutsALineWhoseLineFeedEndsTheBuffer();
    void survivesALineThatGrowsAsText();
    void leavesAtOnce();
    void waitsBeforeClosingForTheLastLineAlone();
};

void TestFraming::sendsGoldenFrames_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("frame");
    // Made by a bitwise CRC-16/MCRF4XX in another language over the text behind "$".
    QTest::newRow("erase images") << "$A,1" << QByteArray("$A,1*CF00\n");
    QTest::newRow("$MVER") << "$MVER" << QByteArray("$MVER*826A\n");
    QTest::newRow("$SVER") << "$SVER" << QByteArray("$SVER*EF89\n");
    QTest::newRow("$BOOTLOADM") << "$BOOTLOADM" << QByteArray("$BOOTLOADM*9FEC\n");
    QTest::newRow("$X") << "$X" << QByteArray("$X*D14A\n");
    QTest::newRow("$E,1000,1") << "$E,1000,1" << QByteArray("$E,1000,1*2BEA\n");
    QTest::newRow("$E,DF000,1") << "$E,DF000,1" << QByteArray("$E,DF000,1*51BE\n");
    QTest::newRow("$P,1000,1000") << "$P,1000,1000" << QByteArray("$P,1000,1000*C64E\n");
    QTest::newRow("$P,DF000,1000") << "$P,DF000,1000" << QByteArray("$P,DF000,1000*C402\n");
    QTest::newRow("$C,1000,DFFFF") << "$C,1000,DFFFF" << QByteArray("$C,1000,DFFFF*CED5\n");
    QTest::newRow("$I,00,01,154,E6") << "$I,00,01,154,E6" << QByteArray("$I,00,01,154,E6*A1B8\n");
    QTest::newRow("$I,05,01,DC,A5") << "$I,05,01,DC,A5" << QByteArray("$I,05,01,DC,A5*C9EC\n");
    QTest::newRow("$F,262") << "$F,262" << QByteArray("$F,262*11A0\n");
}

void TestFraming::sendsGoldenFrames()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, frame);
    SessionBench bench;
    bench.dialog().AddCRC_nSend(&bench.port(), line);
    QCOMPARE(bench.sent(), frame);
    QCOMPARE(framed(line.toUtf8()), frame);
}

void TestFraming::sendsShortChecksumWithoutLineFeed()
{
    // Searched, not given: the first numbers whose checksum has three, two and one digits.
    SessionBench bench;
    for (const int digits : {3, 2, 1}) {
        QByteArray text;
        for (int i = 0; text.isEmpty() || framed(text).size() != text.size() + 1 + digits; ++i)
            text = "$" + QByteArray::number(i);
        std::array<char, kLineCapacity> buffer{};
        std::copy(text.begin(), text.end(), buffer.begin());
        bench.dialog().AddCRC_nSend(&bench.port(), buffer.data());
        QCOMPARE(bench.sent(), framed(text));
        // The line feed stands at its fixed place behind the NUL.
        QCOMPARE(buffer.at(static_cast<std::size_t>(text.size() + 1 + digits)), '\0');
        QCOMPARE(buffer.at(static_cast<std::size_t>(text.size() + 5)), '\n');
        QCOMPARE(buffer.at(static_cast<std::size_t>(text.size() + 6)), '\0');
    }
}

void TestFraming::sendsBytesBeforeTheDollarUnchecked()
{
    SessionBench bench;
    bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("xx$V"));
    const QByteArray alone = framed("$V");
    QCOMPARE(alone.size(), qsizetype(sizeof("$V*0000\n") - 1));
    QCOMPARE(bench.sent(), "xx" + alone);
}

void TestFraming::sendsUpToAnEarlierNul()
{
    SessionBench bench;
    std::array<char, kLineCapacity> buffer{'a', 'b', '\0', '$', 'V'};
    bench.dialog().AddCRC_nSend(&bench.port(), buffer.data());
    QCOMPARE(bench.sent(), QByteArray("ab"));
    QCOMPARE(QByteArray(buffer.data() + 3), framed("$V"));
}

void TestFraming::sendsNothingWithoutADollar()
{
    SessionBench bench;
    std::array<char, kLineCapacity> buffer{'A', ',', '1'};
    bench.dialog().AddCRC_nSend(&bench.port(), buffer.data());
    QCOMPARE(bench.sent(), QByteArray());
    QCOMPARE(QByteArray(buffer.data()), QByteArray("A,1"));
    QCOMPARE(bench.probe().txSpin(), 0);
    QCOMPARE(bench.labelText("labelTX"), QStringLiteral("TX: "));
}

void TestFraming::sendsNothingWithoutANul()
{
    SessionBench bench;
    std::array<char, kLineCapacity> buffer{};
    buffer.fill('A');
    buffer.front() = '$';
    const auto before = buffer;
    bench.dialog().AddCRC_nSend(&bench.port(), buffer.data());
    bench.dialog().nSend(&bench.port(), buffer.data());
    QCOMPARE(bench.sent(), QByteArray());
    QVERIFY(buffer == before);
    QCOMPARE(bench.probe().txSpin(), 0);
}

void TestFraming::sendsNothingWhereTheDollarIsLast()
{
    SessionBench bench;
    std::array<char, kLineCapacity> buffer{};
    buffer.fill('A');
    buffer.back() = '$';
    const auto before = buffer;
    bench.dialog().AddCRC_nSend(&bench.port(), buffer.data());
    QCOMPARE(bench.sent(), QByteArray());
    QVERIFY(buffer == before);
}

void TestFraming::appendsTheChecksumUpToTheEndOfTheBuffer_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("fits");
    // Behind the text: "*", four digits, the line feed and a NUL.
    QTest::newRow("last that fits") << kLineCapacity - 7 << true;
    QTest::newRow("first that does not") << kLineCapacity - 6 << false;
    QTest::newRow("longest text") << kLineCapacity - 1 << false;
}

void TestFraming::appendsTheChecksumUpToTheEndOfTheBuffer()
{
    QFETCH(int, length);
    QFETCH(bool, fits);
    struct Guarded
    {
        std::array<char, kLineCapacity> line{};
        std::array<char, 16> guard{};
    } guarded;
    guarded.guard.fill('g');
    const QByteArray text = "$" + QByteArray(length - 1, 'A');
    std::copy(text.begin(), text.end(), guarded.line.begin());

    SessionBench bench;
    bench.dialog().AddCRC_nSend(&bench.port(), guarded.line.data());
    QCOMPARE(bench.sent(), fits ? framed(text) : QByteArray());
    QCOMPARE(QByteArray(guarded.line.data()), fits ? framed(text) : text);
    QCOMPARE(QByteArray(guarded.guard.data(), 16), QByteArray(16, 'g'));
    QCOMPARE(bench.probe().txSpin(), fits ? 1 : 0);
}

void TestFraming::sendsTextUpToTheCapacity_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("fits");
    QTest::newRow("999 bytes") << QString("$" + QString(998, 'A')) << true;
    QTest::newRow("1000 bytes") << QString("$" + QString(999, 'A')) << false;
    // 500 characters, 999 and 1001 bytes.
    QTest::newRow("999 bytes in UTF-8") << QString("$" + QString(499, QChar(0xE4))) << true;
    QTest::newRow("1001 bytes in UTF-8") << QString("$" + QString(500, QChar(0xE4))) << false;
}

void TestFraming::sendsTextUpToTheCapacity()
{
    QFETCH(QString, line);
    QFETCH(bool, fits);
    SessionBench bench;
    // Such a text has no room for a checksum, and needs none of a line feed at its very end.
    bench.dialog().AddCRC_nSend(&bench.port(), line);
    bench.dialog().nSend(&bench.port(), line);
    QCOMPARE(bench.sent(), QByteArray());
    line.chop(fits ? 8 : 0);
    bench.dialog().nSend(&bench.port(), line);
    QCOMPARE(bench.sent(), fits ? line.toUtf8() + '\n' : QByteArray());
}

void TestFraming::plainSendAppendsALineFeedInPlace()
{
    SessionBench bench;
    std::array<char, kLineCapacity> buffer{'$', 'V'};
    bench.dialog().nSend(&bench.port(), buffer.data());
    QCOMPARE(QByteArray(buffer.data()), QByteArray("$V\n"));
    bench.dialog().nSend(&bench.port(), QStringLiteral("no dollar"));
    QCOMPARE(bench.sent(), QByteArray("$V\nno dollar\n"));
}

void TestFraming::plainSendNeedsRoomForItsLineFeed_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("fits");
    QTest::newRow("last that fits") << kLineCapacity - 2 << true;
    QTest::newRow("first that does not") << kLineCapacity - 1 << false;
}

void TestFraming::plainSendNeedsRoomForItsLineFeed()
{
    QFETCH(int, length);
    QFETCH(bool, fits);
    const QByteArray text(length, 'A');
    SessionBench bench;
    bench.dialog().nSend(&bench.port(), QString::fromUtf8(text));
    QCOMPARE(bench.sent(), fits ? text + '\n' : QByteArray());
}

void TestFraming::sendMessageCompletesTheLineOnly_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("without a line feed") << "$G" << QByteArray("$G\n");
    QTest::newRow("with a line feed") << "$G\n" << QByteArray("$G\n");
    QTest::newRow("empty") << "" << QByteArray();
    QTest::newRow("longer than a line") << QString(2000, 'A') << QByteArray(2000, 'A') + '\n';
}

void TestFraming::sendMessageCompletesTheLineOnly()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, bytes);
    SessionBench bench;
    bench.dialog().SendMessage(&bench.port(), line);
    QCOMPARE(bench.sent(), bytes);
}

void TestFraming::turnsTheSendIndicatorWithEveryChecksummedLine()
{
    SessionBench bench;
    QStringList shown;
    for (int i = 0; i < 6; ++i) {
        bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$V"));
        shown << bench.labelText("labelTX");
    }
    QCOMPARE(shown.join('|'), QStringLiteral("TX: ||TX: /|TX: -|TX: -|TX: ||TX: /"));
}

void TestFraming::keepsTheSendIndicatorForAllOtherLines()
{
    SessionBench bench;
    bench.dialog().nSend(&bench.port(), QStringLiteral("$V"));
    bench.dialog().SendMessage(&bench.port(), QStringLiteral("$G"));
    QCOMPARE(bench.probe().txSpin(), 0);
    QCOMPARE(bench.labelText("labelTX"), QStringLiteral("TX: "));
}

void TestFraming::sendsNothingOnAClosedPort()
{
    SessionBench bench;
    bench.port().close();
    bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$V"));
    bench.dialog().SendMessage(&bench.port(), QStringLiteral("$G"));
    QCOMPARE(bench.sent(), QByteArray());
    QVERIFY(bench.port().open(QIODevice::ReadWrite));
    QCOMPARE(bench.sent(), QByteArray());
}

void TestFraming::showsTheReceiveIndicatorByTheSendCounter()
{
    SessionBench bench;
    QCOMPARE(bench.labelText("labelRX"), QStringLiteral("RX:"));
    QList<int> counters;
    for (int i = 0; i < 5; ++i) {
        bench.receive("$NOISE\n");
        counters << bench.probe().rxSpin();
        QCOMPARE(bench.labelText("labelRX"), QStringLiteral("RX: -"));
    }
    QCOMPARE(counters, (QList<int>{1, 2, 3, 0, 1}));
    bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$V"));
    QCOMPARE(bench.labelText("labelRX"), QStringLiteral("RX: -"));
    bench.receive("$NOISE\n");
    QCOMPARE(bench.labelText("labelRX"), QStringLiteral("RX: |"));
}

void TestFraming::showsTheReceiveIndicatorAsItStoodBeforeTheAnswer()
{
    SessionBench bench;
    bench.receive("$MVERR,1\n");
    QCOMPARE(bench.labelText("labelTX"), QStringLiteral("TX: |"));
    QCOMPARE(bench.labelText("labelRX"), QStringLiteral("RX: -"));
    bench.receive("$MVERR,1\n");
    QCOMPARE(bench.labelText("labelTX"), QStringLiteral("TX: /"));
    QCOMPARE(bench.labelText("labelRX"), QStringLiteral("RX: |"));
}

void TestFraming::paintsTheIndicatorsOnceInAnInterval()
{
    constexpr int kLines = 200;
    SessionBench bench;
    bench.dialog().show();
    QVERIFY(QTest::qWaitForWindowExposed(&bench.dialog()));
    PaintCounter paints(bench.label("labelTX"));
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < kLines; ++i) {
        bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$V"));
        QCoreApplication::processEvents();
    }
    // One more for an interval that has begun, one for what was left to paint before.
    const qint64 intervals = timer.elapsed() / kActivityInterval.count();
    QVERIFY(paints.count() > 0);
    QVERIFY2(paints.count() <= intervals + 2, qPrintable(QString::number(paints.count())));
}

void TestFraming::paintsTheNewestIndicatorAtTheNextTick()
{
    SessionBench bench;
    bench.dialog().show();
    QVERIFY(QTest::qWaitForWindowExposed(&bench.dialog()));
    bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$V"));
    bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$V"));
    QCoreApplication::processEvents();
    PaintCounter paints(bench.label("labelTX"));
    bench.dialog().Timeout();
    QCOMPARE(bench.labelText("labelTX"), QStringLiteral("TX: /"));
    QCoreApplication::processEvents();
    QVERIFY(paints.count() > 0);
}

void TestFraming::handsOnTwoLinesOfOneRead()
{
    SessionBench bench;
    bench.receive("$MVERR,1\n$MVERR,2\n$MVE");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 2"));
    QCOMPARE(bench.sent(), framed("$BOOTLOADM") + framed("$BOOTLOADM"));
    QCOMPARE(bench.port().rxIndex, qint16(4));
}

void TestFraming::joinsALineSplitOverTwoReads()
{
    SessionBench bench;
    bench.receive("$MVE");
    QCOMPARE(bench.probe().rxSpin(), 0);
    bench.receive("RR,7");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
    bench.receive("\n");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 7"));
    QCOMPARE(bench.probe().rxSpin(), 1);
}

void TestFraming::losesTheLineBehindOneThatIsCutForGood()
{
    SessionBench bench;
    bench.receive("$MVER$MVERR,7\n");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
    bench.receive("$MVERR,8\n");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 8"));
}

void TestFraming::overwritesTheBeginningOfAnOverlongLine()
{
    SessionBench bench;
    bench.receive(QByteArray(kLineCapacity - 1, 'x'));
    QCOMPARE(bench.port().rxIndex, qint16(kLineCapacity - 1));
    bench.receive("x");
    QCOMPARE(bench.port().rxIndex, qint16(0));
    bench.receive("$MVERR,8\n");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 8"));
    bench.receive("$MVERR,9\n");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 9"));
}

void TestFraming::cutsALineWhoseLineFeedEndsTheBuffer_data()
{
    QTest::addColumn<int>("length");
    for (const int length : {996, 997, 998, 999, 1000, 1001, 1002})
        QTest::addRow("%d bytes", length) << length;
}

void TestFraming::cutsALineWhoseLineFeedEndsTheBuffer()
{
    QFETCH(int, length);
    SessionBench bench;
    bench.receive("$MVERR,4," + QByteArray(length - 10, 'x') + '\n');
    const bool wraps = length >= kLineCapacity;
    QCOMPARE(bench.labelText("label_UnitVersion"),
        wraps ? QStringLiteral("Unit Version:") : QStringLiteral("Unit Version: 4"));
    QCOMPARE(bench.port().rxIndex, qint16(0));
    bench.receive("$MVERR,5\n");
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 5"));
}

void TestFraming::survivesALineThatGrowsAsText()
{
    // Every byte becomes a replacement character of three bytes.
    SessionBench bench;
    bench.receive("$MVERR,6," + QByteArray(980, '\xFF') + '\n');
    QCOMPARE(bench.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 6"));
    QCOMPARE(bench.port().secondFile.fileName(), QString());
    QCOMPARE(bench.port().state, qint32(StateStart));
    QCOMPARE(bench.port().rxIndex, qint16(0));
}

void TestFraming::leavesAtOnce()
{
    // Without a turn of the event loop.
    SessionBench bench;
    bench.dialog().SendMessage(&bench.port(), QStringLiteral("$G"));
    QCOMPARE(bench.port().bytesToWrite(), qint64(0));
    QCOMPARE(bench.sent(), QByteArray("$G\n"));
}

void TestFraming::waitsBeforeClosingForTheLastLineAlone()
{
    // On a terminal lines are taken faster than a real line takes them; their times must not add
    // up.
    SessionBench bench;
    for (int i = 0; i < 200; ++i)
        bench.dialog().AddCRC_nSend(&bench.port(), QStringLiteral("$MVER"));
    const qint64 remaining = bench.port().onTheWire.remainingTime();
    constexpr qint64 kLineTime = 7; // ms, of 12 bytes at 19200 baud, rounded up
    QVERIFY(remaining > 0);
    QVERIFY(remaining <= kAdapterDelay.count() + kLineTime);
}

QTEST_MAIN(TestFraming)
#include "tst_framing.moc"
