#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

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

int verifyBar(const SessionFixture& session)
{
    return session.bar("progressBarVerify").value();
}

// Bytes of the small set's images.
constexpr int kSizeA = 600;
constexpr int kSizeB = 256;

} // namespace

/// How the images are sent.
class TestImages : public QObject
{
    Q_OBJECT

private slots:
    void announcesInHexadecimal_data()
    {
        QTest::addColumn<QList<int>>("numbers");
        QTest::addColumn<QByteArray>("header");
        QTest::newRow("shipped") << QList<int>{0, 1, 340, 230} << QByteArray("$I,00,01,154,E6");
        QTest::newRow("one digit") << QList<int>{1, 2, 3, 15} << QByteArray("$I,01,02,03,0F");
        QTest::newRow("two digits") << QList<int>{16, 255, 99, 171} << QByteArray("$I,10,FF,63,AB");
        QTest::newRow("above 0xFF")
            << QList<int>{256, 511, 4095, 65536} << QByteArray("$I,100,1FF,FFF,10000");
        QTest::newRow("nothing") << QList<int>{0, 0, 0, 0} << QByteArray("$I,00,00,00,00");
    }

    void announcesInHexadecimal()
    {
        QFETCH(QList<int>, numbers);
        QFETCH(QByteArray, header);
        const TestImage image{4, numbers.at(0), numbers.at(1), numbers.at(2), numbers.at(3)};
        SessionFixture session(JobImagesOnly, 1, setOfImages({image}));
        session.enterBootloader();
        session.step(4);
        QCOMPARE(session.sent(), framed(header));
    }

    void sendsAnImageInBlocks_data()
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

    void sendsAnImageInBlocks()
    {
        QFETCH(int, size);
        QFETCH(int, blocks);
        QFETCH(int, lastBytes);
        const QList<TestImage> images{{size, 5, 1, 340, 230}, {3, 9, 1, 1, 1}};
        const QByteArrayList expected = blockLines(pixelsOfSize(size, 5));
        QCOMPARE(expected.size(), qsizetype(blocks));
        QCOMPARE(expected.last().count(','), qsizetype(1 + lastBytes));
        QCOMPARE(expected.last().left(6),
            blocks == 611 ? QByteArray("$F,262") : expected.last().left(6));

        SessionFixture session(JobImagesOnly, 1, setOfImages(images));
        session.enterBootloader();
        session.reply("$IACK,0");
        for (int block = 0; block < blocks; ++block) {
            QCOMPARE(session.sent(), framed(expected.at(block)));
            QCOMPARE(session.port().blockNumber, block);
            QCOMPARE(session.port().imageOffset, block * 256);
            QCOMPARE(session.port().imageStep, block == blocks - 1 ? 2 : 1);
            session.reply(acknowledge(block));
            QCOMPARE(verifyBar(session), qMin((block + 1) * 256, size));
        }
        QCOMPARE(session.sent(), framed(headerLine(images.at(1))));
        QCOMPARE(session.port().imageIndex, 1);
    }

    void sendsAMissingImageWithoutBytes()
    {
        ReleaseSetFiles files = smallReleaseSet();
        files.remove(QStringLiteral("a.c"));
        SessionFixture session(JobImagesOnly, 1, files);
        session.enterBootloader();
        session.step(4);
        QCOMPARE(session.sent(), framed("$I,00,01,00,00"));
        session.reply("$IACK,0");
        QCOMPARE(session.sent(), framed("$F,00"));
        QCOMPARE(session.port().imageStep, 2);
        session.reply("$FACK,00");
        QCOMPARE(session.sent(), framed(kHeaderB));
        QCOMPARE(verifyBar(session), 0);
    }

