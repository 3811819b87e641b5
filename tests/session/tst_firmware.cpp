#include "tests/session/SessionBench.h"

#include <QTest>

namespace {

constexpr int kAreaStart = 0x1000;
constexpr int kAreaEnd = 0xE0000;

QByteArray hex(int value)
{
    return QByteArray::number(value, 16).toUpper();
}

/// `size` bytes of which no two neighbouring lines are alike, every byte value among them.
QByteArray firmwareOfSize(int size)
{
    QByteArray bytes;
    bytes.reserve(size);
    quint32 seed = 0x2545F491;
    for (int i = 0; i < size; ++i) {
        seed = seed * 1664525U + 1013904223U;
        bytes.append(static_cast<char>(seed >> 24U));
    }
    return bytes;
}

ReleaseSetFiles setWithFirmware(const QByteArray& firmware)
{
    ReleaseSetFiles files = smallReleaseSet();
    files.insert(QStringLiteral("fw1.bin"), firmware);
    return files;
}

/// The data line for flash address `address`; what the file has no byte for is erased flash.
QByteArray dataLine(const QByteArray& firmware, int address)
{
    QByteArray line = "$D," + hex(address % 0x1000);
    for (int i = address; i < address + 64; ++i) {
        const int byte = i < firmware.size() ? static_cast<unsigned char>(firmware.at(i)) : 0xFF;
        line += (byte < 0x10 ? ",0" : ",") + hex(byte);
    }
    return line;
}

/// Every line of the firmware's way to the board, in order.
QByteArrayList wholeWalk(const QByteArray& firmware)
{
    QByteArrayList lines;
    for (int page = kAreaStart; page < kAreaEnd; page += 0x1000) {
        lines << "$E," + hex(page) + ",1";
        for (int offset = 0; offset < 0x1000; offset += 64)
            lines << dataLine(firmware, page + offset);
        lines << "$P," + hex(page) + ",1000";
    }
    return lines;
}

/// The board's answer to `line`.
QByteArray answerTo(const QByteArray& line)
{
    return "$" + line.mid(1, 1) + "ACK";
}

/// Takes a session to the step before its first firmware line.
void enterFirmware(SessionBench& bench)
{
    bench.step(13);
    bench.reply("$Bootloader");
    bench.step(2);
    (void)bench.sent();
    bench.step(4);
}

} // namespace

/// The firmware's way to the board.
class TestFirmware : public QObject
{
    Q_OBJECT

private slots:
    void walksThroughAllPages_data();
    void walksThroughAllPages();
    void beginsWithTheFifthStep();
    void takesDataFromTheOffsetOfItsAddress_data();
    void takesDataFromTheOffsetOfItsAddress();
    void programsAPageAtOnceWhenItIsFull();
    void erasesTheNextPageAtOnce();
    void sendsDataAgainUntilItIsAcknowledged();
    void programsAgainUntilItIsAcknowledged();
    void erasesAgainWhenAnEraseIsNotAcknowledged();
    void goesOverToTheImagesBehindTheLastPage();
    void showsProgress_data();
    void showsProgress();
};

void TestFirmware::walksThroughAllPages_data()
{
    QTest::addColumn<QByteArray>("firmware");
    QTest::newRow("ends within a line") << firmwareOfSize(0xDE7A9);
    QTest::newRow("longer than the area") << firmwareOfSize(0xE0000 + 500);
}

void TestFirmware::walksThroughAllPages()
{
    QFETCH(QByteArray, firmware);
    const QByteArrayList walk = wholeWalk(firmware);
    QCOMPARE(walk.size(), qsizetype(223 * 66));
    SessionBench bench(JobUpdate, 1, setWithFirmware(firmware));
    enterFirmware(bench);
    bench.step();

    int stored = 0;
    for (const QByteArray& line : walk) {
        QCOMPARE(bench.sent(), framed(line));
        QCOMPARE(bench.port().state, 11);
        stored += line.startsWith("$D") ? 64 : 0;
        bench.reply(answerTo(line));
        const bool done = stored == kAreaEnd - kAreaStart && line.startsWith("$P");
        const int shown = done ? 0xDF006 : qMin(stored, 0xDEFFF);
        QCOMPARE(bench.bar("progressBarLoad").value(), shown);
    }
    QCOMPARE(bench.port().state, 5);
    QCOMPARE(bench.sent(), QByteArray());
    QCOMPARE(bench.log(), QString());
    QCOMPARE(bench.bar("progressBarVerify").value(), 0);
}

void TestFirmware::beginsWithTheFifthStep()
{
    SessionBench bench;
    enterFirmware(bench);
    QCOMPARE(bench.sent(), QByteArray());
    bench.step();
    QCOMPARE(bench.sent(), framed("$E,1000,1"));
    bench.reply("$EACK");
    const QByteArray firmware = smallReleaseSet().value(QStringLiteral("fw1.bin"));
    QCOMPARE(bench.sent(), framed(dataLine(firmware, 0x1000)));
}

void TestFirmware::takesDataFromTheOffsetOfItsAddress_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QList<int>>("addresses");
    const auto row = [](int size, const QList<int>& addresses) {
        QTest::addRow("%x bytes", static_cast<unsigned>(size)) << size << addresses;
    };
    // The size that ships, up to its end and behind it.
    row(0xDF000, {0x1000, 0x1040, 0xDEF80, 0xDEFC0, 0xDF000, 0xDFFC0});
    for (const int size : {0x203F, 0x2040, 0x2041, 0x207F, 0x2080})
        row(size, {0x2000, 0x2040, 0x2080});
    row(0x1001, {0x1000, 0x1040});
    row(0x800, {0x1000});
    row(0, {0x1000, 0xDFFC0});
    row(0xDFFFF, {0xDFFC0});
    row(0xE0001, {0xDFFC0});
}

