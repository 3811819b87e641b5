#include "tests/session/SessionBench.h"

#include <QTest>

/// The stand-in release set of the tree, as the program reads it.
class TestStandInSet : public QObject
{
    Q_OBJECT

private slots:
    void yieldsItsImages_data();
    void yieldsItsImages();
    void beginsItsFirstImageWithItsBytes();
    void fillsTheWholeImagesBar();
    void carriesItsVersion_data();
    void carriesItsVersion();
    void carriesItsStartAddress();
    void announcesItsFirstImage();
};

namespace {

/// A bench on the set that is linked in, not on one of its own.
SessionBench standIn(int mode)
{
    return SessionBench(mode, 1, ReleaseSetFiles{});
}

} // namespace

void TestStandInSet::yieldsItsImages_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("version");
    QTest::addColumn<QSize>("size");
    QTest::newRow("0.c") << 0 << 1 << QSize(340, 230);
    QTest::newRow("1.c") << 1 << 1 << QSize(340, 230);
    QTest::newRow("3_2.c") << 3 << 2 << QSize(340, 230);
    QTest::newRow("5.c") << 5 << 1 << QSize(220, 165);
    QTest::newRow("6.c") << 6 << 1 << QSize(220, 165);
}

void TestStandInSet::yieldsItsImages()
{
    QFETCH(int, number);
    QFETCH(int, version);
    QFETCH(QSize, size);
    SessionBench bench = standIn(JobImagesOnly);
    QCOMPARE(bench.probe().images().size(), 5);
    for (const ImageFile& image : bench.probe().images()) {
        if (image.imageName != number)
            continue;
        QCOMPARE(image.imageVersion, version);
        QCOMPARE(QSize(image.width, image.height), size);
        QCOMPARE(image.data.size(), size.width() * size.height() * 2);
        return;
    }
    QFAIL("no image of that number");
}

void TestStandInSet::beginsItsFirstImageWithItsBytes()
{
    SessionBench bench = standIn(JobImagesOnly);
    QCOMPARE(bench.probe().images().constFirst().data.first(4), QByteArray("\xa5\x18\x84\x18"));
}

void TestStandInSet::fillsTheWholeImagesBar()
{
    SessionBench bench = standIn(JobUpdate);
    QCOMPARE(bench.bar("progressBarVerify").maximum(), 614400);
    QCOMPARE(bench.bar("progressBarLoad").maximum(), 913414);
}

void TestStandInSet::carriesItsVersion_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("title");
    QTest::newRow("software and images") << 0 << "BRIVAN ANNEALING DB Firmware Update D.02n";
    QTest::newRow("images") << 1 << "BRIVAN ANNEALING DB Firmware Update - Update Images";
    QTest::newRow("erase") << 2 << "BRIVAN ANNEALING DB Firmware Update - Delete Images";
}

void TestStandInSet::carriesItsVersion()
{
    QFETCH(int, mode);
    QFETCH(QString, title);
    SessionBench bench = standIn(mode);
    QCOMPARE(bench.dialog().windowTitle(), title);
    QCOMPARE(bench.labelText("label_UpdateVersion"), QStringLiteral("Update Version: D.02n"));
    QCOMPARE(bench.probe().images().size(), 5);
}

void TestStandInSet::carriesItsStartAddress()
{
    SessionBench bench = standIn(JobUpdate);
    bench.enterBootloader();
    QCOMPARE(bench.port().startAddress, 0x1400);
    QCOMPARE(bench.port().file.size(), qint64(913408));
}

void TestStandInSet::announcesItsFirstImage()
{
    SessionBench bench = standIn(JobImagesOnly);
    bench.enterBootloader();
    bench.step(4);
    QCOMPARE(bench.sent(), framed("$I,00,01,154,E6"));
}

QTEST_MAIN(TestStandInSet)
#include "tst_standinset.moc"
