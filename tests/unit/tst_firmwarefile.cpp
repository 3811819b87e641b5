#include "bootload/CompiledSet.h"
#include "tests/support/TestProgram.h"

#include <QRegularExpression>
#include <QTemporaryFile>

using protocol::kDataLineSize;

namespace {

constexpr qint64 kLineSize = kDataLineSize;

// Neither a multiple of a data line nor of a page, so that the last line straddles the end.
constexpr qint64 kImageSize = 100;

QByteArray imageBytes(qsizetype size = kImageSize)
{
    QByteArray bytes;
    for (qsizetype i = 0; i < size; ++i)
        bytes.append(static_cast<char>(i));
    return bytes;
}

QByteArray erased(qint64 count)
{
    return QByteArray(count, '\xFF');
}

QByteArray dataLine(QFile& file, qint64 address)
{
    const DataLineBytes bytes = readFirmware(file, address);
    return {bytes.data(), static_cast<qsizetype>(bytes.size())};
}

/// What a data line at `address` must carry of `image`.
QByteArray expectedLine(const QByteArray& image, qint64 address)
{
    const QByteArray inside = address < 0 ? QByteArray() : image.mid(address, kLineSize);
    return inside + erased(kLineSize - inside.size());
}

/// A file with `contents`, open for reading and writing.
class OpenFile : public QTemporaryFile
{
public:
    explicit OpenFile(const QByteArray& contents)
    {
        open();
        write(contents);
        flush();
    }
};

} // namespace

class TestFirmwareFile : public QObject
{
    Q_OBJECT

private slots:
    void aDataLineHasSixtyFourBytes() { QCOMPARE(DataLineBytes().size(), std::size_t(64)); }

    void erasedFlashReadsAsFf() { QCOMPARE(kErasedByte, '\xFF'); }

    void fillsUpWhatTheImageDoesNotHave_data()
    {
        QTest::addColumn<qint64>("address");
        QTest::addColumn<qint64>("fromTheImage");
        QTest::newRow("at the start") << qint64(0) << kLineSize;
        QTest::newRow("inside") << qint64(20) << kLineSize;
        QTest::newRow("up to the last byte") << kImageSize - kLineSize << kLineSize;
        QTest::newRow("one byte over the end") << kImageSize - kLineSize + 1 << kLineSize - 1;
        QTest::newRow("straddling the end") << qint64(64) << qint64(36);
        QTest::newRow("the last byte") << kImageSize - 1 << qint64(1);
        QTest::newRow("at the end") << kImageSize << qint64(0);
        QTest::newRow("one past the end") << kImageSize + 1 << qint64(0);
        QTest::newRow("far past the end") << qint64(0xDFFC0) << qint64(0);
    }

    void fillsUpWhatTheImageDoesNotHave()
    {
        QFETCH(qint64, address);
        QFETCH(qint64, fromTheImage);
        const QByteArray expected = expectedLine(imageBytes(), address);
        QVERIFY(expected.endsWith(erased(kLineSize - fromTheImage)));

        OpenFile file(imageBytes());
        QCOMPARE(dataLine(file, address), expected);
    }

    void aResourceReadsLikeAFile_data() { fillsUpWhatTheImageDoesNotHave_data(); }

    void aResourceReadsLikeAFile()
    {
        QFETCH(qint64, address);
        QFile resource(QStringLiteral(":/firmware_sample.txt"));
        QVERIFY(resource.open(QIODevice::ReadOnly));
        const QByteArray image = resource.readAll();
        QCOMPARE(image.size(), kImageSize);
        QCOMPARE(dataLine(resource, address), expectedLine(image, address));
    }

    void theOrderOfReadingDoesNotMatter()
    {
        const QByteArray image = imageBytes(5000);
        OpenFile file(image);
        for (const qint64 address : {4992, 0, 9000, 64, 4992, 128, 4999, 0})
            QCOMPARE(dataLine(file, address), expectedLine(image, address));
    }

    void beforeTheStartIsErasedFlash()
    {
        OpenFile file(imageBytes());
        QCOMPARE(dataLine(file, 0), expectedLine(imageBytes(), 0));
        // Not what follows the line before.
        QCOMPARE(dataLine(file, -64), erased(kLineSize));
    }

    void readsPastTheEndDoNotSpoilTheNextRead()
    {
        QFile resource(QStringLiteral(":/firmware_sample.txt"));
        QVERIFY(resource.open(QIODevice::ReadOnly));
        const QByteArray first = dataLine(resource, 0);
        QCOMPARE(dataLine(resource, kImageSize + 1), erased(kLineSize));
        QCOMPARE(dataLine(resource, 0), first);
    }

    void aWholeImageIsReadLineByLine()
    {
        const QByteArray image = imageBytes(0x1000 + 10);
        OpenFile file(image);
        QByteArray read;
        for (qint64 address = 0; address < 0x2000; address += kLineSize)
            read += dataLine(file, address);
        QCOMPARE(read, image + erased(0x2000 - image.size()));
    }

    void bytesAreNotInterpreted()
    {
        QByteArray image("\r\n\n\r\x1A\0\x80\xFF", 8);
        OpenFile file(image);
        QCOMPARE(dataLine(file, 0), image + erased(kLineSize - image.size()));
    }

    void anEmptyImageIsErasedFlash()
    {
        OpenFile file({});
        QCOMPARE(dataLine(file, 0), erased(kLineSize));
        QCOMPARE(dataLine(file, 0x1000), erased(kLineSize));
    }

    void aFileThatIsNotOpenIsErasedFlash()
    {
        OpenFile file(imageBytes());
        file.close();
        // Qt warns where a closed file is read.
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        QCOMPARE(dataLine(file, 0), erased(kLineSize));
    }

    void aMissingFileIsErasedFlash()
    {
        QFile file(QStringLiteral(":/no/such/file.bin"));
        QVERIFY(!file.open(QIODevice::ReadOnly));
        QCOMPARE(dataLine(file, 0), erased(kLineSize));
    }

    void aFileWithoutANameIsErasedFlash()
    {
        QFile file;
        QCOMPARE(dataLine(file, 0x1000), erased(kLineSize));
    }

    void aFileThatCannotBeReadIsErasedFlash()
    {
        const OpenFile contents(imageBytes());
        QFile file(contents.fileName());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Append));
        QCOMPARE(file.size(), kImageSize);
        QCOMPARE(dataLine(file, 0), erased(kLineSize));
    }
};

static const RegisteredTest<TestFirmwareFile> registered(__FILE__);
#include "tst_firmwarefile.moc"
