#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

namespace {

constexpr int kAreaStart = 0x1000;
constexpr int kAreaEnd = 0xE0000;
constexpr int kPageLines = 64;

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

/// Every line that sends the firmware, in order.
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
void enterFirmware(SessionFixture& session)
{
    session.step(13);
    session.reply("$Bootloader");
    session.step(2);
    (void)session.sent();
    session.step(4);
}

/// The words of what was sent, one after the other.
QByteArray takeWords(SessionFixture& session)
{
    QByteArray words;
    const QByteArray sent = session.sent();
    for (qsizetype start = sent.indexOf('$'); start >= 0; start = sent.indexOf('$', start + 1))
        words += sent.mid(start, 2);
    return words;
}

/// Acknowledges a page's data lines, of which the first one is out, to the last but for what the
/// last one leads to.
void fillPage(SessionFixture& session, int lines = kPageLines)
{
    for (int line = 0; line < lines; ++line) {
        (void)session.sent();
        session.reply("$DACK");
    }
}

} // namespace

/// How the firmware is sent.
class TestFirmware : public QObject
{
    Q_OBJECT

private slots:
    void walksThroughAllPages_data()
    {
        QTest::addColumn<QByteArray>("firmware");
        QTest::newRow("ends within a line") << firmwareOfSize(0xDE7A9);
        QTest::newRow("longer than the area") << firmwareOfSize(0xE0000 + 500);
    }

    void walksThroughAllPages()
    {
        QFETCH(QByteArray, firmware);
        const QByteArrayList walk = wholeWalk(firmware);
        QCOMPARE(walk.size(), qsizetype(223 * 66));
        SessionFixture session(JobUpdate, 1, setWithFirmware(firmware));
        enterFirmware(session);
        session.step();

        int stored = 0;
        for (const QByteArray& line : walk) {
            QCOMPARE(session.sent(), framed(line));
            QCOMPARE(session.port().state, 11);
            stored += line.startsWith("$D") ? 64 : 0;
            session.reply(answerTo(line));
            const bool done = stored == kAreaEnd - kAreaStart && line.startsWith("$P");
            const int shown = done ? 0xDF006 : qMin(stored, 0xDEFFF);
            QCOMPARE(session.bar("progressBarLoad").value(), shown);
        }
        QCOMPARE(session.port().state, 5);
        QCOMPARE(session.sent(), QByteArray());
        QCOMPARE(session.log(), QString());
        QCOMPARE(session.bar("progressBarVerify").value(), 0);
    }

    void takesDataFromTheOffsetOfItsAddress_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QList<int>>("addresses");
        const auto row = [](int size, const QList<int>& addresses) {
            QTest::addRow("%x bytes", static_cast<unsigned>(size)) << size << addresses;
        };
        // The size that ships, up to its end and after it.
        row(0xDF000, {0x1000, 0x1040, 0xDEF80, 0xDEFC0, 0xDF000, 0xDFFC0});
        for (const int size : {0x203F, 0x2040, 0x2041, 0x207F, 0x2080})
            row(size, {0x2000, 0x2040, 0x2080});
        row(0x1001, {0x1000, 0x1040});
        row(0x800, {0x1000});
        row(0, {0x1000, 0xDFFC0});
        row(0xDFFFF, {0xDFFC0});
        row(0xE0001, {0xDFFC0});
    }

    void takesDataFromTheOffsetOfItsAddress()
    {
        QFETCH(int, size);
        QFETCH(QList<int>, addresses);
        const QByteArray firmware = firmwareOfSize(size);
        SessionFixture session(JobUpdate, 1, setWithFirmware(firmware));
        enterFirmware(session);
        for (const int address : addresses) {
            session.setFields({{"fwStep", 1}, {"ticks", 4}, {"flashAddress", address}});
            session.step();
            QCOMPARE(session.sent(), framed(dataLine(firmware, address)));
        }
    }

    void fillsAPageAgainWhoseDataLineWasSentTwice()
    {
        SessionFixture session;
        session.enterBootloader();
        session.reply("$EACK");
        session.step(3);
        QCOMPARE(takeWords(session), QByteArray("$D"));
        session.step();
        QCOMPARE(takeWords(session), QByteArray("$D"));
        // Three times at most; then it is programmed as it is.
        constexpr int kEnd = 0x1000;
        QProgressBar& bar = session.bar("progressBarLoad");
        fillPage(session, kPageLines / 2);
        for (const char* const next : {"$E", "$E", "$E", "$P"}) {
            fillPage(session, kPageLines / 2);
            QCOMPARE(session.sent().left(2), QByteArray(next));
            QCOMPARE(bar.value(), kEnd);
            if (QByteArray(next) == "$P")
                break;
            QCOMPARE(session.port().flashAddress, kAreaStart);
            session.reply("$EACK");
            session.step(4);
            fillPage(session, kPageLines / 2);
            // It does not step back meanwhile.
            QCOMPARE(bar.value(), kEnd);
        }
        // The next page counts from the beginning.
        session.reply("$PACK");
        QCOMPARE(session.sent(), framed("$E,2000,1"));
        session.reply("$EACK");
        session.step(4);
        QCOMPARE(takeWords(session), QByteArray("$D$D"));
        fillPage(session);
        QCOMPARE(session.sent(), framed("$E,2000,1"));
        QCOMPARE(bar.value(), 2 * kEnd);
    }

    void programsAPageWhoseEraseLineAloneWasSentTwice()
    {
        SessionFixture session;
        session.enterBootloader();
        session.step(4);
        QCOMPARE(session.sent(), framed("$E,1000,1"));
        session.reply("$EACK");
        (void)session.sent();
        fillPage(session);
        QCOMPARE(session.sent(), framed("$P,1000,1000"));
    }

    void fillsAPageAgainAfterASurplusEraseAnswer()
    {
        SessionFixture session;
        session.enterBootloader();
        session.step(4);
        session.reply("$EACK");
        // It has the page's first line sent again.
        session.reply("$EACK");
        QCOMPARE(takeWords(session), QByteArray("$E$D$D"));
        fillPage(session);
        QCOMPARE(session.sent(), framed("$E,1000,1"));
    }

    void fillsAPageAgainThatIsNotProgrammed()
    {
        SessionFixture session;
        session.enterBootloader();
        for (int fill = 0; fill < 4; ++fill) {
            session.reply("$EACK");
            (void)session.sent();
            fillPage(session);
            session.step(3 * 18);
            QCOMPARE(takeWords(session), QByteArray("$P$P$P$P"));
            session.step(17 + 2);
            // The fourth time it is programmed as it is, without limit.
            QCOMPARE(session.sent(), framed(fill < 3 ? "$E,1000,1" : "$P,1000,1000"));
        }
    }
};

static const RegisteredTest<TestFirmware> registered(__FILE__);
#include "tst_firmware.moc"
