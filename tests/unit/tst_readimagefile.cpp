#include "bootload/ImageFile.h"
#include "bootload/ImageFile.h"

#include <QTemporaryFile>
#include <QTest>

class TestReadImageFile : public QObject
{
    Q_OBJECT

private slots:
    void readsToTheEndAndKeepsNothing()
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
    }

    void needsNoImage()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        const ReadImageFile reader(&file, nullptr);
        QVERIFY(file.atEnd());
    }

    void aNewImageIsEmpty()
    {
        const ImageFile image;
        QVERIFY(image.data.isEmpty());
        QCOMPARE(image.width, 0);
        QCOMPARE(image.height, 0);
        QCOMPARE(image.imageName, 0);
        QCOMPARE(image.imageVersion, 0);
    }
};

QTEST_APPLESS_MAIN(TestReadImageFile)
#include "tst_readimagefile.moc"
