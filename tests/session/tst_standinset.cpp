#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

#include <QDir>

namespace {

/// The files of the release set that is in the tree.
ReleaseSetFiles standInFiles()
{
    const QDir folder(QStringLiteral(STAND_IN_SET));
    ReleaseSetFiles files;
    const QStringList names = folder.entryList(QDir::Files);
    for (const QString& name : names) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("the stand-in release set cannot be read");
        files.insert(name, file.readAll());
    }
    return files;
}

SessionFixture standIn(int mode)
{
    return SessionFixture(mode, 1, standInFiles());
}

} // namespace

/// The stand-in release set of the tree, as the program reads it.
class TestStandInSet : public QObject
{
    Q_OBJECT

private slots:
    void yieldsItsImages_data()
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

    void yieldsItsImages()
    {
        QFETCH(int, number);
        QFETCH(int, version);
        QFETCH(QSize, size);
        SessionFixture session = standIn(JobImagesOnly);
        QCOMPARE(session.probe().images().size(), 5);
        for (const ImageFile& image : session.probe().images()) {
            if (image.imageName != number)
                continue;
            QCOMPARE(image.imageVersion, version);
            QCOMPARE(QSize(image.width, image.height), size);
            QCOMPARE(image.data.size(), size.width() * size.height() * 2);
            return;
        }
        QFAIL("no image of that number");
    }

    void beginsItsFirstImageWithItsBytes()
    {
        SessionFixture session = standIn(JobImagesOnly);
        QCOMPARE(
            session.probe().images().constFirst().data.first(4), QByteArray("\xa5\x18\x84\x18"));
    }

    void fillsTheWholeImagesBar()
    {
        SessionFixture session = standIn(JobUpdate);
        QCOMPARE(session.bar("progressBarVerify").maximum(), 614400);
        QCOMPARE(session.bar("progressBarLoad").maximum(), 913414);
    }

    void carriesItsVersion_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("title");
        QTest::newRow("software and images") << 0 << "BRIVAN ANNEALING DB Firmware Update D.02n";
        QTest::newRow("images") << 1 << "BRIVAN ANNEALING DB Firmware Update - Update Images";
        QTest::newRow("erase") << 2 << "BRIVAN ANNEALING DB Firmware Update - Delete Images";
    }

    void carriesItsVersion()
    {
        QFETCH(int, mode);
        QFETCH(QString, title);
        SessionFixture session = standIn(mode);
        QCOMPARE(session.dialog().windowTitle(), title);
        QCOMPARE(session.labelText("label_UpdateVersion"), QStringLiteral("Update Version: D.02n"));
        QCOMPARE(session.probe().images().size(), 5);
    }

    void carriesItsStartAddress()
    {
        SessionFixture session = standIn(JobUpdate);
        session.enterBootloader();
        QCOMPARE(session.port().startAddress, 0x1400);
        QCOMPARE(session.port().file.size(), qint64(913408));
    }

    void announcesItsFirstImage()
    {
        SessionFixture session = standIn(JobImagesOnly);
        session.enterBootloader();
        session.step(4);
        QCOMPARE(session.sent(), framed("$I,00,01,154,E6"));
    }
};

static const RegisteredTest<TestStandInSet> registered(__FILE__);
#include "tst_standinset.moc"
