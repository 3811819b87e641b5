// Sending: raw messages, and lines with a checksum at the bounds of positions counted in 8 bits.

#include "tests/serial/ServiceFixture.h"
#include "tests/support/TestProgram.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr char kUntouched = '\x7e';

/// A caller's buffer with `text` in it and a byte that nothing sends everywhere else.
std::array<char, protocol::kLineCapacity> bufferWith(const QByteArray& text)
{
    std::array<char, protocol::kLineCapacity> buffer{};
    buffer.fill(kUntouched);
    std::copy(text.begin(), text.end(), buffer.begin());
    buffer.at(static_cast<std::size_t>(text.size())) = '\0';
    return buffer;
}

} // namespace

class TestServiceSending : public QObject
{
    Q_OBJECT

private slots:
    void writesTextAsItIs()
    {
        ServiceFixture link;
        link.service.WriteMessage(QString());
        QCOMPARE(link.sent(), QByteArray());
        link.service.WriteMessage(QStringLiteral("$V"));
        QCOMPARE(link.sent(), QByteArray("$V"));
        link.service.WriteMessage(QStringLiteral("\u00E4*\n"));
        QCOMPARE(link.sent(), QByteArray("\xc3\xa4*\n"));
    }

    void writesBytesAsTheyAre()
    {
        ServiceFixture link;
        QByteArray data("\0$\xff\n", 4);
        QCOMPARE(link.service.WriteMessage(data), 4);
        QCOMPARE(link.sent(), data);
        QByteArray none;
        QCOMPARE(link.service.WriteMessage(none), 0);
    }

    void reportsThatAClosedPortTakesNothing()
    {
        ServiceFixture link;
        link.port.close();
        QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): device not open");
        QByteArray data = "$V";
        QCOMPARE(link.service.WriteMessage(data), -1);
    }

    void appendsTheChecksumAndALineFeed_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("four digits") << QByteArray("$A,1") << QByteArray("$A,1*CF00\n");
        QTest::newRow("three digits") << QByteArray("$D") << QByteArray("$D*BA7\n");
        QTest::newRow("two digits") << QByteArray("$IB") << QByteArray("$IB*D0\n");
        QTest::newRow("one digit") << QByteArray("$CMW") << QByteArray("$CMW*5\n");
        QTest::newRow("zero") << QByteArray("$AJXB") << QByteArray("$AJXB*0\n");
        QTest::newRow("nothing to check") << QByteArray("$") << QByteArray("$*FFFF\n");
        QTest::newRow("bytes before the dollar") << QByteArray("xx$V") << QByteArray("xx$V*3834\n");
        QTest::newRow("NUL at 246")
            << '$' + QByteArray(245, 'x') << '$' + QByteArray(245, 'x') + "*5FD1\n";
        QTest::newRow("NUL at 247")
            << '$' + QByteArray(246, 'x') << '$' + QByteArray(246, 'x') + "*3894\n";
        QTest::newRow("dollar at 246")
            << QByteArray(246, 'x') + '$' << QByteArray(246, 'x') + "$*FFFF\n";
    }

    void appendsTheChecksumAndALineFeed()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, line);
        ServiceFixture link;
        link.probe.sendEnabled = true;
        auto buffer = bufferWith(text);
        link.service.AddCRC_nSend(buffer.data());
        QCOMPARE(link.sent(), line);
        QVERIFY(buffer == bufferWith(line));
    }

    void completesTheLineButWritesNothingWhileDisabled()
    {
        ServiceFixture link;
        auto buffer = bufferWith("$A,1");
        link.service.AddCRC_nSend(buffer.data());
        QCOMPARE(link.sent(), QByteArray());
        QVERIFY(buffer == bufferWith("$A,1*CF00\n"));
    }

    void leavesALineThatItCannotSendUntouched_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no dollar") << QByteArray("A,1");
        QTest::newRow("no dollar, NUL at 247") << QByteArray(247, 'x');
        QTest::newRow("NUL at 248") << '$' + QByteArray(247, 'x');
        QTest::newRow("dollar at 247") << QByteArray(247, 'x') + '$';
        QTest::newRow("dollar at 253") << QByteArray(253, 'x') + '$';
        QTest::newRow("dollar at 254") << QByteArray(254, 'x') + '$';
        QTest::newRow("NUL at 254") << '$' + QByteArray(253, 'x');
        QTest::newRow("NUL at 255") << '$' + QByteArray(254, 'x');
        QTest::newRow("NUL at 256") << '$' + QByteArray(255, 'x');
        QTest::newRow("NUL at 257") << '$' + QByteArray(256, 'x');
        QTest::newRow("NUL at 503") << '$' + QByteArray(502, 'x');
        QTest::newRow("NUL at 999") << '$' + QByteArray(998, 'x');
    }

    void leavesALineThatItCannotSendUntouched()
    {
        QFETCH(QByteArray, text);
        ServiceFixture link;
        link.probe.sendEnabled = true;
        auto buffer = bufferWith(text);
        link.service.AddCRC_nSend(buffer.data());
        QCOMPARE(link.sent(), QByteArray());
        QVERIFY(buffer == bufferWith(text));
    }

    void leavesABufferWithoutEndUntouched()
    {
        ServiceFixture link;
        link.probe.sendEnabled = true;
        std::vector<char> buffer(protocol::kLineCapacity, '$');
        const std::vector<char> before = buffer;
        link.service.AddCRC_nSend(buffer.data());
        QCOMPARE(link.sent(), QByteArray());
        QVERIFY(buffer == before);
    }

    void needsNoMoreRoomThanTheFinishedLine_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("no dollar") << QByteArray("xyz") << QByteArray("xyz");
        QTest::newRow("short") << QByteArray("$A,1") << QByteArray("$A,1*CF00\n");
        QTest::newRow("longest") << '$' + QByteArray(246, 'x')
                                 << '$' + QByteArray(246, 'x') + "*3894\n";
        QTest::newRow("too long") << '$' + QByteArray(247, 'x') << '$' + QByteArray(247, 'x');
    }

    // The sanitizers see a step over either end of the heap block.
    void needsNoMoreRoomThanTheFinishedLine()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, line);
        ServiceFixture link;
        std::vector<char> buffer(static_cast<std::size_t>(line.size()) + 1, '\0');
        std::copy(text.begin(), text.end(), buffer.begin());
        link.service.AddCRC_nSend(buffer.data());
        QCOMPARE(QByteArray(buffer.data()), line);
    }
};

static const RegisteredTest<TestServiceSending> registered(__FILE__);
#include "tst_service_sending.moc"
