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
    void givesTheImagesBytesAndErasedFlash_data()
    {
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<qint64>("address");
        QTest::addColumn<qint64>("fromTheImage");
        const auto row = [](const char* name, qint64 address, qint64 fromTheImage) {
            QTest::newRow(name) << imageBytes() << address << fromTheImage;
        };
        row("at the start", 0, kLineSize);
        row("inside", 20, kLineSize);
        row("up to the last byte", kImageSize - kLineSize, kLineSize);
        row("one byte over the end", kImageSize - kLineSize + 1, kLineSize - 1);
        row("the last byte", kImageSize - 1, 1);
        row("at the end", kImageSize, 0);
        row("one past the end", kImageSize + 1, 0);
        row("far past the end", 0xDFFC0, 0);
        row("before the start", -64, 0);
        QTest::newRow("an empty image") << QByteArray() << qint64(0) << qint64(0);
        QTest::newRow("bytes that are ends of lines and files to some")
            << QByteArray("\r\n\n\r\x1A\0\x80\xFF", 8) << qint64(0) << qint64(8);
    }

    // Resources behave unlike files where a seek goes past their end.
    void givesTheImagesBytesAndErasedFlash()
    {
        QFETCH(QByteArray, image);
        QFETCH(qint64, address);
        QFETCH(qint64, fromTheImage);
        QCOMPARE(kLineSize, 64);
        QVERIFY(expectedLine(image, address).endsWith(erased(kLineSize - fromTheImage)));

        OpenFile file(image);
        QCOMPARE(dataLine(file, address), expectedLine(image, address));
        QFile resource(QStringLiteral(":/firmware_sample.txt"));
        QVERIFY(resource.open(QIODevice::ReadOnly));
        const QByteArray sample = resource.readAll();
        QCOMPARE(sample.size(), kImageSize);
        QCOMPARE(dataLine(resource, address), expectedLine(sample, address));
        // Whatever was read before.
        QCOMPARE(dataLine(resource, 0), expectedLine(sample, 0));
        QCOMPARE(dataLine(file, 0), expectedLine(image, 0));
    }

    void isErasedFlashWhereNoFileCanBeRead()
    {
        const OpenFile image(imageBytes());
        QFile writable(image.fileName());
        QVERIFY(writable.open(QIODevice::WriteOnly | QIODevice::Append));
        QFile missing(QStringLiteral(":/no/such/file.bin"));
        QFile closed(image.fileName());
        QFile withoutName;
        QCOMPARE(writable.size(), kImageSize);
        QCOMPARE(dataLine(writable, 0), erased(kLineSize));
        // Qt warns where a closed file is read.
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        for (QFile* const file : {&missing, &closed, &withoutName})
            QCOMPARE(dataLine(*file, 0), erased(kLineSize));
    }
};

static const RegisteredTest<TestFirmwareFile> registered(__FILE__);
#include "tst_firmwarefile.moc"
