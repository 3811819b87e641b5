#include "bootload/ImageParser.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>
#include <QTemporaryFile>

#include <limits>

namespace {

/// The descriptor as converters write it, of an image of 2 x 1 pixels.
QByteArray menuDescriptor()
{
    return "const lv_img_dsc_t Menu_2x1 = {\n"
           "  .header.cf = LV_IMG_CF_TRUE_COLOR,\n"
           "  .header.always_zero = 0,\n"
           "  .header.reserved = 0,\n"
           "  .header.w = 2,\n"
           "  .header.h = 1,\n"
           "  .data_size = 2 * LV_COLOR_SIZE / 8,\n"
           "  .data = Menu_2x1_map,\n"
           "};\n";
}

ImageFile parsed(const QByteArray& text)
{
    ImageFile image;
    parseImage(text, image);
    return image;
}

QByteArray hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

/// The bytes of an array whose inside is `inside`.
QByteArray bytesOf(const QByteArray& inside)
{
    return parsed("map[] = {" + inside + "};\n" + menuDescriptor()).data;
}

} // namespace

class TestImageParser : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Two lines for each of hundreds of texts would hide what failed.
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    }

    void cleanupTestCase() { QLoggingCategory::setFilterRules({}); }

    void aNewImageIsEmpty()
    {
        const ImageFile image;
        QVERIFY(image.data.isEmpty());
        QCOMPARE(image.width, 0);
        QCOMPARE(image.height, 0);
        QCOMPARE(image.imageName, 0);
        QCOMPARE(image.imageVersion, 0);
    }

    void readImageFileReadsToTheEndAndKeepsNothing()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write("map[] = {0x01, 0x02};");
        QVERIFY(file.seek(0));
        ImageFile image{"as it was", 1, 2, 3, 4};
        const ReadImageFile reader(&file, &image);
        QVERIFY(file.atEnd());
        QVERIFY(file.isOpen());
        QCOMPARE(image.data, QByteArray("as it was"));
        QCOMPARE(image.width, 1);
        QCOMPARE(image.height, 2);
        QCOMPARE(image.imageName, 3);
        QCOMPARE(image.imageVersion, 4);

        QVERIFY(file.seek(0));
        const ReadImageFile withoutAnImage(&file, nullptr);
        QVERIFY(file.atEnd());
    }

    void readsBytesAndSize()
    {
        const ImageFile image
            = parsed("Menu_2x1_map[] = {\n0xa5, 0x18, 0x84, 0x18,\n};\n\n" + menuDescriptor());
        QCOMPARE(image.data, hex("a5188418"));
        QCOMPARE(image.width, 2);
        QCOMPARE(image.height, 1);
    }

    void readsAnImageOfFullSize()
    {
        QByteArray text = "Menu_340x230_map[] = {\n";
        QByteArray expected;
        for (int i = 0; i < 340 * 230 * 2; ++i) {
            const int value = (i * 7 + i / 256) & 0xFF;
            expected.append(static_cast<char>(value));
            text += QString::asprintf(i % 16 == 15 ? "0x%02x,\n" : "0x%02x, ", value).toLatin1();
        }
        text += "};\nconst lv_img_dsc_t Menu_340x230 = {\n.header.w = 340,\n.header.h = 230,\n};\n";
        const ImageFile image = parsed(text);
        QCOMPARE(image.data, expected);
        QCOMPARE(image.width, 340);
        QCOMPARE(image.height, 230);
    }

    void everyByteIsReadInEitherCase()
    {
        for (unsigned value = 0; value <= 0xFF; ++value) {
            const QByteArray expected(1, static_cast<char>(value));
            QCOMPARE(bytesOf(QString::asprintf("0x%02x", value).toLatin1()), expected);
            QCOMPARE(bytesOf(QString::asprintf("0x%02X", value).toLatin1()), expected);
        }
    }

    void readsTheArray_data()
    {
        QTest::addColumn<QByteArray>("inside");
        QTest::addColumn<QByteArray>("bytes");
        const auto row = [](const char* name, const QByteArray& inside, const char* bytes) {
            QTest::newRow(name) << inside << hex(bytes);
        };
        row("empty", "", "");
        row("only blanks", " \r\n\t ", "");
        row("only commas", ",,,", "");
        row("last literal without a comma", "0x00", "00");
        row("trailing comma", "0x00, ", "00");
        row("several literals a line", "\n0x01, 0x02, 0x03,\n0x04, 0x05, 0x06\n", "010203040506");
        row("one literal a line", "\n0x01,\n0x02,\n0x03,\n", "010203");
        row("CRLF", "\r\n0x01, 0x02,\r\n0x03, 0x04,\r\n", "01020304");
        row("carriage returns alone", "\r0x01,\r0x02,\r", "0102");
        row("tabs", "\t0x01,\t0x02\t,", "0102");
        row("no blanks", "0x01,0x02,0x03", "010203");
        row("empty places between commas", "0x01,,0x02, ,0x03", "010203");
        row("one digit", "0x7,", "07");
        row("no digit", "0x,", "00");
        row("three digits keep the low byte", "0x123", "23");
        row("four digits keep the low byte", "0x1234", "34");
        row("more than 32 bits keep the low byte", "0x123456789ABCDEF0A5", "a5");
        row("no hexadecimal digit counts as zero", "0xg1", "01");
        row("the last one too", "0x1g", "10");
        row("a suffix is read as a digit", "0xA5u", "50");
        row("unusual ones among usual ones", "0x01, 0x2, 3, 0x04,0x05,\t0x0g, 0x06,0x007",
            "01020405000607");
        row("a usual one that only begins so", "0x12,0x34,0x567,0x89", "12346789");
        row("a usual one without its comma at the end", "0x12,0x34,0x5", "123405");
        row("capital X", "0XA5, 0x01", "01");
        row("decimal", "165, 0x01", "01");
        row("decimal zero", "0, 0x01", "01");
        row("octal", "0245, 0x01", "01");
        row("only an x", "x12, 0x01", "01");
        row("00x is no prefix", "00x12, 0x01", "01");
        row("a letter before", "a0x12, 0x01", "01");
        row("a cast before", "(uint8_t)0x12, 0x01", "01");
        row("a sign is passed over", "-0x12, +0x34", "1234");
        row("brackets are passed over", "(0x12), [0x34]", "1234");
        row("an underscore is passed over", "0x1_2, _0x34", "1234");
        row("a blank within a literal is passed over", "0x 1 2, 0 x34", "1234");
        row("a line end within a literal is passed over", "0x\n12", "12");
        row("literals without a comma are one", "0x12 0x34", "34");
        row("a brace within is passed over", "{0x12, {0x34", "1234");
        row("a string", "\"0x12\", '0x34'", "1234");
        row("a NUL is passed over",
            QByteArray("0x\0"
                       "12,\0"
                       "0x34",
                12),
            "1234");
        row("bytes above 7F are passed over",
            "\x80"
            "0x1\xE9"
            "2\xFF, \xB0\xE1"
            "0x34\xC1",
            "1234");
        row("neighbours of letters and digits are passed over", "/0x1:2@,[0x3`4{", "1234");
    }

    void readsTheArray()
    {
        QFETCH(QByteArray, inside);
        QFETCH(QByteArray, bytes);
        QCOMPARE(bytesOf(inside), bytes);
    }

    void textThatIsNoLiteralJoinsItsNeighbour_data()
    {
        QTest::addColumn<QByteArray>("inside");
        QTest::addColumn<QByteArray>("bytes");
        const auto row = [](const char* name, const char* inside, const char* bytes) {
            QTest::newRow(name) << QByteArray(inside) << hex(bytes);
        };
        row("a comment before a literal loses it", "/* red */ 0x12, 0x34", "34");
        row("a comment after a literal is read as digits", "0x12 /* ab */, 0x34", "ab34");
        row("letters that are no digits count as zeros", "0x12 /* red */, 0x34", "ed34");
        row("a comment after the comma loses the next", "0x12, // first\n0x34, 0x56", "1256");
        row("a comment after the last comma", "0x12, 0x34, // end\n", "1234");
        row("a comment without letters", "0x12, /* --- */ 0x34, // ===\n0x56", "123456");
        row("a comma in a comment ends the token", "/* a, */ 0x12, 0x34", "1234");
        row("a literal in a comment is a byte", "0x12, /* 0x99, */ 0x34", "129934");
        row("a preprocessor line loses the next", "\n#if LV_COLOR_DEPTH == 16\n0x12, 0x34,\n",
            "34");
        row("a conditional block loses its first",
            "\n#if DEPTH == 8\n0x01, 0x02,\n#endif\n#if DEPTH == 16\n0x03, 0x04,\n#endif\n",
            "0204");
        row("a conditional end after a literal without comma", "0x12\n#endif\n", "0f");
    }

    void textThatIsNoLiteralJoinsItsNeighbour()
    {
        QFETCH(QByteArray, inside);
        QFETCH(QByteArray, bytes);
        QCOMPARE(bytesOf(inside), bytes);
    }

    void readsTheWholeFile_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        const auto row
            = [](const char* name, const QByteArray& text, const char* bytes, int width,
                  int height) { QTest::newRow(name) << text << hex(bytes) << width << height; };
        const QByteArray array = "map[] = {0x12, 0x34};\n";
        row("empty", "", "", 0, 0);
        row("no brace", "0x12, 0x34, .header.w = 5, .header.h = 6,", "", 0, 0);
        row("only an opening brace", "{", "", 0, 0);
        row("only a closing brace", "}", "", 0, 0);
        row("a closing brace before the array", "}" + array + menuDescriptor(), "1234", 2, 1);
        row("an array and nothing else", array, "1234", 0, 0);
        row("an empty array", "map[] = {};\n" + menuDescriptor(), "", 2, 1);
        row("an array that is not closed", "map[] = {0x12, 0x34, 0x56", "1234", 0, 0);
        row("an array that runs into the descriptor", "map[] = {0x12, 0x34,\n" + menuDescriptor(),
            "1234", 0, 0);
        row("a descriptor that is not closed", array + "d = {.header.w = 5, .header.h = 6", "1234",
            5, 0);
        row("a descriptor that ends right after its brace", array + "d = {", "1234", 0, 0);
        row("an empty descriptor", array + "d = {};", "1234", 0, 0);
        row("a second descriptor is not read", array + "d = {.header.w = 5};\n" + menuDescriptor(),
            "1234", 5, 0);
        row("no line end between", "{0x12}{.header.w=5,.header.h=6}", "12", 5, 6);
        row("text between them is passed over", array + ".header.w = 9, 0x99,\n" + menuDescriptor(),
            "1234", 2, 1);
        row("preprocessor lines and comments before the array",
            "/* a screen, 0x99, .header.w = 9 */\n#if defined(SIMPLE)\n#include "
            "\"lvgl.h\"\n#endif\n"
                + array + menuDescriptor(),
            "1234", 2, 1);
        row("a comment after the array", "{0x12};\n// 0x99, .header.w = 9,\n" + menuDescriptor(),
            "12", 2, 1);
        row("a brace in a comment opens the array",
            "/* { */ map[] = {0x12, 0x34};\n" + menuDescriptor(), "34", 2, 1);
        row("a brace in a comment closes the array", "{0x12, /* } */ 0x34};\n" + menuDescriptor(),
            "12", 2, 1);
        row("an array of arrays gives its first", "{{0x12}, {0x34}}\n" + menuDescriptor(), "12", 0,
            0);
        row("CRLF", QByteArray(array + menuDescriptor()).replace("\n", "\r\n"), "1234", 2, 1);
        row("bytes above 7F", "\xEF\xBB\xBF// \xE9\xFF\n" + array + "// \x80\n" + menuDescriptor(),
            "1234", 2, 1);
    }

    void readsTheWholeFile()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, bytes);
        QFETCH(int, width);
        QFETCH(int, height);
        const ImageFile image = parsed(text);
        QCOMPARE(image.data, bytes);
        QCOMPARE(image.width, width);
        QCOMPARE(image.height, height);
    }

    void readsTheEntries_data()
    {
        QTest::addColumn<QByteArray>("entries");
        QTest::addColumn<int>("width");
        const auto row = [](const char* name, const QByteArray& entries, int width) {
            QTest::newRow(name) << entries << width;
        };
        row("no blanks", ".header.w=340,", 340);
        row("many blanks", "  .header.w   =   340  ,", 340);
        row("tabs and line ends", "\r\n\t.header.w\t=\r\n340\r\n,", 340);
        row("last without a comma", ".header.w = 340", 340);
        row("after others", ".header.cf = X, .header.h = 1, .header.w = 340", 340);
        row("case counts", ".header.W = 340,", 0);
        row("no point", "header.w = 340,", 0);
        row("longer key", ".header.width = 340,", 0);
        row("nested", ".a.header.w = 340,", 0);
        row("blank within the key", ".header. w = 340,", 0);
        row("comment before the key", "/* px */ .header.w = 340,", 0);
        row("comment after the value", ".header.w = 340 /* px */,", 0);
        row("comment line after the comma spoils the next", ".a = 1, // px\n.header.w = 340,", 0);
        row("colon instead of equals", ".header.w : 340,", 0);
        row("two equals signs", ".header.w == 340,", 340);
        row("equals sign within the value", ".header.w = 3=40,", 340);
        row("no value", ".header.w,", 0);
        row("empty value", ".header.w = ,", 0);
        row("hexadecimal", ".header.w = 0x154,", 0);
        row("a word", ".header.w = WIDTH,", 0);
        row("a product", ".header.w = 2 * 170,", 0);
        row("a fraction", ".header.w = 340.0,", 0);
        row("text after a NUL", QByteArray(".header.w = 340\0px,", 19), 0);
        row("a NUL before the number",
            QByteArray(".header.w = \0"
                       "340,",
                17),
            0);
        row("a NUL alone after the number", QByteArray(".header.w = 340\0,", 17), 0);
        row("a suffix", ".header.w = 340u,", 0);
        row("leading zeros", ".header.w = 00340,", 340);
        row("negative", ".header.w = -5,", -5);
        row("largest", ".header.w = 2147483647,", 2147483647);
        row("one too large", ".header.w = 2147483648,", 0);
        row("smallest", ".header.w = -2147483648,", std::numeric_limits<int>::min());
        row("far too large", ".header.w = 99999999999999999999999999,", 0);
        row("a repeated key takes the last", ".header.w = 1, .header.w = 340,", 340);
        row("even when the last is no number", ".header.w = 340, .header.w = x,", 0);
        row("high bytes in the key", "\xE9.header.w = 340,", 0);
        row("high bytes in the value", ".header.w = 340\x80,", 0);
        row("high bytes in other entries", ".name = \"\xE9\xFF\", .header.w = 340,", 340);
    }

    void readsTheEntries()
    {
        QFETCH(QByteArray, entries);
        QFETCH(int, width);
        QCOMPARE(parsed("{0x00};\nd = {" + entries + "};").width, width);
        // The height is read by the same rules.
        QByteArray height = entries;
        height.replace(".header.h", ".other").replace(".header.w", ".header.h");
        height.replace(".header.W", ".header.H");
        QCOMPARE(parsed("{0x00};\nd = {" + height + "};").height, width);
    }

    void addsToWhatTheImageHasAndLeavesWhatIsNotNamed()
    {
        ImageFile image{"ab", 7, 8, 9, 10};
        parseImage("{0x63};\nd = {.header.h = 1};", image);
        QCOMPARE(image.data, QByteArray("abc"));
        QCOMPARE(image.width, 7);
        QCOMPARE(image.height, 1);
        QCOMPARE(image.imageName, 9);
        QCOMPARE(image.imageVersion, 10);
    }

    void aTokenMayBeAsLongAsTheFile()
    {
        const QByteArray many(1'000'000, '1');
        QCOMPARE(bytesOf("0x" + many + "a5, 0x01"), hex("a501"));
        QCOMPARE(bytesOf(many + ", 0x01"), hex("01"));
        QCOMPARE(parsed("{0x01} {." + many + " = 2, .header.w = 3}").width, 3);
        QCOMPARE(parsed("{0x01} {.header.w = " + many + ", .header.h = 3}").width, 0);
    }
};

static const RegisteredTest<TestImageParser> registered(__FILE__);
#include "tst_imageparser.moc"