    void endsAtOnceWithoutImages_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("images only") << int(JobImagesOnly);
        QTest::newRow("after the firmware") << int(JobUpdate);
    }

    void endsAtOnceWithoutImages()
    {
        QFETCH(int, mode);
        SessionFixture session(mode, 1, setOfImages({}));
        session.step(13);
        session.reply("$Bootloader");
        session.step(2);
        (void)session.sent();
        if (mode == JobUpdate) {
            session.setFields({{"flashAddress", 0xE0000}, {"fwStep", 2}});
            session.reply("$PACK");
        }
        // By then the first header would be due. Four more steps close the port.
        for (int i = 0; i < 8 && session.port().state == 5; ++i)
            session.step();
        QCOMPARE(session.port().state, 15);
        QCOMPARE(session.port().ticks, 0);
        QCOMPARE(session.sent(), framed("$X"));
        session.step(4);
        QVERIFY(!session.port().isOpen());
        QCOMPARE(session.sent(), QByteArray());
        QCOMPARE(session.log(), QStringLiteral("Bootload Complete"));
    }

    void erasesWithoutImages()
    {
        SessionFixture session(JobEraseImages, 1, setOfImages({}));
        session.enterBootloader();
        session.reply("$AACK,0");
        QCOMPARE(session.port().state, 4);
        session.reply("$AACK,1");
        QCOMPARE(session.sent(), framed("$X"));
    }

    void endsAnImageByALateAnswerWhileItWaitsToBeginAgain_data()
    {
        QTest::addColumn<int>("image");
        QTest::addColumn<int>("steps");
        for (int steps = 4; steps <= 10; ++steps) {
            QTest::addRow("three blocks, late by %d steps", steps) << 0 << steps;
            QTest::addRow("one block, late by %d steps", steps) << 1 << steps;
        }
    }

    void endsAnImageByALateAnswerWhileItWaitsToBeginAgain()
    {
        QFETCH(int, image);
        QFETCH(int, steps);
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        for (int held = 0; held < image; ++held)
            session.reply("$IACK,1");
        const int last = static_cast<int>(blockLines(smallImage(image)).size()) - 1;
        session.reply("$IACK,0");
        for (int block = 0; block < last; ++block)
            session.reply(acknowledge(block));
        (void)session.sent();
        session.step(steps);
        QCOMPARE(session.sent(), QByteArray());

        session.reply(acknowledge(last));
        QCOMPARE(session.sent(), framed(image == 0 ? kHeaderB : kHeaderC));
        QCOMPARE(session.port().imageIndex, image + 1);
        QCOMPARE(session.port().imageOffset, 0);
        QCOMPARE(session.port().imageWait, 3);
        QCOMPARE(verifyBar(session), image == 0 ? kSizeA : kSizeA + kSizeB);

        // Doubled, it is the answer to a block of the image before.
        const QString before = toText(session.fields());
        session.reply(acknowledge(last));
        QCOMPARE(toText(session.fields()), before);
        QCOMPARE(session.sent(), QByteArray());
    }

    void ignoresALateAnswerOnceTheImageIsAnnouncedAgain()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.reply("$IACK,1");
        session.reply("$IACK,0");
        (void)session.sent();
        session.step(11);
        QCOMPARE(session.sent(), framed(kHeaderB));
        const QString before = toText(session.fields());
        session.reply("$FACK,00");
        QCOMPARE(toText(session.fields()), before);
        QCOMPARE(session.sent(), QByteArray());
    }

    void takesNoLateAnswerForAnImageThatWasNotSent()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.reply("$IACK,1");
        session.reply("$IACK,0");
        (void)session.sent();
        // After its only block the board says that it has the image: the next one waits for its
        // header.
        session.reply("$IACK,1");
        QCOMPARE(session.port().imageIndex, 2);
        QCOMPARE(session.port().imageStep, 0);
        const QString before = toText(session.fields());
        session.reply("$FACK,00");
        QCOMPARE(toText(session.fields()), before);
        QCOMPARE(session.sent(), QByteArray());
    }

    void ignoresALateAnswerToAnotherBlockWhileAnImageWaits()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.reply("$IACK,0");
        session.reply("$FACK,00");
        session.reply("$FACK,01");
        session.step(5);
        (void)session.sent();
        const QString before = toText(session.fields());
        session.reply("$FACK,01");
        QCOMPARE(toText(session.fields()), before);
        QCOMPARE(session.sent(), QByteArray());
    }

    // The answer names no image: a header that is sent again is answered again, and none of these
    // answers is the next image's.
    void passesOverSurplusAnswersForAnImageThatIsThere()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.step(8);
        QCOMPARE(session.sent(), framedAll(QByteArrayList(2, kHeaderA)));
        // Three headers are out.
        session.reply("$IACK,1");
        QCOMPARE(session.sent(), framed(kHeaderB));
        const QString before = toText(session.fields());
        session.reply("$IACK,1");
        session.reply("$IACK,1");
        QCOMPARE(toText(session.fields()), before);
        QCOMPARE(session.sent(), QByteArray());
        // One more is an answer to the second image's.
        session.reply("$IACK,1");
        QCOMPARE(session.sent(), framed(kHeaderC));
        session.reply("$IACK,1");
        QCOMPARE(session.sent(), framed("$X"));
    }

    void sendsAnImageInSpiteOfSurplusAnswers()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.step(4);
        (void)session.sent();
        session.reply("$IACK,1");
        QCOMPARE(session.sent(), framed(kHeaderB));
        // The surplus answer was lost: this one is the second image's.
        session.reply("$IACK,0");
        QCOMPARE(session.sent(), framed(blockLine(0, 1)));
    }

    void passesOverASurplusAnswerThatWouldLeaveTheImageOut()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.reply("$IACK,0");
        session.step(4);
        (void)session.sent();
        session.reply("$FACK,00,1");
        QCOMPARE(session.sent(), framed(blockLine(1, 0)));
        session.reply("$FACK,00,1");
        QCOMPARE(session.port().imageIndex, 0);
        QCOMPARE(session.sent(), QByteArray());
        session.reply("$FACK,00,1");
        QCOMPARE(session.port().imageIndex, 1);
    }

    // Or a block that was sent twice would have all that follow sent twice.
    void passesOverSurplusAnswersToABlock()
    {
        SessionFixture session(JobImagesOnly);
        session.enterBootloader();
        session.reply("$IACK,0");
        session.step(8);
        QCOMPARE(session.sent(), framedAll(QByteArrayList(3, blockLine(0, 0))));
        session.reply("$FACK,00");
        QCOMPARE(session.sent(), framed(blockLine(1, 0)));
        const QString before = toText(session.fields());
        session.reply("$FACK,00");
        session.reply("$FACK,00");
        QCOMPARE(toText(session.fields()), before);
        QCOMPARE(session.sent(), QByteArray());
        // One more is no answer to a line that was sent.
        session.reply("$FACK,00");
        QCOMPARE(session.sent(), framed(blockLine(1, 0)));
    }
};

static const RegisteredTest<TestImages> registered(__FILE__);
#include "tst_images.moc"
