#include "tests/session/SessionSamples.h"

#include <QTest>

namespace {

struct TestImage
{
    int size;
    int number;
    int version;
    int width;
    int height;
};

/// `size` bytes, different for each `seed`.
QByteArray pixelsOfSize(int size, int seed)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(i * 5 + i / 256 + seed));
    return bytes;
}

/// A set of these images; the pixels' seed is the image's number.
ReleaseSetFiles setOfImages(const QList<TestImage>& images)
{
    ReleaseSetFiles files = smallReleaseSet();
    QByteArrayList entries;
    for (const TestImage& image : images) {
        const QByteArray name = "image" + QByteArray::number(entries.size()) + ".c";
        entries << R"({"FileName": ")" + name + R"(", "ImageName": )"
                + QByteArray::number(image.number) + R"(, "ImageVersion": )"
                + QByteArray::number(image.version) + "}";
        files.insert(QString::fromUtf8(name),
            imageSource(pixelsOfSize(image.size, image.number), image.width, image.height));
    }
    files.insert(QStringLiteral("settings.json"),
        R"({"Version": "T.08", "Images": [)" + entries.join(',') + "]}");
    return files;
}

QByteArray headerLine(const TestImage& image)
{
    return "$I," + hexByte(image.number) + "," + hexByte(image.version) + "," + hexByte(image.width)
        + "," + hexByte(image.height);
}

QByteArray acknowledge(int block)
{
    return "$FACK," + QByteArray::number(block, 16).toUpper();
}

int verifyBar(const SessionBench& bench)
{
    return bench.bar("progressBarVerify").value();
}

// Bytes of the small set's images.
constexpr int kSizeA = 600;
constexpr int kSizeB = 256;
constexpr int kSizeC = 16;

} // namespace

/// The images' way to the board.
class TestImages : public QObject
{
    Q_OBJECT

private slots:
    void announcesInHexadecimal_data();
    void announcesInHexadecimal();
    void sendsAnImageInBlocks_data();
    void sendsAnImageInBlocks();
    void sendsTwentyImages();
    void sendsAMissingImageWithoutBytes();
    void announcesAMissingImageWithoutSize();
    void endsAtOnceWithoutImages_data();
    void endsAtOnceWithoutImages();
    void erasesWithoutImages();
    void movesOnAndAnnouncesAtOnce();
    void sendsABlockAgainUntilItIsAcknowledged();
    void restartsAnImageWhoseLastBlockIsNotAcknowledged();
    void takesALateAnswerToTheLastBlock();
    void endsAnImageByALateAnswerWhileItWaitsToBeginAgain_data();
    void endsAnImageByALateAnswerWhileItWaitsToBeginAgain();
    void ignoresALateAnswerOnceTheImageIsAnnouncedAgain();
    void takesNoLateAnswerForAnImageThatWasNotSent();
    void ignoresALateAnswerToAnotherBlockWhileAnImageWaits();
    void skipsAnImageThatTheBoardHas();
    void skipsTwoImagesWhenALateAnswerIsRepeated();
    void finishesWhenTheBoardHasTheLastImage();
    void skipsTheRestOfAnImageOnRequest();
    void finishesWhenTheLastImageIsSkippedOnRequest();
    void finishesAfterTheLastBlock();
    void showsProgressOverAllImages();
    void closesThePortFourStepsAfterTheLastBlock();
};

void TestImages::announcesInHexadecimal_data()
{
    QTest::addColumn<QList<int>>("numbers");
    QTest::addColumn<QByteArray>("header");
    QTest::newRow("shipped") << QList<int>{0, 1, 340, 230} << QByteArray("$I,00,01,154,E6");
    QTest::newRow("one digit") << QList<int>{1, 2, 3, 15} << QByteArray("$I,01,02,03,0F");
    QTest::newRow("two digits") << QList<int>{16, 255, 99, 171} << QByteArray("$I,10,FF,63,AB");
    QTest::newRow("above 0xFF") << QList<int>{256, 511, 4095, 65536}
                                << QByteArray("$I,100,1FF,FFF,10000");
    QTest::newRow("nothing") << QList<int>{0, 0, 0, 0} << QByteArray("$I,00,00,00,00");
}

