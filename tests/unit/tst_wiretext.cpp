#include "protocol/WireText.h"
#include "tests/support/TestProgram.h"

#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

using protocol::WireText;

namespace {

// A walk along a line that has no separator gives up after this many bytes.
constexpr qsizetype kWalkLimit = 65535;

constexpr char kGuardByte = '\x5A';

/// `text` and its NUL on the heap, in memory of just that size, so that the sanitizer sees a read
/// past the end.
class HeapText
{
public:
    explicit HeapText(const QByteArray& text) : m_bytes(text.cbegin(), text.cend())
    {
        m_bytes.push_back('\0');
    }

    operator const char*() const { return m_bytes.data(); }

private:
    std::vector<char> m_bytes;
};

/// What `Getfield` returned and left in its output buffer.
struct Extracted
{
    int found = 0;
    QByteArray text;
    bool wroteOnlyWhatItMay = false;
};

bool isGuard(char c)
{
    return c == kGuardByte;
}

Extracted getfield(const QByteArray& line, int index, int maxLength)
{
    // Nothing may be written after `maxLength` bytes and the NUL: guard bytes show it, and after
    // them the sanitizer.
    const auto allowed = static_cast<std::ptrdiff_t>(maxLength) + 1;
    std::vector<char> out(static_cast<std::size_t>(allowed) + 8, kGuardByte);
    Extracted result;
    result.found = WireText::Getfield(HeapText(line), out.data(), index, maxLength);
    const auto firstUntouchable = out.begin() + (result.found != 0 ? allowed : 0);
    result.wroteOnlyWhatItMay = std::all_of(firstUntouchable, out.end(), isGuard);
    if (result.found != 0)
        result.text = QByteArray(out.data());
    return result;
}

} // namespace

