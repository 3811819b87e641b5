#include "tests/session/SessionFixture.h"
#include "tests/support/PaintCounter.h"
#include "tests/support/TestProgram.h"

#include <QElapsedTimer>

#include <array>

using protocol::kLineCapacity;

/// How lines leave and arrive.
class TestFraming : public QObject
{
    Q_OBJECT

private slots:
    void sendsGoldenFrames_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QByteArray>("frame");
        // Made by a bitwise CRC-16/MCRF4XX in another language over the text after "$".
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
        QTest::newRow("$I,00,01,154,E6")
            << "$I,00,01,154,E6" << QByteArray("$I,00,01,154,E6*A1B8\n");
        QTest::newRow("$I,05,01,DC,A5") << "$I,05,01,DC,A5" << QByteArray("$I,05,01,DC,A5*C9EC\n");
        QTest::newRow("$F,262") << "$F,262" << QByteArray("$F,262*11A0\n");
    }

    void sendsGoldenFrames()
    {
        QFETCH(QString, line);
        QFETCH(QByteArray, frame);
        SessionFixture session;
        session.dialog().AddCRC_nSend(&session.port(), line);
        QCOMPARE(session.sent(), frame);
        QCOMPARE(framed(line.toUtf8()), frame);
    }

    void sendsShortChecksumWithoutLineFeed()
    {
        // The first numbers whose checksum has three, two and one digits.
        SessionFixture session;
        for (const int digits : {3, 2, 1}) {
            QByteArray text;
            for (int i = 0; text.isEmpty() || framed(text).size() != text.size() + 1 + digits; ++i)
                text = "$" + QByteArray::number(i);
            std::array<char, kLineCapacity> buffer{};
            std::copy(text.begin(), text.end(), buffer.begin());
            session.dialog().AddCRC_nSend(&session.port(), buffer.data());
            QCOMPARE(session.sent(), framed(text));
            // The line feed is at its fixed position, after the NUL.
            QCOMPARE(buffer.at(static_cast<std::size_t>(text.size() + 1 + digits)), '\0');
            QCOMPARE(buffer.at(static_cast<std::size_t>(text.size() + 5)), '\n');
            QCOMPARE(buffer.at(static_cast<std::size_t>(text.size() + 6)), '\0');
        }
    }

    void sendsBytesBeforeTheDollarUnchecked()
    {
        SessionFixture session;
        session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("xx$V"));
        const QByteArray alone = framed("$V");
        QCOMPARE(alone.size(), qsizetype(sizeof("$V*0000\n") - 1));
        QCOMPARE(session.sent(), "xx" + alone);
    }

    void sendsUpToAnEarlierNul()
    {
        SessionFixture session;
        std::array<char, kLineCapacity> buffer{'a', 'b', '\0', '$', 'V'};
        session.dialog().AddCRC_nSend(&session.port(), buffer.data());
        QCOMPARE(session.sent(), QByteArray("ab"));
        QCOMPARE(QByteArray(buffer.data() + 3), framed("$V"));
    }

    void sendsNothingWithoutADollar()
    {
        SessionFixture session;
        std::array<char, kLineCapacity> buffer{'A', ',', '1'};
        session.dialog().AddCRC_nSend(&session.port(), buffer.data());
        QCOMPARE(session.sent(), QByteArray());
        QCOMPARE(QByteArray(buffer.data()), QByteArray("A,1"));
        QCOMPARE(session.probe().txSpin(), 0);
        QCOMPARE(session.labelText("labelTX"), QStringLiteral("TX: "));
    }

    void sendsNothingWithoutANul()
    {
        SessionFixture session;
        std::array<char, kLineCapacity> buffer{};
        buffer.fill('A');
        buffer.front() = '$';
        const auto before = buffer;
        session.dialog().AddCRC_nSend(&session.port(), buffer.data());
        session.dialog().nSend(&session.port(), buffer.data());
        QCOMPARE(session.sent(), QByteArray());
        QVERIFY(buffer == before);
        QCOMPARE(session.probe().txSpin(), 0);
    }

    void sendsNothingWhereTheDollarIsLast()
    {
        SessionFixture session;
        std::array<char, kLineCapacity> buffer{};
        buffer.fill('A');
        buffer.back() = '$';
        const auto before = buffer;
        session.dialog().AddCRC_nSend(&session.port(), buffer.data());
        QCOMPARE(session.sent(), QByteArray());
        QVERIFY(buffer == before);
    }

    void appendsTheChecksumUpToTheEndOfTheBuffer_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("fits");
        // After the text: "*", four digits, the line feed and a NUL.
        QTest::newRow("last that fits") << kLineCapacity - 7 << true;
        QTest::newRow("first that does not") << kLineCapacity - 6 << false;
        QTest::newRow("longest text") << kLineCapacity - 1 << false;
    }

    void appendsTheChecksumUpToTheEndOfTheBuffer()
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

        SessionFixture session;
        session.dialog().AddCRC_nSend(&session.port(), guarded.line.data());
        QCOMPARE(session.sent(), fits ? framed(text) : QByteArray());
        QCOMPARE(QByteArray(guarded.line.data()), fits ? framed(text) : text);
        QCOMPARE(QByteArray(guarded.guard.data(), 16), QByteArray(16, 'g'));
        QCOMPARE(session.probe().txSpin(), fits ? 1 : 0);
    }

    void sendsTextUpToTheCapacity_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("fits");
        QTest::newRow("999 bytes") << QString("$" + QString(998, 'A')) << true;
        QTest::newRow("1000 bytes") << QString("$" + QString(999, 'A')) << false;
        // 500 characters, 999 and 1001 bytes.
        QTest::newRow("999 bytes in UTF-8") << QString("$" + QString(499, QChar(0xE4))) << true;
        QTest::newRow("1001 bytes in UTF-8") << QString("$" + QString(500, QChar(0xE4))) << false;
    }

    void sendsTextUpToTheCapacity()
    {
        QFETCH(QString, line);
        QFETCH(bool, fits);
        SessionFixture session;
        // Neither a checksum nor a line feed fits.
        session.dialog().AddCRC_nSend(&session.port(), line);
        session.dialog().nSend(&session.port(), line);
        QCOMPARE(session.sent(), QByteArray());
        line.chop(fits ? 1 : 0);
        session.dialog().nSend(&session.port(), line);
        QCOMPARE(session.sent(), fits ? line.toUtf8() + '\n' : QByteArray());
    }

    void plainSendAppendsALineFeedInPlace()
    {
        SessionFixture session;
        std::array<char, kLineCapacity> buffer{'$', 'V'};
        session.dialog().nSend(&session.port(), buffer.data());
        QCOMPARE(QByteArray(buffer.data()), QByteArray("$V\n"));
        session.dialog().nSend(&session.port(), QStringLiteral("no dollar"));
        QCOMPARE(session.sent(), QByteArray("$V\nno dollar\n"));
    }

    void sendMessageCompletesTheLineOnly_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("without a line feed") << "$G" << QByteArray("$G\n");
        QTest::newRow("with a line feed") << "$G\n" << QByteArray("$G\n");
        QTest::newRow("empty") << "" << QByteArray();
        QTest::newRow("longer than a line") << QString(2000, 'A') << QByteArray(2000, 'A') + '\n';
    }

    void sendMessageCompletesTheLineOnly()
    {
        QFETCH(QString, line);
        QFETCH(QByteArray, bytes);
        SessionFixture session;
        session.dialog().SendMessage(&session.port(), line);
        QCOMPARE(session.sent(), bytes);
    }

    void turnsTheSendIndicatorWithEveryChecksummedLine()
    {
        SessionFixture session;
        QStringList shown;
        for (int i = 0; i < 6; ++i) {
            session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$V"));
            shown << session.labelText("labelTX");
        }
        QCOMPARE(shown.join('|'), QStringLiteral("TX: ||TX: /|TX: -|TX: -|TX: ||TX: /"));
    }

    void keepsTheSendIndicatorForAllOtherLines()
    {
        SessionFixture session;
        session.dialog().nSend(&session.port(), QStringLiteral("$V"));
        session.dialog().SendMessage(&session.port(), QStringLiteral("$G"));
        QCOMPARE(session.probe().txSpin(), 0);
        QCOMPARE(session.labelText("labelTX"), QStringLiteral("TX: "));
    }

    void sendsNothingOnAClosedPort()
    {
        SessionFixture session;
        session.port().close();
        session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$V"));
        session.dialog().SendMessage(&session.port(), QStringLiteral("$G"));
        QCOMPARE(session.sent(), QByteArray());
        QVERIFY(session.port().open(QIODevice::ReadWrite));
        QCOMPARE(session.sent(), QByteArray());
    }

    void showsTheReceiveIndicatorByTheSendCounter()
    {
        SessionFixture session;
        QCOMPARE(session.labelText("labelRX"), QStringLiteral("RX:"));
        QList<int> counters;
        for (int i = 0; i < 5; ++i) {
            session.receive("$NOISE\n");
            counters << session.probe().rxSpin();
            QCOMPARE(session.labelText("labelRX"), QStringLiteral("RX: -"));
        }
        QCOMPARE(counters, (QList<int>{1, 2, 3, 0, 1}));
        session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$V"));
        QCOMPARE(session.labelText("labelRX"), QStringLiteral("RX: -"));
        session.receive("$NOISE\n");
        QCOMPARE(session.labelText("labelRX"), QStringLiteral("RX: |"));
    }

    void showsTheReceiveIndicatorAsItStoodBeforeTheAnswer()
    {
        SessionFixture session;
        session.receive("$MVERR,1\n");
        QCOMPARE(session.labelText("labelTX"), QStringLiteral("TX: |"));
        QCOMPARE(session.labelText("labelRX"), QStringLiteral("RX: -"));
        session.receive("$MVERR,1\n");
        QCOMPARE(session.labelText("labelTX"), QStringLiteral("TX: /"));
        QCOMPARE(session.labelText("labelRX"), QStringLiteral("RX: |"));
    }

    void paintsBothIndicatorsOfALineThatIsAnsweredAtOnce()
    {
        SessionFixture session;
        session.dialog().show();
        QVERIFY(QTest::qWaitForWindowExposed(&session.dialog()));
        QCoreApplication::processEvents();
        const PaintCounter sent(session.label("labelTX"));
        const PaintCounter received(session.label("labelRX"));
        session.receive("$MVERR,1\n");
        QTRY_VERIFY(sent.count() > 0);
        QTRY_VERIFY(received.count() > 0);
    }

    void paintsTheIndicatorsOnceInAnInterval()
    {
        SessionFixture session;
        session.dialog().show();
        QVERIFY(QTest::qWaitForWindowExposed(&session.dialog()));
        PaintCounter paints(session.label("labelTX"));
        QElapsedTimer timer;
        timer.start();
        while (!timer.hasExpired(3 * SeldomPaint::kPaintInterval.count())) {
            session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$V"));
            QCoreApplication::processEvents();
        }
        // One more for an interval that has begun, one for what was left to paint before.
        const qint64 intervals = timer.elapsed() / SeldomPaint::kPaintInterval.count();
        QVERIFY(paints.count() > 0);
        QVERIFY2(paints.count() <= intervals + 2, qPrintable(QString::number(paints.count())));
    }

    // Two boards: the bar is that of the one that answered last.
    void paintsABarThatJumpsOnceInAnInterval()
    {
        constexpr int kFarther = 0x80000;
        SessionFixture session(JobUpdate, 2);
        session.dialog().show();
        QVERIFY(QTest::qWaitForWindowExposed(&session.dialog()));
        session.setFields(somewhere({{"state", 11}, {"flashAddress", 0x1000}}), 0);
        session.setFields(somewhere({{"state", 11}, {"flashAddress", kFarther}}), 1);
        QProgressBar& bar = session.bar("progressBarLoad");
        PaintCounter paints(bar);
        QElapsedTimer timer;
        timer.start();
        while (!timer.hasExpired(3 * SeldomPaint::kPaintInterval.count())) {
            session.setFields({{"flashAddress", kFarther}, {"fwStep", FirmwareData}}, 1);
            session.reply("$DACK", 1);
            QCOMPARE(bar.value(), kFarther - 0x1000 + 64);
            session.setFields({{"flashAddress", 0x1000}, {"fwStep", FirmwareData}}, 0);
            session.reply("$DACK", 0);
            QCOMPARE(bar.value(), 64);
            QCoreApplication::processEvents();
        }
        const qint64 intervals = timer.elapsed() / SeldomPaint::kPaintInterval.count();
        QVERIFY(paints.count() > 0);
        QVERIFY2(paints.count() <= intervals + 2, qPrintable(QString::number(paints.count())));
    }

    void paintsAtOnceWhenTheWindowIsUncovered()
    {
        SessionFixture session;
        session.dialog().show();
        QVERIFY(QTest::qWaitForWindowExposed(&session.dialog()));
        QCoreApplication::processEvents();
        const PaintCounter paints(session.label("labelTX"));
        session.dialog().hide();
        session.dialog().show();
        QCoreApplication::processEvents();
        QVERIFY(paints.count() > 0);
    }

    void paintsWhatCameTooSoonWhenTheIntervalIsOver()
    {
        SessionFixture session;
        session.dialog().show();
        QVERIFY(QTest::qWaitForWindowExposed(&session.dialog()));
        session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$V"));
        QCoreApplication::processEvents();
        const PaintCounter paints(session.label("labelTX"));
        session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$V"));
        QCOMPARE(session.labelText("labelTX"), QStringLiteral("TX: /"));
        QTRY_VERIFY(paints.count() > 0);
    }

    void handsOnTwoLinesOfOneRead()
    {
        SessionFixture session;
        session.receive("$MVERR,1\n$MVERR,2\n$MVE");
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 2"));
        QCOMPARE(session.sent(), framed("$BOOTLOADM") + framed("$BOOTLOADM"));
        QCOMPARE(session.port().rxIndex, qint16(4));
    }

    void joinsALineSplitOverTwoReads()
    {
        SessionFixture session;
        session.receive("$MVE");
        QCOMPARE(session.probe().rxSpin(), 0);
        session.receive("RR,7");
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
        session.receive("\n");
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 7"));
        QCOMPARE(session.probe().rxSpin(), 1);
    }

    void losesTheLineAfterOneThatIsCutForGood()
    {
        SessionFixture session;
        session.receive("$MVER$MVERR,7\n");
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
        session.receive("$MVERR,8\n");
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 8"));
    }

    void cutsALineWhoseLineFeedEndsTheBuffer_data()
    {
        QTest::addColumn<int>("length");
        for (const int length : {996, 997, 998, 999, 1000, 1001, 1002})
            QTest::addRow("%d bytes", length) << length;
    }

    void cutsALineWhoseLineFeedEndsTheBuffer()
    {
        QFETCH(int, length);
        SessionFixture session;
        session.receive("$MVERR,4," + QByteArray(length - 10, 'x') + '\n');
        const bool wraps = length >= kLineCapacity;
        QCOMPARE(session.labelText("label_UnitVersion"),
            wraps ? QStringLiteral("Unit Version:") : QStringLiteral("Unit Version: 4"));
        QCOMPARE(session.port().rxIndex, qint16(0));
        session.receive("$MVERR,5\n");
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 5"));
    }

    void survivesALineThatGrowsAsText()
    {
        // Every byte becomes a replacement character of three bytes.
        SessionFixture session;
        session.receive("$MVERR,6," + QByteArray(980, '\xFF') + '\n');
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version: 6"));
        QCOMPARE(session.port().secondFile.fileName(), QString());
        QCOMPARE(session.port().state, qint32(StateStart));
        QCOMPARE(session.port().rxIndex, qint16(0));
    }

    void waitsBeforeClosingForTheLastLineAlone()
    {
        // A port takes lines faster than they leave; their times must not add up. So slow that the
        // time that the test itself takes does not count.
        constexpr int kBaudRate = 1;
        constexpr std::chrono::seconds kLineTime{
            12 * protocol::kBitsPerByte}; // "$MVER*826A" and a line feed
        SessionFixture session;
        session.memoryPort().close();
        session.port().setBaudRate(kBaudRate);
        session.memoryPort().beOpen();
        for (int i = 0; i < 200; ++i)
            session.dialog().AddCRC_nSend(&session.port(), QStringLiteral("$MVER"));
        const std::chrono::milliseconds remaining(session.port().onTheWire.remainingTime());
        QVERIFY(remaining > kLineTime / 2);
        QVERIFY(remaining <= kAdapterDelay + kLineTime);
    }
};

static const RegisteredTest<TestFraming> registered(__FILE__);
#include "tst_framing.moc"