void TestImages::announcesInHexadecimal()
{
    QFETCH(QList<int>, numbers);
    QFETCH(QByteArray, header);
    const TestImage image{4, numbers.at(0), numbers.at(1), numbers.at(2), numbers.at(3)};
    SessionBench bench(JobImagesOnly, 1, setOfImages({image}));
    bench.enterBootloader();
    bench.step(4);
    QCOMPARE(bench.sent(), framed(header));
}

void TestImages::sendsAnImageInBlocks_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("blocks");
    QTest::addColumn<int>("lastBytes");
    QTest::newRow("1 byte") << 1 << 1 << 1;
    QTest::newRow("255 bytes") << 255 << 1 << 255;
    QTest::newRow("256 bytes") << 256 << 1 << 256;
    QTest::newRow("257 bytes") << 257 << 2 << 1;
    QTest::newRow("511 bytes") << 511 << 2 << 255;
    QTest::newRow("512 bytes") << 512 << 2 << 256;
    QTest::newRow("513 bytes") << 513 << 3 << 1;
    QTest::newRow("156400 bytes") << 156400 << 611 << 240;
}

void TestImages::sendsAnImageInBlocks()
{
    QFETCH(int, size);
    QFETCH(int, blocks);
    QFETCH(int, lastBytes);
    const QList<TestImage> images{{size, 5, 1, 340, 230}, {3, 9, 1, 1, 1}};
    const QByteArrayList expected = blockLines(pixelsOfSize(size, 5));
    QCOMPARE(expected.size(), qsizetype(blocks));
    QCOMPARE(expected.last().count(','), qsizetype(1 + lastBytes));
    QCOMPARE(
        expected.last().left(6), blocks == 611 ? QByteArray("$F,262") : expected.last().left(6));

    SessionBench bench(JobImagesOnly, 1, setOfImages(images));
    bench.enterBootloader();
    bench.reply("$IACK,0");
    for (int block = 0; block < blocks; ++block) {
        QCOMPARE(bench.sent(), framed(expected.at(block)));
        QCOMPARE(bench.port().blockNumber, block);
        QCOMPARE(bench.port().imageOffset, block * 256);
        QCOMPARE(bench.port().imageStep, block == blocks - 1 ? 2 : 1);
        bench.reply(acknowledge(block));
        QCOMPARE(verifyBar(bench), qMin((block + 1) * 256, size));
    }
    QCOMPARE(bench.sent(), framed(headerLine(images.at(1))));
    QCOMPARE(bench.port().imageIndex, 1);
}

void TestImages::sendsTwentyImages()
{
    QList<TestImage> images;
    for (int i = 0; i < 20; ++i)
        images << TestImage{1 + i * 40, i, 20 - i, i + 1, 40};
    SessionBench bench(JobImagesOnly, 1, setOfImages(images));
    bench.enterBootloader();
    // The first header has gone by; it comes again.
    bench.step(4);
    int total = 0;
    for (const TestImage& image : std::as_const(images)) {
        QCOMPARE(bench.sent(), framed(headerLine(image)));
        bench.reply("$IACK,0");
        const QByteArrayList blocks = blockLines(pixelsOfSize(image.size, image.number));
        for (int block = 0; block < blocks.size(); ++block) {
            QCOMPARE(bench.sent(), framed(blocks.at(block)));
            bench.reply(acknowledge(block));
        }
        total += image.size;
        QCOMPARE(verifyBar(bench), total);
    }
    QCOMPARE(bench.sent(), framed("$X"));
    QCOMPARE(bench.port().state, 15);
    QCOMPARE(bench.bar("progressBarVerify").maximum(), total);
}

void TestImages::sendsAMissingImageWithoutBytes()
{
    ReleaseSetFiles files = smallReleaseSet();
    files.remove(QStringLiteral("a.c"));
    SessionBench bench(JobImagesOnly, 1, files);
    bench.enterBootloader();
    bench.reply("$IACK,0");
    QCOMPARE(bench.sent(), framed("$F,00"));
    QCOMPARE(bench.port().imageStep, 2);
    bench.reply("$FACK,00");
    QCOMPARE(bench.sent(), framed(kHeaderB));
    QCOMPARE(verifyBar(bench), 0);
}

void TestImages::announcesAMissingImageWithoutSize()
{
    ReleaseSetFiles files = smallReleaseSet();
    files.remove(QStringLiteral("a.c"));
    SessionBench bench(JobImagesOnly, 1, files);
    bench.enterBootloader();
    bench.step(4);
    QCOMPARE(bench.sent(), framed("$I,00,01,00,00"));
}