class TestWireText : public QObject
{
    Q_OBJECT

private slots:
    void picksAField_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("index");
        QTest::addColumn<int>("found");
        QTest::addColumn<QByteArray>("text");
        const auto row = [](const char* name, const QByteArray& line, int index, const char* text) {
            QTest::newRow(name) << line << index << (text != nullptr ? 1 : 0) << QByteArray(text);
        };
        const QByteArray answer("$IACK,3*12AB");
        row("the word", answer, 0, "$IACK");
        row("after a comma", answer, 1, "3");
        row("after the checksum's star", answer, 2, "12AB");
        row("one after the last", answer, 3, nullptr);
        row("far after the last", answer, 1000, nullptr);
        row("a negative index is the first", answer, -1, "$IACK");
        row("line feed ends it", "$GACK\n", 0, "$GACK");
        row("carriage return ends it", "$GACK\r\n", 0, "$GACK");
        row("line feed ends the last", "$FACK,3\n", 1, "3");
        row("carriage return ends the last", "$FACK,3\r", 1, "3");
        row("no field in an empty line but the first", "", 1, nullptr);
        row("an empty line has an empty first field", "", 0, "");
        row("only a line feed", "\n", 0, "");
        row("nothing before the comma", ",1", 0, "");
        row("nothing between commas", "$I,,3", 1, "");
        row("nothing between comma and star", "$I,*3", 1, "");
        row("after an empty field", "$I,,3", 2, "3");
        row("nothing after the last comma", "$I,", 1, "");
        row("nothing after the star", "$I*", 1, "");
        row("only separators", ",*,", 3, "");
        row("one more than only separators", ",*,", 4, nullptr);
        row("walks over a line feed", "$A\n,7", 1, "7");
        row("walks over a carriage return", "$A\r,7", 1, "7");
        row("stops at a NUL", QByteArray("$A\0,7", 5), 1, nullptr);
        row("bytes above 7F are text", "$A,\x80\xC1\xFF", 1, "\x80\xC1\xFF");
        row("blanks are text", "$A, 7 ", 1, " 7 ");
    }

    void picksAField()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, index);
        QFETCH(int, found);
        QFETCH(QByteArray, text);
        const Extracted result = getfield(line, index, 10);
        QCOMPARE(result.found, found);
        QCOMPARE(result.text, text);
        QVERIFY(result.wroteOnlyWhatItMay);

        const auto view = protocol::field(line, index);
        QCOMPARE(view.has_value(), found == 1);
        QCOMPARE(view.value_or(QByteArrayView()).toByteArray(), text);
    }

    void cutsAFieldAtTheLongestCopy_data()
    {
        QTest::addColumn<int>("maxLength");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("nothing") << 0 << QByteArray();
        QTest::newRow("one byte") << 1 << QByteArray("1");
        QTest::newRow("one less than the field") << 4 << QByteArray("1234");
        QTest::newRow("as long as the field") << 5 << QByteArray("12345");
        QTest::newRow("one more than the field") << 6 << QByteArray("12345");
    }

    void cutsAFieldAtTheLongestCopy()
    {
        QFETCH(int, maxLength);
        QFETCH(QByteArray, text);
        for (const char* line : {"$V,12345", "$V,12345\n", "$V,12345,6", "$V,12345*ABCD"}) {
            const Extracted result = getfield(line, 1, maxLength);
            QCOMPARE(result.found, 1);
            QCOMPARE(result.text, text);
            QVERIFY(result.wroteOnlyWhatItMay);
        }
    }

    void aNegativeLongestCopyFindsNothing()
    {
        for (const int maxLength : {-1, std::numeric_limits<int>::min()}) {
            std::array<char, 4> out{kGuardByte, kGuardByte, kGuardByte, kGuardByte};
            QCOMPARE(WireText::Getfield("$V,12345", out.data(), 1, maxLength), 0);
            QVERIFY(std::all_of(out.begin(), out.end(), isGuard));
        }
    }

    void theWalkReachesSeparatorsBelowItsLimit()
    {
        const QByteArray line = QByteArray(kWalkLimit - 2, 'A') + ",7";
        QCOMPARE(getfield(line, 1, 10).text, QByteArray("7"));
        QCOMPARE(WireText::DecodeU32Field(HeapText(line), 1), 7U);
    }

    void theWalkGivesUpAtItsLimit()
    {
        const QByteArray line = QByteArray(kWalkLimit, 'A') + ",7";
        QCOMPARE(getfield(line, 1, 10).found, 0);
        QCOMPARE(WireText::DecodeU32Field(HeapText(line), 1), 0U);
    }

    void theWalkDoesNotLookPastItsLimit()
    {
        const std::vector<char> withoutNul(kWalkLimit, 'A');
        std::array<char, 4> out{};
        QCOMPARE(WireText::Getfield(withoutNul.data(), out.data(), 1, 3), 0);
        QCOMPARE(WireText::DecodeU32Field(withoutNul.data(), 1), 0U);
    }

    void countsCommas_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("count");
        QTest::newRow("empty") << QByteArray() << 0;
        QTest::newRow("a word") << QByteArray("$A") << 0;
        QTest::newRow("two fields") << QByteArray("$I,01,02") << 2;
        QTest::newRow("stars do not count") << QByteArray("$I,01*02*03") << 1;
        QTest::newRow("after a star they do") << QByteArray("$I*01,02") << 1;
        QTest::newRow("empty fields") << QByteArray(",,,") << 3;
        QTest::newRow("until the line feed") << QByteArray("$I,1\n,2,3") << 1;
        QTest::newRow("until the carriage return") << QByteArray("$I,1\r,2,3") << 1;
        QTest::newRow("until the NUL") << QByteArray("$I,1\0,2,3", 9) << 1;
        QTest::newRow("a thousand") << QByteArray(1000, ',') << 1000;
    }

    void countsCommas()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, count);
        QCOMPARE(WireText::fieldCount(HeapText(line)), count);
    }

    void matchesOnlyEqualTexts_data()
    {
        QTest::addColumn<QByteArray>("a");
        QTest::addColumn<QByteArray>("b");
        QTest::addColumn<bool>("match");
        const auto row = [](const char* name, const char* a, const char* b, bool match) {
            QTest::newRow(name) << QByteArray(a) << QByteArray(b) << match;
        };
        row("both empty", "", "", true);
        row("one empty", "", "$", false);
        row("equal", "$PACK", "$PACK", true);
        row("the second is a prefix", "$PACK", "$PAC", false);
        row("the second goes on", "$FACK", "$FACKX", false);
        row("other last letter", "$PACK", "$PACL", false);
        row("other first letter", "$PACK", "#PACK", false);
        row("case counts", "$PACK", "$pack", false);
        row("high bytes equal", "\x80\xFF", "\x80\xFF", true);
        row("high bytes differ", "\x80", "\x81", false);
        row("a line feed counts", "$GACK", "$GACK\n", false);
    }

    void matchesOnlyEqualTexts()
    {
        QFETCH(QByteArray, a);
        QFETCH(QByteArray, b);
        QFETCH(bool, match);
        QCOMPARE(WireText::StringMatch(HeapText(a), HeapText(b)), match);
        QCOMPARE(WireText::StringMatch(HeapText(b), HeapText(a)), match);
    }

    void readsDecimalNumbers_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<quint32>("value");
        const auto row = [](const char* name, const QByteArray& text, quint32 value) {
            QTest::newRow(name) << text << value;
        };
        row("empty", "", 0);
        row("zero", "0", 0);
        row("a number", "12", 12);
        row("leading zeros", "0007", 7);
        row("every digit", "1234567890", 1234567890);
        row("a letter first", "A5", 0);
        row("a letter after", "12AB", 12);
        row("a minus", "-5", 0);
        row("a plus", "+5", 0);
        row("a blank", " 5", 0);
        row("a slash, just below the digits", "/5", 0);
        row("a colon, just above the digits", "5:", 5);
        row("a point", "1.5", 1);
        row("a high byte first", "\xB1", 0);
        row("a high byte after", "7\xB1", 7);
        row("largest", "4294967295", 4294967295U);
        row("wraps to zero", "4294967296", 0);
        row("wraps to one", "4294967297", 1);
        row("wraps several times", "99999999999", 1215752191);
    }

    void readsDecimalNumbers()
    {
        QFETCH(QByteArray, text);
        QFETCH(quint32, value);
        QCOMPARE(WireText::StrToU32(HeapText(text)), value);
        QCOMPARE(protocol::decimalValue(text), value);
        QCOMPARE(WireText::DecodeU32Field(HeapText(text), 0), value);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$MVERR," + text + ",7"), 1), value);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$MVERR," + text + "*12AB\n"), 1), value);
    }

    void anAbsentNumberIsZero()
    {
        QCOMPARE(WireText::DecodeU32Field(HeapText("$MVERR,12,7"), 2), 7U);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$MVERR,12,7"), 3), 0U);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$MVERR,12,7"), 65535), 0U);
        QCOMPARE(WireText::DecodeU32Field(HeapText(""), 0), 0U);
    }

    void aNumberFieldIsCutAtThirtyTwoCharacters()
    {
        const QByteArray zeros(30, '0');
        QCOMPARE(WireText::DecodeU32Field(HeapText("$V," + zeros + "1"), 1), 1U);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$V," + zeros + "12"), 1), 12U);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$V," + zeros + "123"), 1), 12U);
        QCOMPARE(WireText::DecodeU32Field(HeapText("$V," + zeros + "123,9"), 1), 12U);
        QCOMPARE(WireText::StrToU32(HeapText(zeros + "123")), 123U);
    }

    void everyCharacterHasItsHexadecimalValue()
    {
        const QByteArray lower("0123456789abcdef");
        const QByteArray upper("0123456789ABCDEF");
        for (int code = 0; code <= 0xFF; ++code) {
            const char c = static_cast<char>(code);
            const auto position = qMax(lower.indexOf(c), upper.indexOf(c));
            const auto expected = static_cast<unsigned>(qMax(position, 0));
            QCOMPARE(WireText::HexCharDecode(c), expected);
            QCOMPARE(protocol::hexDigit(c), expected);
        }
    }

    void readsHexadecimalNumbers_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<quint32>("value");
        const auto row = [](const char* name, const QByteArray& text, quint32 value) {
            QTest::newRow(name) << text << value;
        };
        row("empty", "", 0);
        row("lower case", "ff", 255);
        row("upper case", "FF", 255);
        row("mixed case", "aBcD", 0xABCD);
        row("prefixed", "0xA5", 0xA5);
        row("prefixed in capitals", "0X1A", 0x1A);
        row("a letter after is a zero digit", "1G", 0x10);
        row("a letter first is a zero digit", "G1", 0x01);
        row("a letter between is a zero digit", "1g2", 0x102);
        row("blanks are zero digits", " 1 ", 0x10);
        row("separators are zero digits", "1,2", 0x102);
        row("high bytes are zero digits",
            "\xC1\xE1"
            "1",
            0x001);
        row("a high byte after is a zero digit", "1\xFF", 0x10);
        row("seven digits", "1234567", 0x1234567);
        row("eight digits", "89ABCDEF", 0x89ABCDEF);
        row("nine digits keep the last eight", "123456789", 0x23456789);
        row("a long text keeps the last eight", QByteArray(1000, 'F') + "12345678", 0x12345678);
        row("prefix and eight digits", "0xFFFFFFFF", 0xFFFFFFFF);
    }

    void readsHexadecimalNumbers()
    {
        QFETCH(QByteArray, text);
        QFETCH(quint32, value);
        QCOMPARE(WireText::HexStrDecode(HeapText(text)), value);
        QCOMPARE(protocol::hexValue(text), value);
    }

    void writesHexadecimalNumbers_data()
    {
        QTest::addColumn<quint32>("value");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("zero") << 0x0U << QByteArray("0");
        QTest::newRow("one digit") << 0xFU << QByteArray("F");
        QTest::newRow("two digits") << 0x10U << QByteArray("10");
        QTest::newRow("six digits") << 0x140000U << QByteArray("140000");
        QTest::newRow("seven digits") << 0xFFFFFFFU << QByteArray("FFFFFFF");
        QTest::newRow("eight digits") << 0x10000000U << QByteArray("10000000");
        QTest::newRow("largest") << 0xFFFFFFFFU << QByteArray("FFFFFFFF");
    }

    void writesHexadecimalNumbers()
    {
        QFETCH(quint32, value);
        QFETCH(QByteArray, text);
        std::array<char, 9> out{};
        out.fill(kGuardByte);
        QCOMPARE(WireText::u32ToHexStr(value, out.data()), static_cast<int>(text.size()));
        QCOMPARE(QByteArray(out.data()), text);
        QVERIFY(std::all_of(out.begin() + text.size() + 1, out.end(), isGuard));
    }

    void everyNibbleHasItsDigit()
    {
        const QByteArray digits("0123456789ABCDEF");
        for (unsigned char nibble = 0; nibble < 16; ++nibble)
            QCOMPARE(WireText::ToHex(nibble), digits[nibble]);
    }

    void whatIsNoNibbleIsMovedByFiftyFive()
    {
        for (int value = 16; value <= 0xFF; ++value)
            QCOMPARE(
                WireText::ToHex(static_cast<unsigned char>(value)), static_cast<char>(value + 55));
    }

    void writtenNumbersAreReadBack()
    {
        QRandomGenerator random(27182);
        for (int round = 0; round < 20'000; ++round) {
            const quint32 value = random.generate() >> random.bounded(32);
            std::array<char, 9> out{};
            const int digits = WireText::u32ToHexStr(value, out.data());
            QCOMPARE(QString::asprintf("%X", value).toLatin1(), QByteArray(out.data(), digits));
            QCOMPARE(WireText::HexStrDecode(out.data()), value);
            QCOMPARE(WireText::StrToU32(QByteArray::number(value).constData()), value);
        }
    }
};

static const RegisteredTest<TestWireText> registered(__FILE__);
#include "tst_wiretext.moc"
