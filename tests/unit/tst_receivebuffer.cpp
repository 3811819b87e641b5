#include "protocol/ReceiveBuffer.h"
#include "tests/support/TestProgram.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <limits>
#include <memory>

using protocol::kLineCapacity;
using protocol::ReceiveBuffer;

namespace {

constexpr qint16 kLast = kLineCapacity - 1;
constexpr char kGuardByte = '\x5A';
constexpr char kStaleByte = 's';

/// A line buffer full of stale bytes of earlier lines, between guard bytes.
struct GuardedBuffer
{
    GuardedBuffer()
    {
        before.fill(kGuardByte);
        std::fill(std::begin(bytes), std::end(bytes), kStaleByte);
        after.fill(kGuardByte);
    }

    ReceiveBuffer received() { return {bytes, index}; }

    [[nodiscard]] bool untouchedAround() const
    {
        const auto isGuard = [](char c) { return c == kGuardByte; };
        return std::all_of(before.begin(), before.end(), isGuard)
            && std::all_of(after.begin(), after.end(), isGuard);
    }

    [[nodiscard]] QByteArray contents() const { return {bytes, kLineCapacity}; }

    std::array<char, 64> before;
    char bytes[kLineCapacity];
    std::array<char, 64> after;
    qint16 index = 0;
};

/// The bytes one after the other; true when the last one was a line feed.
bool storeAll(ReceiveBuffer buffer, const QByteArray& bytes)
{
    bool lineFeed = false;
    for (const char byte : bytes)
        lineFeed = buffer.store(byte);
    return lineFeed;
}

QByteArray stale(qsizetype count)
{
    return QByteArray(count, kStaleByte);
}

} // namespace

class TestReceiveBuffer : public QObject
{
    Q_OBJECT

private slots:
    void storesOneByteAfterTheOther()
    {
        GuardedBuffer buffer;
        QVERIFY(!storeAll(buffer.received(), "$GACK"));
        QCOMPARE(buffer.index, qint16(5));
        QCOMPARE(buffer.contents(), "$GACK" + stale(kLineCapacity - 5));
        QVERIFY(buffer.untouchedAround());
    }

    void onlyALineFeedEndsALine()
    {
        for (int value = 0; value <= 0xFF; ++value) {
            GuardedBuffer buffer;
            const char byte = static_cast<char>(value);
            QCOMPARE(buffer.received().store(byte), value == 0x0A);
            QCOMPARE(buffer.bytes[0], byte);
        }
    }