void TestImages::endsAtOnceWithoutImages_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("images only") << int(JobImagesOnly);
    QTest::newRow("behind the firmware") << int(JobUpdate);
}

void TestImages::endsAtOnceWithoutImages()
{
    QFETCH(int, mode);
    SessionBench bench(mode, 1, setOfImages({}));
    bench.step(13);
    bench.reply("$Bootloader");
    bench.step(2);
    (void)bench.sent();
    if (mode == JobUpdate) {
        bench.setFields({{"flashAddress", 0xE0000}, {"fwStep", 2}});
        bench.reply("$PACK");
    }
    // Where the first header would be due at the latest; four more close the port.
    for (int i = 0; i < 8 && bench.port().state == 5; ++i)
        bench.step();
    QCOMPARE(bench.port().state, 15);
    QCOMPARE(bench.port().ticks, 0);
    QCOMPARE(bench.sent(), framed("$X"));
    bench.step(4);
    QVERIFY(!bench.port().isOpen());
    QCOMPARE(bench.sent(), QByteArray());
    QCOMPARE(bench.log(), QStringLiteral("Bootload Complete"));
}

void TestImages::erasesWithoutImages()
{
    SessionBench bench(JobEraseImages, 1, setOfImages({}));
    bench.enterBootloader();
    bench.reply("$AACK,0");
    QCOMPARE(bench.port().state, 4);
    bench.reply("$AACK,1");
    QCOMPARE(bench.sent(), framed("$X"));
}

void TestImages::movesOnAndAnnouncesAtOnce()
{
    SessionBench bench(JobImagesOnly, 1, setOfImages({{156400, 0, 1, 340, 230}, {9, 7, 2, 3, 1}}));
    bench.enterBootloader();
    bench.reply("$IACK,0");
    bench.setFields({{"imageOffset", 0x26200}, {"imageWait", 0}});
    (void)bench.sent();
    bench.step();
    const QByteArrayList blocks = blockLines(pixelsOfSize(156400, 0));
    QCOMPARE(bench.sent(), framed(blocks.last()));
    bench.reply("$FACK,262");
    QCOMPARE(bench.sent(), framed("$I,07,02,03,01"));
    QCOMPARE(bench.port().imageIndex, 1);
    QCOMPARE(bench.port().imageOffset, 0);
    QCOMPARE(bench.port().imageStep, 0);
    QCOMPARE(bench.port().imageWait, 3);
    QCOMPARE(verifyBar(bench), 156400);
}

void TestImages::sendsABlockAgainUntilItIsAcknowledged()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    const QByteArrayList blocks = blockLines(smallImage(0));
    bench.reply("$IACK,0");
    bench.reply("$FACK,00");
    QCOMPARE(bench.sent(), framed(blocks.at(0)) + framed(blocks.at(1)));
    for (int i = 0; i < 5; ++i) {
        bench.step(3);
        QCOMPARE(bench.sent(), QByteArray());
        bench.step();
        QCOMPARE(bench.sent(), framed(blocks.at(1)));
    }
    bench.reply("$FACK,01");
    QCOMPARE(bench.sent(), framed(blocks.at(2)));
}

void TestImages::restartsAnImageWhoseLastBlockIsNotAcknowledged()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    const QByteArrayList blocks = blockLines(smallImage(0));
    bench.reply("$IACK,0");
    bench.reply("$FACK,00");
    bench.reply("$FACK,01");
    QCOMPARE(bench.sent(), framedAll(blocks));
    // Three steps for the answer, one that turns back, six of the wait.
    bench.step(3);
    QCOMPARE(bench.port().imageStep, 2);
    bench.step();
    QCOMPARE(bench.port().imageStep, 0);
    bench.step(6);
    QCOMPARE(bench.sent(), QByteArray());
    bench.step();
    QCOMPARE(bench.sent(), framed(kHeaderA));
    QCOMPARE(bench.port().imageOffset, 0);

    bench.reply("$IACK,0");
    for (int block = 0; block < blocks.size(); ++block) {
        QCOMPARE(bench.sent(), framed(blocks.at(block)));
        bench.reply(acknowledge(block));
    }
    QCOMPARE(bench.sent(), framed(kHeaderB));
}

