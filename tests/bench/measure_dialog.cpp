// measure_dialog RELEASE_SET COUNT: how long the update dialog takes from the click on its button
// to its first paint, COUNT times; then how its time and memory grow with the number and the size
// of images. Prints JSON.

#include "app/MainWindow.h"
#include "bootload/DialogBootload.h"
#include "bootload/Session.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/reliability/ProcessUsage.h"
#include "tests/session/DialogBootloadProbe.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/MemoryPort.h"
#include "virtualboard/UsbBus.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <exception>
#include <stdexcept>

namespace {

/// Notes the time from a click until the whole update dialog has been painted, and then closes it.
class WatchedApplication : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonRelease && receiver->inherits("QPushButton"))
            m_sinceClick.start();
        if (event->type() == QEvent::Paint && receiver->objectName() == kPaintedLast)
            m_dialog = static_cast<QWidget*>(receiver)->window();
        ++m_depth;
        const bool done = QApplication::notify(receiver, event);
        --m_depth;
        // When the outermost event has been handled, the picture is on the display too.
        if (m_dialog != nullptr && m_sinceClick.isValid() && m_depth <= kDepthOfClick)
            finish();
        return done;
    }

    [[nodiscard]] const QJsonArray& milliseconds() const { return m_milliseconds; }

private:
    static constexpr QLatin1StringView kPaintedLast{"labelRX"};
    /// The click's event is one level deep: the dialog runs in an event loop within it.
    static constexpr int kDepthOfClick = 1;

    void finish()
    {
        m_milliseconds.append(static_cast<double>(m_sinceClick.nsecsElapsed()) / 1e6);
        m_sinceClick.invalidate();
        QTimer::singleShot(0, m_dialog, &QWidget::close);
        m_dialog = nullptr;
    }

    QElapsedTimer m_sinceClick;
    QWidget* m_dialog = nullptr;
    int m_depth = 0;
    QJsonArray m_milliseconds;
};

ReleaseSetFiles filesOf(const QString& folder)
{
    ReleaseSetFiles files;
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Files);
    for (const QFileInfo& entry : entries) {
        QFile file(entry.filePath());
        if (!file.open(QIODevice::ReadOnly))
            throw std::runtime_error("cannot read " + entry.filePath().toStdString());
        files.insert(entry.fileName(), file.readAll());
    }
    return files;
}

void openOnTheDisplay(const WatchedApplication& application, const QString& releaseSet, int count)
{
    constexpr int kPause = 20; // ms, for the events that a closed dialog leaves
    const ReleaseSetFixture set(filesOf(releaseSet));
    MainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        throw std::runtime_error("the main window did not come up");
    auto* const button = window.findChild<QPushButton*>(QStringLiteral("pushButton"));
    for (int i = 0; i < count; ++i) {
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::qWait(kPause);
    }
    if (application.milliseconds().size() != count)
        throw std::runtime_error("a click did not open the update dialog");
}

/// A set of `count` images of `bytes` bytes each. They share a file: it is read for each of them.
ReleaseSetFiles setOf(int count, int bytes)
{
    QByteArrayList entries;
    for (int i = 0; i < count; ++i)
        entries += R"({"FileName": "a.c", "ImageVersion": 1, "ImageName": )" + QByteArray::number(i)
            + '}';
    ReleaseSetFiles files = smallReleaseSet();
    files.insert(QStringLiteral("settings.json"),
        R"({"Version": "G.01", "Images": [)" + entries.join(',') + "]}");
    files.insert(QStringLiteral("a.c"), imageSource(QByteArray(bytes, '\x5A'), bytes / 2, 1));
    return files;
}

/// Nanoseconds that the dialog takes to handle the acknowledgement of a block of its last image,
/// which sends the next block.
double acknowledgedBlock(DialogBootload& dialog, int images)
{
    constexpr int kTimes = 2000;
    auto* const port = new MemoryPort<PortTest>; // the dialog deletes it
    DialogBootloadProbe(dialog).addPort(port);
    port->beOpen();
    port->state = StateSendImages;
    port->imageIndex = images - 1;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < kTimes; ++i) {
        port->imageStep = ImageBlocks;
        port->imageOffset = 0;
        port->blockNumber = 0;
        dialog.GotMessage(port, QStringLiteral("$FACK,0*2B1E\n"));
        port->written.clear();
    }
    return static_cast<double>(timer.nsecsElapsed()) / kTimes;
}

QJsonObject growth(Serial_Connect& service, int images, int bytes)
{
    const ReleaseSetFixture set(setOf(images, bytes));
    const qint64 before = allocatedBytes();
    QElapsedTimer timer;
    timer.start();
    DialogBootload dialog(&service, JobImagesOnly, nullptr);
    const qint64 opening = timer.nsecsElapsed();
    const qint64 held = allocatedBytes() - before;
    DialogBootloadProbe(dialog).timer().stop();
    return {{"images", images}, {"bytes", bytes}, {"openingNanoseconds", opening},
        {"heldBytes", held}, {"blockNanoseconds", acknowledgedBlock(dialog, images)}};
}

QJsonArray growths()
{
    constexpr int kKilobyte = 1024;
    constexpr int kMegabyte = kKilobyte * kKilobyte;
    QSerialPort servicePort;
    Settings settings{&servicePort, false, {}, {}, false};
    Serial_Connect service(&settings, {}, {});
    QJsonArray results;
    for (const int bytes : {kKilobyte, kMegabyte}) {
        for (const int images : {1, 64})
            results.append(growth(service, images, bytes));
    }
    return results;
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        UsbBus::startPreloaded(argv);
        const UsbBus bus; // without an adapter, so that no port of this computer is opened
        WatchedApplication application(argc, argv);
        const int count = argc == 3 ? QByteArray(argv[2]).toInt() : 0;
        if (count <= 0) {
            std::fputs("usage: measure_dialog RELEASE_SET COUNT\n", stderr);
            return 2;
        }
        openOnTheDisplay(application, QString::fromLocal8Bit(argv[1]), count);
        const QJsonObject result{
            {"openingMilliseconds", application.milliseconds()}, {"growth", growths()}};
        std::puts(QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "measure_dialog: %s\n", failure.what());
        return 1;
    }
    return 0;
}