void TestFirmware::takesDataFromTheOffsetOfItsAddress()
{
    QFETCH(int, size);
    QFETCH(QList<int>, addresses);
    const QByteArray firmware = firmwareOfSize(size);
    SessionBench bench(JobUpdate, 1, setWithFirmware(firmware));
    enterFirmware(bench);
    for (const int address : addresses) {
        bench.setFields({{"fwStep", 1}, {"ticks", 4}, {"flashAddress", address}});
        bench.step();
        QCOMPARE(bench.sent(), framed(dataLine(firmware, address)));
    }
}

void TestFirmware::programsAPageAtOnceWhenItIsFull()
{
    SessionBench bench;
    bench.enterBootloader();
    bench.setFields({{"flashAddress", 0x1FC0}});
    bench.reply("$DACK");
    QCOMPARE(bench.sent(), framed("$P,1000,1000"));
    QCOMPARE(bench.port().flashAddress, 0x2000);
    QCOMPARE(bench.port().fwStep, 2);
    QCOMPARE(bench.port().ticks, 1);
}

void TestFirmware::erasesTheNextPageAtOnce()
{
    SessionBench bench;
    bench.enterBootloader();
    bench.setFields({{"flashAddress", 0x2000}, {"fwStep", 2}});
    bench.reply("$PACK");
    QCOMPARE(bench.sent(), framed("$E,2000,1"));
    QCOMPARE(bench.port().fwStep, 1);
    QCOMPARE(bench.port().ticks, 1);
}

void TestFirmware::sendsDataAgainUntilItIsAcknowledged()
{
    SessionBench bench;
    bench.enterBootloader();
    bench.reply("$EACK");
    const QByteArray first = bench.sent();
    for (int i = 0; i < 5; ++i) {
        bench.step(3);
        QCOMPARE(bench.sent(), QByteArray());
        bench.step();
        QCOMPARE(bench.sent(), first);
    }
    bench.reply("$DACK");
    const QByteArray firmware = smallReleaseSet().value(QStringLiteral("fw1.bin"));
    QCOMPARE(bench.sent(), framed(dataLine(firmware, 0x1040)));
}

void TestFirmware::programsAgainUntilItIsAcknowledged()
{
    SessionBench bench;
    bench.enterBootloader();
    bench.setFields({{"flashAddress", 0x1FC0}});
    bench.reply("$DACK");
    QCOMPARE(bench.sent(), framed("$P,1000,1000"));
    for (int i = 0; i < 3; ++i) {
        bench.step(17);
        QCOMPARE(bench.sent(), QByteArray());
        bench.step();
        QCOMPARE(bench.sent(), framed("$P,1000,1000"));
    }
    bench.reply("$PACK");
    QCOMPARE(bench.sent(), framed("$E,2000,1"));
}

void TestFirmware::erasesAgainWhenAnEraseIsNotAcknowledged()
{
    SessionBench bench;
    bench.enterBootloader();
    bench.step(3);
    QCOMPARE(bench.sent(), QByteArray());
    bench.step();
    QCOMPARE(bench.sent(), framed("$E,1000,1"));
}

void TestFirmware::goesOverToTheImagesBehindTheLastPage()
{
    SessionBench bench;
    bench.enterBootloader();
    bench.setFields({{"flashAddress", 0xE0000}, {"fwStep", 2}, {"imageIndex", 2},
        {"imageOffset", 256}, {"imageStep", 1}, {"imageWait", 9}});
    const SessionFields expected = with(bench.fields(),
        {{"state", 5}, {"phase", 3}, {"flashAddress", 0x1000}, {"fwStep", 0}, {"ticks", 4},
            {"imageIndex", 0}, {"imageOffset", 0},
            // The step that follows the acknowledgement begins the wait.
            {"imageStep", 0}, {"imageWait", 6}});
    bench.reply("$PACK");
    QCOMPARE(toText(bench.fields()), toText(expected));
    QCOMPARE(bench.bar("progressBarLoad").value(), 0xDF006);
    bench.step(6);
    QCOMPARE(bench.sent(), QByteArray());
    bench.step();
    QCOMPARE(bench.sent(), framed("$I,00,01,12C,01"));
}

void TestFirmware::showsProgress_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("shown");
    QTest::newRow("first line") << 0x1000 << 0x40;
    QTest::newRow("end of the first page") << 0x1FC0 << 0x1000;
    QTest::newRow("last but one line") << 0xDFF80 << 0xDEFC0;
    QTest::newRow("last line") << 0xDFFC0 << 0xDEFFF;
    QTest::newRow("never below nothing") << 0 << 0;
}

void TestFirmware::showsProgress()
{
    QFETCH(int, before);
    QFETCH(int, shown);
    SessionBench bench;
    bench.enterBootloader();
    bench.bar("progressBarLoad").setValue(7);
    bench.setFields({{"flashAddress", before}});
    bench.reply("$DACK");
    QCOMPARE(bench.bar("progressBarLoad").value(), shown);
    QCOMPARE(bench.bar("progressBarLoad").maximum(), 0xDF006);
}

QTEST_MAIN(TestFirmware)
#include "tst_firmware.moc"