void TestImages::takesALateAnswerToTheLastBlock()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,0");
    bench.reply("$FACK,00");
    bench.reply("$FACK,01");
    bench.step(3);
    (void)bench.sent();
    bench.reply("$FACK,02");
    QCOMPARE(bench.sent(), framed(kHeaderB));
    QCOMPARE(bench.port().imageIndex, 1);
    QCOMPARE(verifyBar(bench), kSizeA);
}

void TestImages::endsAnImageByALateAnswerWhileItWaitsToBeginAgain_data()
{
    QTest::addColumn<int>("image");
    QTest::addColumn<int>("steps");
    for (int steps = 4; steps <= 10; ++steps) {
        QTest::addRow("three blocks, late by %d steps", steps) << 0 << steps;
        QTest::addRow("one block, late by %d steps", steps) << 1 << steps;
    }
}

void TestImages::endsAnImageByALateAnswerWhileItWaitsToBeginAgain()
{
    QFETCH(int, image);
    QFETCH(int, steps);
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    for (int held = 0; held < image; ++held)
        bench.reply("$IACK,1");
    const int last = static_cast<int>(blockLines(smallImage(image)).size()) - 1;
    bench.reply("$IACK,0");
    for (int block = 0; block < last; ++block)
        bench.reply(acknowledge(block));
    (void)bench.sent();
    bench.step(steps);
    QCOMPARE(bench.sent(), QByteArray());

    bench.reply(acknowledge(last));
    QCOMPARE(bench.sent(), framed(image == 0 ? kHeaderB : kHeaderC));
    QCOMPARE(bench.port().imageIndex, image + 1);
    QCOMPARE(bench.port().imageOffset, 0);
    QCOMPARE(bench.port().imageWait, 3);
    QCOMPARE(verifyBar(bench), image == 0 ? kSizeA : kSizeA + kSizeB);

    // Doubled, it is the answer to a block of the image before.
    const QString before = toText(bench.fields());
    bench.reply(acknowledge(last));
    QCOMPARE(toText(bench.fields()), before);
    QCOMPARE(bench.sent(), QByteArray());
}

void TestImages::ignoresALateAnswerOnceTheImageIsAnnouncedAgain()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,1");
    bench.reply("$IACK,0");
    (void)bench.sent();
    bench.step(11);
    QCOMPARE(bench.sent(), framed(kHeaderB));
    const QString before = toText(bench.fields());
    bench.reply("$FACK,00");
    QCOMPARE(toText(bench.fields()), before);
    QCOMPARE(bench.sent(), QByteArray());
}

void TestImages::takesNoLateAnswerForAnImageThatWasNotSent()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,1");
    bench.reply("$IACK,0");
    (void)bench.sent();
    // After its only block the board says that it has the image: the next one waits for its header.
    bench.reply("$IACK,1");
    QCOMPARE(bench.port().imageIndex, 2);
    QCOMPARE(bench.port().imageStep, 0);
    const QString before = toText(bench.fields());
    bench.reply("$FACK,00");
    QCOMPARE(toText(bench.fields()), before);
    QCOMPARE(bench.sent(), QByteArray());
}

void TestImages::ignoresALateAnswerToAnotherBlockWhileAnImageWaits()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,0");
    bench.reply("$FACK,00");
    bench.reply("$FACK,01");
    bench.step(5);
    (void)bench.sent();
    const QString before = toText(bench.fields());
    bench.reply("$FACK,01");
    QCOMPARE(toText(bench.fields()), before);
    QCOMPARE(bench.sent(), QByteArray());
}

void TestImages::skipsAnImageThatTheBoardHas()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    const SessionFields expected = with(bench.fields(), {{"imageIndex", 1}, {"imageWait", 3}});
    bench.reply("$IACK,1");
    QCOMPARE(toText(bench.fields()), toText(expected));
    QCOMPARE(bench.sent(), framed(kHeaderB));
    QCOMPARE(verifyBar(bench), kSizeA);
    bench.reply("$IACK,1");
    QCOMPARE(bench.sent(), framed(kHeaderC));
    QCOMPARE(verifyBar(bench), kSizeA + kSizeB);
    bench.reply("$IACK,0");
    QCOMPARE(bench.sent(), framedAll(blockLines(smallImage(2))));
}

