#include "protocol/Line.h"
#include "tests/support/TestProgram.h"

#include <array>
#include <memory>

using protocol::HexText;
using protocol::kLineCapacity;
using protocol::Line;

namespace {

// The longest text of a line: one byte of the buffer is the NUL's.
constexpr qsizetype kLongest = kLineCapacity - 1;

QByteArray letters(qsizetype count)
{
    return QByteArray(count, 'A');
}

} // namespace

class TestLine : public QObject
{
    Q_OBJECT

private slots:
    void aNewLineIsEmptyAndComplete()
    {
        Line line;
        QVERIFY(line.complete());
        QVERIFY(line.view().isEmpty());
        QCOMPARE(line.buffer()[0], '\0');
    }

    void writesBytesAsFields()
    {
        Line line(QByteArrayView("$F,00"));
        line.appendHexFields(QByteArrayView("\x00\x0A\xA0\xFF", 4));
        QCOMPARE(line.view().toByteArray(), QByteArray("$F,00,00,0A,A0,FF"));
        QCOMPARE(line.appendHexFields({}).view().size(), qsizetype(17));
        QVERIFY(line.complete());
    }

    void takesFieldsThatFit_data()
    {
        QTest::addColumn<qsizetype>("before");
        QTest::addColumn<qsizetype>("count");
        QTest::addColumn<bool>("fits");
        QTest::newRow("the longest") << qsizetype(0) << kLongest / 3 << true;
        QTest::newRow("one field more") << qsizetype(0) << kLongest / 3 + 1 << false;
        QTest::newRow("up to the end") << kLongest - 6 << qsizetype(2) << true;
        QTest::newRow("one byte beyond") << kLongest - 5 << qsizetype(2) << false;
        QTest::newRow("none in a full line") << kLongest << qsizetype(0) << true;
        QTest::newRow("far too many") << qsizetype(0) << qsizetype(100'000) << false;
    }

    void takesFieldsThatFit()
    {
        QFETCH(qsizetype, before);
        QFETCH(qsizetype, count);
        QFETCH(bool, fits);
        Line line(letters(before));
        line.appendHexFields(letters(count));
        QCOMPARE(line.complete(), fits);
        QCOMPARE(line.view().size(), fits ? before + count * 3 : before);
        QCOMPARE(line.buffer().data()[line.view().size()], '\0');
    }

    void takesWhatFits_data()
    {
        QTest::addColumn<qsizetype>("size");
        QTest::addColumn<bool>("fits");
        QTest::newRow("nothing") << qsizetype(0) << true;
        QTest::newRow("one byte") << qsizetype(1) << true;
        QTest::newRow("one below the longest") << kLongest - 1 << true;
        QTest::newRow("the longest") << kLongest << true;
        QTest::newRow("as long as the buffer") << kLongest + 1 << false;
        QTest::newRow("one more than the buffer") << kLongest + 2 << false;
        QTest::newRow("far too long") << qsizetype(100'000) << false;
    }

    void takesWhatFits()
    {
        QFETCH(qsizetype, size);
        QFETCH(bool, fits);
        const QByteArray text = letters(size);
        Line line(text);
        QCOMPARE(line.complete(), fits);
        QCOMPARE(line.view().toByteArray(), fits ? text : QByteArray());
        QCOMPARE(line.buffer().data()[line.view().size()], '\0');
    }

    void theLastByteOfTheBufferCanBeReachedInSteps()
    {
        Line line(letters(kLongest - 1));
        line.append("B");
        QVERIFY(line.complete());
        QCOMPARE(line.view().size(), kLongest);
        QCOMPARE(line.view().back(), 'B');
        QCOMPARE(line.buffer().data()[kLongest], '\0');

        line.append("");
        QVERIFY(line.complete());
    }

    void textThatDoesNotFitIsNotTakenAtAll()
    {
        Line line(letters(kLongest - 2));
        line.append("BCD");
        QVERIFY(!line.complete());
        QCOMPARE(line.view().toByteArray(), letters(kLongest - 2));
        QCOMPARE(line.buffer().data()[kLongest - 2], '\0');
    }

    void anIncompleteLineStaysIncompleteAndTakesNothingMore()
    {
        Line line("$F,1");
        line.append(letters(kLineCapacity));
        line.append(",2").appendHex(3).appendHexByte(4);
        QVERIFY(!line.complete());
        QCOMPARE(line.view().toByteArray(), QByteArray("$F,1"));
    }

    void copiesAreIndependent()
    {
        Line line("$E,");
        Line copy = line;
        copy.append("1000");
        QCOMPARE(line.view().toByteArray(), QByteArray("$E,"));
        QCOMPARE(copy.view().toByteArray(), QByteArray("$E,1000"));
    }

    void appendsInOrder()
    {
        Line line("$D,");
        line.appendHex(0xFC0).append(",").appendHexByte(0x0A).appendHexByte(0xFF);
        QCOMPARE(line.view().toByteArray(), QByteArray("$D,FC0,0AFF"));
    }

    void writesHexadecimal_data()
    {
        QTest::addColumn<quint32>("value");
        QTest::addColumn<int>("minDigits");
        QTest::addColumn<QByteArray>("digits");
        const auto row = [](const char* name, quint32 value, int minDigits, const char* digits) {
            QTest::newRow(name) << value << minDigits << QByteArray(digits);
        };
        row("zero", 0, 1, "0");
        row("one digit", 0xF, 1, "F");
        row("two digits", 0x10, 1, "10");
        row("no leading zeros", 0x1000, 1, "1000");
        row("letters are upper case", 0xABCDEF, 1, "ABCDEF");
        row("all digits", 0x90ABCDEF, 1, "90ABCDEF");
        row("largest", 0xFFFFFFFF, 1, "FFFFFFFF");
        row("zero in two", 0, 2, "00");
        row("one digit in two", 0xA, 2, "0A");
        row("two digits in two", 0xA5, 2, "A5");
        row("a value wider than two", 0x1A5, 2, "1A5");
        row("a negative number wider than two", static_cast<quint32>(-1), 2, "FFFFFFFF");
        row("zero in eight", 0, 8, "00000000");
        row("seven digits in eight", 0x1234567, 8, "01234567");
        row("eight digits in eight", 0x12345678, 8, "12345678");
        row("never fewer than one", 0, 0, "0");
        row("never more than eight", 1, 9, "00000001");
    }

    void writesHexadecimal()
    {
        QFETCH(quint32, value);
        QFETCH(int, minDigits);
        QFETCH(QByteArray, digits);
        QCOMPARE(HexText(value, minDigits).view().toByteArray(), digits);
    }

    void everyByteTakesTwoDigits()
    {
        for (unsigned value = 0; value <= 0xFF; ++value) {
            const QByteArray expected = QString::asprintf("%02X", value).toLatin1();
            QCOMPARE(Line().appendHexByte(value).view().toByteArray(), expected);
        }
    }

    void numbersOfEveryWidthHaveNoLeadingZeros()
    {
        for (unsigned bit = 0; bit < 32; ++bit) {
            const quint32 power = 1U << bit;
            for (const quint32 value : {power - 1, power, power + 1}) {
                const QByteArray expected = QString::asprintf("%X", value).toLatin1();
                QCOMPARE(Line().appendHex(value).view().toByteArray(), expected);
            }
        }
    }

    void aNumberThatDoesNotFitIsNotTakenInPart()
    {
        Line line(letters(kLongest - 3));
        line.appendHex(0x1000);
        QVERIFY(!line.complete());
        QCOMPARE(line.view().size(), kLongest - 3);

        Line fitting(letters(kLongest - 4));
        fitting.appendHex(0x1000);
        QVERIFY(fitting.complete());
        QVERIFY(fitting.view().endsWith("1000"));
    }

    void textOfABufferEndsAtTheFirstNul_data()
    {
        QTest::addColumn<qsizetype>("firstNul");
        for (const qsizetype position : {qsizetype(0), qsizetype(1), kLongest - 1, kLongest})
            QTest::addRow("NUL at %d", static_cast<int>(position)) << position;
        QTest::newRow("no NUL") << qsizetype(kLineCapacity);
    }

    void textOfABufferEndsAtTheFirstNul()
    {
        QFETCH(qsizetype, firstNul);
        // On the heap and of the exact size, so that the sanitizer sees a read past the end.
        const auto buffer = std::make_unique<std::array<char, kLineCapacity>>();
        buffer->fill('x');
        if (firstNul < kLineCapacity)
            buffer->at(static_cast<std::size_t>(firstNul)) = '\0';
        if (firstNul < kLineCapacity - 2)
            buffer->at(static_cast<std::size_t>(firstNul) + 2) = '\0';
        QCOMPARE(protocol::textOf(*buffer).size(), firstNul);
        QVERIFY(protocol::textOf(*buffer).data() == buffer->data());
    }

    void textAppendedInPlaceIsNotSeenByTheView()
    {
        Line line("$V");
        line.buffer().data()[2] = '*';
        line.buffer().data()[3] = '\0';
        QCOMPARE(line.view().toByteArray(), QByteArray("$V"));
        QCOMPARE(QByteArray(line.buffer().data()), QByteArray("$V*"));
    }
};

static const RegisteredTest<TestLine> registered(__FILE__);
#include "tst_line.moc"
