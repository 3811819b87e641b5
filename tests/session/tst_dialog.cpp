#include "tests/session/DebugLog.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"
#include "tests/support/TranslationLog.h"

#include <QApplication>
#include <QMetaMethod>
#include <QScopeGuard>

namespace {

ReleaseSetFiles onlyManifest(const QByteArray& text)
{
    return {{QStringLiteral("settings.json"), text}};
}

} // namespace

/// The dialog as it comes up, without a board.
class TestDialog : public QObject
{
    Q_OBJECT

private slots:
    void fitsItsLabelsIntoTheirPlaces_data()
    {
        QTest::addColumn<double>("larger");
        QTest::newRow("this system's font") << 1.0;
        QTest::newRow("30 % larger") << 1.3;
        QTest::newRow("three times as large") << 3.0;
    }

    void fitsItsLabelsIntoTheirPlaces()
    {
        QFETCH(double, larger);
        const QFont before = QApplication::font();
        const auto restore = qScopeGuard([before] { QApplication::setFont(before); });
        QFont font = before;
        font.setPointSizeF(font.pointSizeF() * larger);
        QApplication::setFont(font);
        SessionFixture session(JobUpdate, 0);
        for (const char* const name : {"label", "label_2", "label_Status", "labelTX", "labelRX"}) {
            const QLabel& label = session.label(name);
            QVERIFY2(label.fontMetrics().horizontalAdvance(label.text()) <= label.width(), name);
        }
        // A text that fits keeps the system's font.
        const QLabel& status = session.label("label_Status");
        QCOMPARE(status.font(), font);
    }