// The answer names no image: a header that is sent again is answered again, and the second answer
// is taken for that of the next image.
void TestImages::skipsTwoImagesWhenALateAnswerIsRepeated()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.step(4);
    QCOMPARE(bench.sent(), framed(kHeaderA));
    bench.reply("$IACK,1");
    bench.reply("$IACK,1");
    QCOMPARE(bench.sent(), framed(kHeaderB) + framed(kHeaderC));
    QCOMPARE(bench.port().imageIndex, 2);
}

void TestImages::finishesWhenTheBoardHasTheLastImage()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,1");
    bench.reply("$IACK,1");
    (void)bench.sent();
    bench.reply("$IACK,1");
    QCOMPARE(bench.sent(), framed("$X"));
    QCOMPARE(bench.port().state, 15);
    // The acknowledgement's own step is the first of the last state.
    QCOMPARE(bench.port().ticks, 1);
    QCOMPARE(bench.port().imageIndex, 3);
    QCOMPARE(bench.port().imageWait, 0);
    QCOMPARE(verifyBar(bench), kSizeA + kSizeB + kSizeC);
}

void TestImages::skipsTheRestOfAnImageOnRequest()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,0");
    (void)bench.sent();
    const SessionFields expected = with(bench.fields(),
        // The next image goes on where this one stood.
        {{"imageIndex", 1}, {"imageStep", 2}, {"imageWait", 3}});
    bench.reply("$FACK,5,1");
    QCOMPARE(toText(bench.fields()), toText(expected));
    QCOMPARE(bench.sent(), framedAll(blockLines(smallImage(1))));
    QCOMPARE(verifyBar(bench), kSizeA);
}

void TestImages::finishesWhenTheLastImageIsSkippedOnRequest()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.setFields({{"imageIndex", 2}, {"imageStep", 1}, {"ticks", 9}});
    bench.reply("$FACK,5,1");
    QCOMPARE(bench.sent(), framed("$X"));
    QCOMPARE(bench.port().state, 15);
    QCOMPARE(bench.port().imageIndex, 3);
    QCOMPARE(verifyBar(bench), kSizeA + kSizeB + kSizeC);
    QVERIFY(bench.port().ticks <= 1);
    bench.step(4);
    QVERIFY(!bench.port().isOpen());
    QCOMPARE(bench.sent(), QByteArray());
    QCOMPARE(bench.log(), QStringLiteral("Bootload Complete"));
}

void TestImages::finishesAfterTheLastBlock()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.reply("$IACK,1");
    bench.reply("$IACK,1");
    bench.reply("$IACK,0");
    (void)bench.sent();
    const SessionFields expected = with(bench.fields(),
        {{"state", 15}, {"ticks", 1}, {"imageIndex", 3}, {"imageOffset", 0}, {"imageStep", 0},
            {"imageWait", 0}});
    bench.reply("$FACK,00");
    QCOMPARE(toText(bench.fields()), toText(expected));
    QCOMPARE(bench.sent(), framed("$X"));
    QCOMPARE(verifyBar(bench), kSizeA + kSizeB + kSizeC);
}

void TestImages::showsProgressOverAllImages()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    QList<int> shown;
    for (const char* line :
        {"$IACK,0", "$FACK,0", "$FACK,1", "$FACK,2", "$IACK,0", "$FACK,0", "$IACK,0", "$FACK,0"}) {
        bench.reply(line);
        shown << verifyBar(bench);
    }
    QCOMPARE(shown, (QList<int>{0, 256, 512, 600, 600, 856, 856, 872}));
    QCOMPARE(bench.bar("progressBarVerify").maximum(), 872);
    QCOMPARE(bench.bar("progressBarLoad").value(), 0);
}

void TestImages::closesThePortFourStepsAfterTheLastBlock()
{
    SessionBench bench(JobImagesOnly);
    bench.enterBootloader();
    bench.setFields({{"imageIndex", 2}});
    bench.reply("$IACK,0");
    bench.reply("$FACK,00");
    // The step of the acknowledgement is one of the four.
    bench.step(2);
    QVERIFY(bench.port().isOpen());
    bench.step();
    QVERIFY(!bench.port().isOpen());
    QCOMPARE(bench.log(), QStringLiteral("Bootload Complete"));
}

QTEST_MAIN(TestImages)
#include "tst_images.moc"