    void bytesOfALineMayComeInParts()
    {
        GuardedBuffer buffer;
        QVERIFY(!storeAll(buffer.received(), "$GA"));
        QVERIFY(storeAll(buffer.received(), "CK\n"));
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("$GACK\n"));
    }

    // The line feed at every place that matters: `length` bytes and then the line feed.
    void endsTheLineAfterTheLineFeed_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<qint16>("indexAfter");
        QTest::newRow("at index 0") << 0 << qint16(1);
        QTest::newRow("at index 1") << 1 << qint16(2);
        QTest::newRow("at index 500") << 500 << qint16(501);
        QTest::newRow("at index 997") << 997 << qint16(998);
        QTest::newRow("at index 998") << 998 << qint16(999);
    }

    void endsTheLineAfterTheLineFeed()
    {
        QFETCH(int, length);
        QFETCH(qint16, indexAfter);
        GuardedBuffer buffer;
        const QByteArray line = QByteArray(length, 'A') + '\n';
        QVERIFY(storeAll(buffer.received(), line));
        QCOMPARE(buffer.index, indexAfter);
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), line);
        // No stale byte may stand between the line feed and the NUL, whoever ends the text later.
        QCOMPARE(buffer.bytes[indexAfter], '\0');
        if (indexAfter < kLast)
            QCOMPARE(buffer.bytes[indexAfter + 1], '\0');
        QCOMPARE(buffer.index, indexAfter);
        QVERIFY(buffer.untouchedAround());
    }

    void aLineFeedInTheLastByteLeavesTheFirstByteOfTheLine()
    {
        GuardedBuffer buffer;
        QVERIFY(storeAll(buffer.received(), QByteArray(kLast, 'A') + '\n'));
        QCOMPARE(buffer.index, qint16(0));
        QCOMPARE(buffer.bytes[kLast], '\n');
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("A"));
        QVERIFY(buffer.untouchedAround());
    }

    void anOverlongLineOverwritesItsOwnBeginning()
    {
        GuardedBuffer buffer;
        QVERIFY(!storeAll(buffer.received(), QByteArray(kLineCapacity, 'A')));
        QCOMPARE(buffer.index, qint16(0));
        QVERIFY(storeAll(buffer.received(), "BC\n"));
        QCOMPARE(buffer.index, qint16(3));
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("BC\n"));
        QCOMPARE(buffer.bytes[5], 'A');
        QVERIFY(buffer.untouchedAround());
    }

    void aLineFeedRightAfterTheWrapIsALineOfItsOwn()
    {
        GuardedBuffer buffer;
        QVERIFY(storeAll(buffer.received(), QByteArray(kLineCapacity, 'A') + '\n'));
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("\n"));
    }

    void theNextLineStartsAtTheBeginningAndTheOldBytesStay()
    {
        GuardedBuffer buffer;
        QVERIFY(storeAll(buffer.received(), "$FACK,12\n"));
        buffer.received().endLine();
        buffer.received().restart();
        QCOMPARE(buffer.index, qint16(0));
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("$FACK,12\n"));

        QVERIFY(storeAll(buffer.received(), "$G\n"));
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("$G\n"));
        QCOMPARE(QByteArray(buffer.bytes, 9), QByteArray("$G\n\0\0,12\n", 9));
    }

    void aNulInTheLineEndsItsText()
    {
        GuardedBuffer buffer;
        QVERIFY(storeAll(buffer.received(), QByteArray("$G\0ACK\n", 7)));
        buffer.received().endLine();
        QCOMPARE(buffer.received().text().toByteArray(), QByteArray("$G"));
    }

    void anIndexOutsideTheBufferStartsAgainAtTheBeginning_data()
    {
        QTest::addColumn<qint16>("index");
        QTest::addColumn<qsizetype>("storedAt");
        QTest::newRow("smallest") << std::numeric_limits<qint16>::min() << qsizetype(0);
        QTest::newRow("negative") << qint16(-1) << qsizetype(0);
        QTest::newRow("last inside") << kLast << qsizetype(kLast);
        QTest::newRow("first outside") << qint16(kLineCapacity) << qsizetype(0);
        QTest::newRow("largest") << std::numeric_limits<qint16>::max() << qsizetype(0);
    }

    void anIndexOutsideTheBufferStartsAgainAtTheBeginning()
    {
        QFETCH(qint16, index);
        QFETCH(qsizetype, storedAt);
        GuardedBuffer buffer;
        buffer.index = index;
        QVERIFY(!buffer.received().store('A'));
        QByteArray expected = stale(kLineCapacity);
        expected[storedAt] = 'A';
        QCOMPARE(buffer.contents(), expected);
        QCOMPARE(buffer.index, qint16((storedAt + 1) % kLineCapacity));
        QVERIFY(buffer.untouchedAround());
    }

    void endingALineAtAnyIndexStaysInsideTheBuffer()
    {
        for (int index = std::numeric_limits<qint16>::min();
             index <= std::numeric_limits<qint16>::max(); ++index) {
            GuardedBuffer buffer;
            buffer.index = static_cast<qint16>(index);
            buffer.received().endLine();
            if (!buffer.untouchedAround() || buffer.index != index)
                QFAIL(qPrintable(QStringLiteral("index %1").arg(index)));
            if ((index < -1 || index > kLast) && buffer.contents() != stale(kLineCapacity))
                QFAIL(qPrintable(QStringLiteral("contents changed at index %1").arg(index)));
        }
    }

    void terminatesOnlyInsideTheBuffer_data()
    {
        QTest::addColumn<qsizetype>("position");
        QTest::addColumn<bool>("inside");
        QTest::newRow("smallest") << std::numeric_limits<qsizetype>::min() << false;
        QTest::newRow("negative") << qsizetype(-1) << false;
        QTest::newRow("first") << qsizetype(0) << true;
        QTest::newRow("second") << qsizetype(1) << true;
        QTest::newRow("last but one") << qsizetype(kLast - 1) << true;
        QTest::newRow("last") << qsizetype(kLast) << true;
        QTest::newRow("first after") << qsizetype(kLineCapacity) << false;
        QTest::newRow("second after") << qsizetype(kLineCapacity + 1) << false;
        QTest::newRow("largest") << std::numeric_limits<qsizetype>::max() << false;
    }

    void terminatesOnlyInsideTheBuffer()
    {
        QFETCH(qsizetype, position);
        QFETCH(bool, inside);
        GuardedBuffer buffer;
        buffer.received().terminateAt(position);
        QByteArray expected = stale(kLineCapacity);
        if (inside)
            expected[position] = '\0';
        QCOMPARE(buffer.contents(), expected);
        QVERIFY(buffer.untouchedAround());
    }

    void replacesTheTextAndCutsWhatDoesNotFit_data()
    {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<qsizetype>("kept");
        QTest::newRow("nothing") << qsizetype(0) << qsizetype(0);
        QTest::newRow("one byte") << qsizetype(1) << qsizetype(1);
        QTest::newRow("one below the longest") << qsizetype(998) << qsizetype(998);
        QTest::newRow("the longest") << qsizetype(999) << qsizetype(999);
        QTest::newRow("as long as the buffer") << qsizetype(1000) << qsizetype(999);
        QTest::newRow("longer than the buffer") << qsizetype(1001) << qsizetype(999);
        QTest::newRow("three times the buffer") << qsizetype(3000) << qsizetype(999);
    }

    void replacesTheTextAndCutsWhatDoesNotFit()
    {
        QFETCH(qsizetype, size);
        QFETCH(qsizetype, kept);
        GuardedBuffer buffer;
        buffer.index = 7;
        const QByteArray text(size, 'A');
        buffer.received().replace(text);
        QCOMPARE(buffer.contents(),
            text.first(kept) + QByteArray(1, '\0') + stale(kLineCapacity - kept - 1));
        QCOMPARE(buffer.received().text().toByteArray(), text.first(kept));
        QCOMPARE(buffer.index, qint16(7));
        QVERIFY(buffer.untouchedAround());
    }

    void textWithoutANulIsTheWholeBuffer()
    {
        // On the heap and of the exact size, so that the sanitizer sees a read past the end.
        const auto bytes = std::make_unique<std::array<char, kLineCapacity>>();
        bytes->fill('A');
        qint16 index = 0;
        const ReceiveBuffer buffer(*bytes, index);
        QCOMPARE(buffer.text().toByteArray(), QByteArray(kLineCapacity, 'A'));
    }

    void anyStreamLeavesTheBytesAroundTheBufferAlone()
    {
        QRandomGenerator random(20240);
        GuardedBuffer buffer;
        const auto onTheHeap = std::make_unique<std::array<char, kLineCapacity>>();
        qint16 heapIndex = 0;
        for (int step = 0; step < 200'000; ++step) {
            // Lines of 1500 bytes on the average: many end inside the buffer, many wrap.
            const auto drawn = random.bounded(1500U);
            const char byte = drawn == 0 ? '\n' : static_cast<char>(drawn % 10);
            for (ReceiveBuffer received :
                {buffer.received(), ReceiveBuffer(*onTheHeap, heapIndex)}) {
                if (!received.store(byte))
                    continue;
                received.endLine();
                QVERIFY(received.text().size() <= kLineCapacity);
                received.restart();
            }
            if (drawn == 1)
                buffer.index = heapIndex = static_cast<qint16>(random.bounded(-40'000, 40'000));
        }
        QVERIFY(buffer.untouchedAround());
    }
};

static const RegisteredTest<TestReceiveBuffer> registered(__FILE__);
#include "tst_receivebuffer.moc"