    void hasTheWidgetsInTheirPlaces_data()
    {
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QRect>("geometry");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* name, const char* type, QRect geometry, const char* text) {
            QTest::newRow(name) << QByteArray(type) << geometry << text;
        };
        row("progressBarLoad", "QProgressBar", {50, 60, 381, 23}, nullptr);
        row("textEdit", "QTextEdit", {10, 240, 481, 171}, nullptr);
        row("progressBarVerify", "QProgressBar", {50, 130, 381, 23}, nullptr);
        row("label", "QLabel", {50, 40, 47, 13}, "Program");
        row("label_2", "QLabel", {50, 110, 47, 13}, "Images");
        row("label_UpdateVersion", "QLabel", {60, 170, 411, 16}, "Update Version: T.07");
        row("label_UnitVersion", "QLabel", {60, 190, 411, 16}, "Unit Version:");
        row("label_Status", "QLabel", {46, 220, 401, 20}, "Status");
        row("labelTX", "QLabel", {400, 170, 47, 13}, "TX: ");
        row("labelRX", "QLabel", {400, 190, 47, 13}, "RX:");
    }

    void hasTheWidgetsInTheirPlaces()
    {
        QFETCH(QByteArray, type);
        QFETCH(QRect, geometry);
        QFETCH(QString, text);
        SessionFixture session(JobUpdate, 0);
        const auto* const widget
            = session.dialog().findChild<QWidget*>(QLatin1StringView(QTest::currentDataTag()));
        QVERIFY(widget != nullptr);
        QCOMPARE(widget->parent(), &session.dialog());
        QCOMPARE(QByteArray(widget->metaObject()->className()), type);
        QCOMPARE(widget->geometry(), geometry);
        if (const auto* const label = qobject_cast<const QLabel*>(widget)) {
            QCOMPARE(label->text(), text);
            QCOMPARE(label->alignment() == Qt::AlignCenter,
                label->objectName() == QStringLiteral("label_Status"));
        }
    }

    void hasItsSizeAndNames()
    {
        SessionFixture session(JobUpdate, 0);
        QCOMPARE(session.dialog().size(), QSize(507, 433));
        QCOMPARE(session.dialog().objectName(), QStringLiteral("DialogBootload"));
        QCOMPARE(session.dialog().layout(), nullptr);
        QVERIFY(session.dialog().styleSheet().isEmpty());
    }

    void createsTheWidgetsInOrder()
    {
        SessionFixture session(JobUpdate, 0);
        QStringList names;
        for (const QObject* const child : session.dialog().children())
            names << child->objectName();
        QCOMPARE(names.join(' '),
            QStringLiteral("progressBarLoad textEdit progressBarVerify label label_2 "
                           "label_UpdateVersion label_UnitVersion label_Status labelTX labelRX"));
    }

    void declaresItsSlotsInOrder()
    {
        const QMetaObject& meta = DialogBootload::staticMetaObject;
        QCOMPARE(QByteArray(meta.className()), QByteArray("DialogBootload"));
        QByteArrayList signatures;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
            signatures << meta.method(i).methodSignature();
        }
        QCOMPARE(signatures.join(' '),
            QByteArray("Timeout() readyRead() GotMessage(PortTest*,QString) close(int)"));
    }

    void titlesByMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("title");
        QTest::newRow("software and images") << 0 << "BRIVAN ANNEALING DB Firmware Update T.07";
        QTest::newRow("images") << 1 << "BRIVAN ANNEALING DB Firmware Update - Update Images";
        QTest::newRow("erase") << 2 << "BRIVAN ANNEALING DB Firmware Update - Delete Images";
        QTest::newRow("any other") << 3 << "BRIVAN ANNEALING DB Firmware Update T.07";
    }

    void titlesByMode()
    {
        QFETCH(int, mode);
        QFETCH(QString, title);
        SessionFixture session(mode, 0);
        QCOMPARE(session.dialog().windowTitle(), title);
        QCOMPARE(session.labelText("label_UpdateVersion"), QStringLiteral("Update Version: T.07"));
    }

    void scalesTheBars()
    {
        SessionFixture session(JobUpdate, 0);
        QCOMPARE(session.bar("progressBarLoad").minimum(), 0);
        QCOMPARE(session.bar("progressBarLoad").maximum(), 913414);
        QCOMPARE(session.bar("progressBarLoad").value(), 0);
        QCOMPARE(session.bar("progressBarVerify").minimum(), 0);
        QCOMPARE(session.bar("progressBarVerify").maximum(), 600 + 256 + 16);
        QCOMPARE(session.bar("progressBarVerify").value(), 0);
        QCOMPARE(session.dialog().TotalSize(), 913414);
    }

    void startsItsTimerAtOnce_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<ReleaseSetFiles>("files");
        for (const int mode : {0, 1, 2, 3}) {
            QTest::addRow("mode %d", mode) << mode << smallReleaseSet();
            QTest::addRow("mode %d, empty manifest", mode) << mode << onlyManifest("{}");
            QTest::addRow("mode %d, no manifest", mode) << mode << ReleaseSetFiles{};
        }
    }

    void startsItsTimerAtOnce()
    {
        QFETCH(int, mode);
        QFETCH(ReleaseSetFiles, files);
        SessionFixture session(mode, 0, files);
        QVERIFY(session.timerWasStarted());
        QCOMPARE(session.probe().timer().interval(), 500);
        QVERIFY(!session.probe().timer().isSingleShot());
    }

    void isSteppedByItsTimer()
    {
        SessionFixture session;
        QTimer& timer = session.probe().timer();
        QCOMPARE(timer.parent(), nullptr);
        // A tick at once each time it is started; the interval itself is tried by tst_clock.
        connect(&timer, &QTimer::timeout, &timer, &QTimer::stop);
        for (int tick = 0; tick < 3; ++tick) {
            timer.start(0);
            QTRY_VERIFY(!timer.isActive());
        }
        QCOMPARE(session.port().retries, kProbeLines - 2);
        QCOMPARE(session.sent(), framedAll({"$MVER", "$MVER"}));
    }

    void showsTheVersionOfTheManifest_data()
    {
        QTest::addColumn<QByteArray>("manifest");
        QTest::addColumn<QString>("version");
        QTest::newRow("text") << QByteArray(R"({"Version": "X.99 beta"})") << "X.99 beta";
        QTest::newRow("blank") << QByteArray(R"({"Version": " "})") << " ";
        QTest::newRow("empty") << QByteArray(R"({"Version": ""})") << "D.02n";
        QTest::newRow("missing") << QByteArray(R"({"Images": []})") << "D.02n";
        QTest::newRow("number") << QByteArray(R"({"Version": 7})") << "D.02n";
        QTest::newRow("malformed") << QByteArray(R"({"Version": "X.99",)") << "D.02n";
        QTest::newRow("no object") << QByteArray(R"(["Version"])") << "D.02n";
        QTest::newRow("nothing in it") << QByteArray("\n") << "D.02n";
    }

    void showsTheVersionOfTheManifest()
    {
        QFETCH(QByteArray, manifest);
        QFETCH(QString, version);
        SessionFixture session(JobUpdate, 0, onlyManifest(manifest));
        QCOMPARE(session.probe().version(), version);
        QCOMPARE(
            session.labelText("label_UpdateVersion"), QStringLiteral("Update Version: ") + version);
        QCOMPARE(session.dialog().windowTitle(),
            QStringLiteral("BRIVAN ANNEALING DB Firmware Update ") + version);
    }

    void readsTheImagesOfTheManifest()
    {
        SessionFixture session(JobUpdate, 0);
        const QList<ImageFile>& images = session.probe().images();
        QCOMPARE(images.size(), 3);
        const int numbers[] = {0, 3, 17};
        const int versions[] = {1, 2, 10};
        const QSize sizes[] = {{300, 1}, {16, 8}, {4, 2}};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(images.at(i).imageName, numbers[i]);
            QCOMPARE(images.at(i).imageVersion, versions[i]);
            QCOMPARE(QSize(images.at(i).width, images.at(i).height), sizes[i]);
            QCOMPARE(images.at(i).data, smallImage(i));
        }
    }

    void loadsTheImagesInEveryMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("images") << 1;
        QTest::newRow("erase") << 2;
    }

    void loadsTheImagesInEveryMode()
    {
        QFETCH(int, mode);
        SessionFixture session(mode, 0);
        QCOMPARE(session.probe().images().size(), 3);
        QCOMPARE(session.bar("progressBarVerify").maximum(), 872);
    }

    void comesUpWithoutImages_data()
    {
        QTest::addColumn<ReleaseSetFiles>("files");
        QTest::newRow("no manifest") << ReleaseSetFiles{};
        QTest::newRow("empty array") << onlyManifest(R"({"Images": []})");
        QTest::newRow("no array") << onlyManifest(R"({"Images": {"FileName": "a.c"}})");
        QTest::newRow("malformed") << onlyManifest(R"({"Images": [{"FileName": "a.c"}])");
    }

    void comesUpWithoutImages()
    {
        QFETCH(ReleaseSetFiles, files);
        const DebugLog log;
        SessionFixture session(JobUpdate, 1, files);
        QVERIFY(session.probe().images().isEmpty());
        QCOMPARE(log.count(QStringLiteral("Files  0")), 1);
        QCOMPARE(session.bar("progressBarVerify").minimum(), 0);
        QCOMPARE(session.bar("progressBarVerify").maximum(), 0);
        session.step(2);
        QCOMPARE(session.sent(), framed("$MVER"));
    }

    void takesDefaultsForWhatAnImageDoesNotName()
    {
        ReleaseSetFiles files = smallReleaseSet();
        files[QStringLiteral("settings.json")] = R"({"Images": [
            {"FileName": "b.c"}, {"ImageName": 4}, "b.c",
            {"FileName": "b.c", "ImageName": "5", "ImageVersion": 2.5}]})";
        SessionFixture session(JobUpdate, 0, files);
        const QList<ImageFile>& images = session.probe().images();
        QCOMPARE(images.size(), 4);
        QCOMPARE(images.at(0).imageName, 0);
        QCOMPARE(images.at(0).imageVersion, 0);
        QCOMPARE(images.at(0).data, smallImage(1));
        QCOMPARE(images.at(1).imageName, 4);
        QVERIFY(images.at(1).data.isEmpty());
        QVERIFY(images.at(2).data.isEmpty());
        QCOMPARE(images.at(3).imageName, 0);
        QCOMPARE(images.at(3).imageVersion, 0);
    }

    void keepsAnImageThatCannotBeRead()
    {
        SessionFixture session(JobUpdate, 0,
            onlyManifest(
                R"({"Images": [{"FileName": "none.c", "ImageName": 8, "ImageVersion": 9}]})"));
        QCOMPARE(session.probe().images().size(), 1);
        const ImageFile& image = session.probe().images().constFirst();
        QVERIFY(image.data.isEmpty());
        QCOMPARE(image.imageName, 8);
        QCOMPARE(image.imageVersion, 9);
        QCOMPARE(image.width, 0);
        QCOMPARE(image.height, 0);
    }

    void logsTheManifest()
    {
        const DebugLog log;
        SessionFixture session(JobUpdate, 0);
        QCOMPARE(log.count(QStringLiteral(":/res/settings.json")), 1);
        QCOMPARE(log.count(QStringLiteral("file  \":/res/b.c\"")), 1);
        QCOMPARE(log.count(QStringLiteral("Files  3")), 1);
    }

    void logsTheImagesInOrder()
    {
        ReleaseSetFiles files = smallReleaseSet();
        files[QStringLiteral("settings.json")] = R"({"Images": [
            {"FileName": "c.c"}, {"FileName": "none.c"}, {"FileName": "a.c"}, {"FileName": "c.c"}]})";
        const DebugLog log;
        SessionFixture session(JobUpdate, 0, files);
        QCOMPARE(log.with(QStringLiteral("file  ")),
            QStringList(
                {QStringLiteral("file  \":/res/c.c\""), QStringLiteral("file  \":/res/none.c\""),
                    QStringLiteral("file  \":/res/a.c\""), QStringLiteral("file  \":/res/c.c\"")}));
        QCOMPARE(log.count(QStringLiteral("Files  4")), 1);
    }

    void asksForTheTranslationOfItsTexts()
    {
        const TranslationLog translations;
        SessionFixture session(JobUpdate, 0);
        // What a job fills in is not translated.
        QCOMPARE(translations.texts("DialogBootload"),
            QByteArrayList({"Dialog", "Images", "Program", "RX:", "Status",
                "TX: ", "Unit Version:", "Update Version:"}));
    }

    void takesNothingFromTheService()
    {
        const DebugLog log;
        SessionFixture session;
        // The request is made, and refused.
        QCOMPARE(log.count(QStringLiteral("No such slot DialogBootload::GotMessage(QString)")), 1);
        emit session.service().GotMessageNoCRC(QStringLiteral("$MVERR,9\n"));
        emit session.service().GotMessage(QStringLiteral("$MVERR,9\n"));
        QCOMPARE(session.labelText("label_UnitVersion"), QStringLiteral("Unit Version:"));
        QCOMPARE(session.sent(), QByteArray());
    }

    void mapsAddressesToProgress_data()
    {
        QTest::addColumn<int>("address");
        QTest::addColumn<int>("position");
        const std::pair<int, int> rows[]
            = {{0, 0}, {4095, 0}, {4096, 0}, {4097, 1}, {4160, 64}, {917502, 913406},
                {917503, 913407}, {978935, 913407}, {978936, 913407}, {978937, 913408},
                {978942, 913413}, {978943, 913407}, {-1, 0}, {INT_MIN, 0}, {INT_MAX, 913407}};
        for (const auto& [address, position] : rows)
            QTest::addRow("%d", address) << address << position;
    }

    void mapsAddressesToProgress()
    {
        QFETCH(int, address);
        QFETCH(int, position);
        SessionFixture session(JobUpdate, 0);
        QCOMPARE(session.dialog().CurrentPosition(address), position);
    }

    void leavesTheLogWritable()
    {
        SessionFixture session(JobUpdate, 0);
        QVERIFY(!session.dialog().findChild<QTextEdit*>()->isReadOnly());
    }
};

static const RegisteredTest<TestDialog> registered(__FILE__);
#include "tst_dialog.moc"
