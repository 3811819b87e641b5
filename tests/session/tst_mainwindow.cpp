#include "app/MainWindow.h"
#include "bootload/DialogBootload.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/session/DialogBootloadProbe.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/TestProgram.h"
#include "tests/support/TranslationLog.h"

#include <QApplication>
#include <QMenuBar>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>

#include <optional>

/// What the tests look at inside the main window.
class MainWindowProbe
{
public:
    static Serial_Connect* serial(const MainWindow& window) { return window.serial; }
    static Settings* settings(const MainWindow& window) { return window.settings; }
};

namespace {

/// Presses the button `name` and hands the dialog that comes up to `look` before it is closed by
/// the Escape key.
template <typename Look> void pressAndLook(MainWindow& window, const char* name, Look look)
{
    QTimer::singleShot(0, &window, [look] {
        auto* const dialog = qobject_cast<DialogBootload*>(QApplication::activeModalWidget());
        QVERIFY(dialog != nullptr);
        look(dialog);
        QTest::keyClick(dialog, Qt::Key_Escape);
    });
    QTest::mouseClick(window.findChild<QPushButton*>(QLatin1StringView(name)), Qt::LeftButton);
}

} // namespace

/// The main window and its three buttons.
class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_set.emplace(smallReleaseSet()); }
    void cleanup() { m_set.reset(); }
    void hasTheWidgetsInTheirPlaces()
    {
        MainWindow window;
        QCOMPARE(window.objectName(), QStringLiteral("MainWindow"));
        QCOMPARE(window.size(), QSize(408, 311));
        QCOMPARE(window.centralWidget()->objectName(), QStringLiteral("centralWidget"));
        QCOMPARE(window.menuBar()->objectName(), QStringLiteral("menuBar"));
        QCOMPARE(window.menuBar()->geometry(), QRect(0, 0, 408, 24));
        QVERIFY(window.menuBar()->actions().isEmpty());
        QCOMPARE(window.statusBar()->objectName(), QStringLiteral("statusBar"));
        auto* const toolBar = window.findChild<QToolBar*>(QStringLiteral("mainToolBar"));
        if (toolBar == nullptr)
            QFAIL("no tool bar of that name");
        QVERIFY(toolBar->actions().isEmpty());
        QCOMPARE(window.toolBarArea(toolBar), Qt::TopToolBarArea);
        QVERIFY(!window.toolBarBreak(toolBar));
    }

    void createsTheWidgetsInOrder()
    {
        MainWindow window;
        const auto namesIn = [](const QWidget& parent) {
            const auto widgets = parent.findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
            QStringList names;
            for (const QWidget* const widget : widgets)
                names << widget->objectName();
            return names.join(' ');
        };
        QCOMPARE(namesIn(window), QStringLiteral("centralWidget menuBar mainToolBar statusBar"));
        QCOMPARE(namesIn(*window.centralWidget()),
            QStringLiteral("pushButton pushButton_2 pushButton_3"));
    }

    void hasTheButtonsInTheirPlaces_data()
    {
        QTest::addColumn<QRect>("geometry");
        QTest::addColumn<QString>("text");
        QTest::newRow("pushButton")
            << QRect(50, 20, 291, 41) << "Update Annealer Software and Images";
        QTest::newRow("pushButton_2") << QRect(90, 140, 201, 23) << "Erase Annealer Images";
        QTest::newRow("pushButton_3") << QRect(110, 100, 161, 23) << "Update Images Only";
    }

    void hasTheButtonsInTheirPlaces()
    {
        QFETCH(QRect, geometry);
        QFETCH(QString, text);
        MainWindow window;
        const auto* const button
            = window.findChild<QPushButton*>(QLatin1StringView(QTest::currentDataTag()));
        QVERIFY(button != nullptr);
        QCOMPARE(button->parent(), window.centralWidget());
        QCOMPARE(button->geometry(), geometry);
        QCOMPARE(button->text(), text);
    }

    void keepsItsTitle()
    {
        MainWindow window;
        QCOMPARE(window.windowTitle(), QStringLiteral("Brivan Annealing DB bootlodaer"));
    }

    void asksForTheTranslationOfItsTexts()
    {
        const TranslationLog translations;
        const MainWindow window;
        // Its final title is not translated.
        QCOMPARE(translations.texts("MainWindow"),
            QByteArrayList({"Erase Annealer Images", "MainWindow",
                "Update Annealer Software and Images", "Update Images Only"}));
    }

    void declaresItsSlotsInOrder()
    {
        const QMetaObject& meta = MainWindow::staticMetaObject;
        QCOMPARE(QByteArray(meta.className()), QByteArray("MainWindow"));
        QByteArrayList signatures;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
            signatures << meta.method(i).methodSignature();
        }
        QCOMPARE(signatures.join(' '),
            QByteArray(
                "on_pushButton_clicked() on_pushButton_3_clicked() on_pushButton_2_clicked()"));
    }

    void fillsTheSettings()
    {
        MainWindow window;
        const Settings* const settings = MainWindowProbe::settings(window);
        QVERIFY(settings->port != nullptr);
        QCOMPARE(settings->port->parent(), nullptr);
        QVERIFY(!settings->port->isOpen());
        QVERIFY(!settings->deviceReady);
        QVERIFY(!settings->extraFlag);
        QVERIFY(settings->extraText1.isEmpty());
        QVERIFY(settings->extraText2.isEmpty());
    }

    void handsTheSettingsAndVersionsToTheService()
    {
        MainWindow window;
        const SerialConnectProbe service(*MainWindowProbe::serial(window));
        QCOMPARE(service.primaryVersion, QStringLiteral("A.20a"));
        QCOMPARE(service.secondaryVersion, QStringLiteral("1.00a"));
        QCOMPARE(service.settings, MainWindowProbe::settings(window));
    }

    void runsTheJobOfEachButton_data()
    {
        QTest::addColumn<QString>("title");
        QTest::newRow("pushButton") << "BRIVAN ANNEALING DB Firmware Update T.07";
        QTest::newRow("pushButton_3") << "BRIVAN ANNEALING DB Firmware Update - Update Images";
        QTest::newRow("pushButton_2") << "BRIVAN ANNEALING DB Firmware Update - Delete Images";
    }

    void runsTheJobOfEachButton()
    {
        QFETCH(QString, title);
        MainWindow window;
        window.show();
        QString shown;
        pressAndLook(window, QTest::currentDataTag(), [&shown, &window](DialogBootload* dialog) {
            shown = dialog->windowTitle();
            QCOMPARE(dialog->parent(), &window);
            QVERIFY(dialog->isModal());
        });
        QCOMPARE(shown, title);
    }

    void opensAFreshDialogAtEveryPress()
    {
        MainWindow window;
        window.show();
        const Serial_Connect* const serial = MainWindowProbe::serial(window);
        const Settings* const settings = MainWindowProbe::settings(window);
        QList<QPointer<DialogBootload>> dialogs;
        for (int press = 0; press < 2; ++press) {
            pressAndLook(window, "pushButton",
                [&dialogs](DialogBootload* dialog) { dialogs << QPointer(dialog); });
            QVERIFY(dialogs.constLast().isNull());
        }
        QCOMPARE(dialogs.size(), 2);
        QCOMPARE(MainWindowProbe::serial(window), serial);
        QCOMPARE(MainWindowProbe::settings(window), settings);
    }

    void readsTheManifestAnewAtEveryPress()
    {
        MainWindow window;
        window.show();
        QList<int> images;
        QString version;
        const auto look = [&images, &version](DialogBootload* dialog) {
            const DialogBootloadProbe probe(*dialog);
            images.clear();
            for (const ImageFile& image : probe.images())
                images << image.imageName;
            version = probe.version();
        };
        pressAndLook(window, "pushButton", look);
        QCOMPARE(images, (QList<int>{0, 3, 17}));
        QCOMPARE(version, QStringLiteral("T.07"));

        ReleaseSetFiles files = smallReleaseSet();
        files[QStringLiteral("settings.json")]
            = R"({"Images": [{"FileName": "b.c", "ImageName": 8}], "Version": "T.08"})";
        m_set.reset();
        m_set.emplace(files);
        pressAndLook(window, "pushButton", look);
        QCOMPARE(images, QList<int>{8});
        QCOMPARE(version, QStringLiteral("T.08"));
    }

    void deletesTheDialogWhenItsWindowIsClosed()
    {
        MainWindow window;
        window.show();
        QPointer<DialogBootload> closed;
        pressAndLook(window, "pushButton_2", [&closed](DialogBootload* dialog) {
            closed = dialog;
            static_cast<QWidget*>(dialog)->close();
        });
        QVERIFY(closed.isNull());
    }

private:
    std::optional<ReleaseSetFixture> m_set;
};

static const RegisteredTest<TestMainWindow> registered(__FILE__);
#include "tst_mainwindow.moc"
