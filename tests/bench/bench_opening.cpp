// bench_opening COUNT: how long it takes from the click on a button of the main window to the first
// paint of the update dialog, COUNT times in milliseconds, and the bare loop over the images as
// often, as JSON. Built twice: with the release set, and with none, whose dialog has no images.

#include "app/MainWindow.h"
#include "bootload/DialogBootload.h"
#include "tests/bench/Images.h"
#include "virtualboard/UsbBus.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <exception>

namespace {

constexpr double kNanosecondsPerMillisecond = 1e6;
constexpr int kPause = 20; // ms, for what a dialog that closes leaves behind

double milliseconds(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / kNanosecondsPerMillisecond;
}

/// Takes the time from a click until the whole update dialog has been painted, and closes the
/// dialog then.
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
        // The outermost event of those that painted has also brought the picture to the display.
        if (m_dialog != nullptr && m_sinceClick.isValid() && m_depth <= kDepthOfClick)
            finish();
        return done;
    }

    [[nodiscard]] const QJsonArray& times() const { return m_times; }

private:
    static constexpr QLatin1StringView kPaintedLast{"labelRX"};
    /// A dialog runs in an event loop of its own within the click.
    static constexpr int kDepthOfClick = 1;

    void finish()
    {
        m_times.append(milliseconds(m_sinceClick));
        m_sinceClick.invalidate();
        QTimer::singleShot(0, m_dialog, &QWidget::close);
        m_dialog = nullptr;
    }

    QElapsedTimer m_sinceClick;
    QWidget* m_dialog = nullptr;
    int m_depth = 0;
    QJsonArray m_times;
};

QJsonArray bareLoops(int count)
{
    const QList<QByteArray> sources = imageSources();
    QByteArray out(totalSize(sources), '\0');
    QJsonArray times;
    for (int i = 0; i < count; ++i) {
        QElapsedTimer timer;
        timer.start();
        for (const QByteArray& source : sources)
            bareLoop(source, out);
        times.append(milliseconds(timer));
    }
    return times;
}

int run(WatchedApplication& application, int count)
{
    UsbBus bus;
    const std::unique_ptr<PluggedAdapter> adapter = bus.plug({QStringLiteral("ttyUSB7")});
    MainWindow window;
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        throw std::runtime_error("the main window did not come up");
    auto* const button = window.findChild<QPushButton*>(QStringLiteral("pushButton"));
    for (int i = 0; i < count; ++i) {
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::qWait(kPause);
    }
    const QJsonObject result{
        {QStringLiteral("opening"), application.times()},
        {QStringLiteral("bareLoop"), bareLoops(count)},
    };
    std::puts(QJsonDocument(result).toJson(QJsonDocument::Compact).constData());
    return application.times().size() == count ? 0 : 1;
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        UsbBus::startPreloaded(argv);
        WatchedApplication application(argc, argv);
        const int count = argc == 2 ? QByteArray(argv[1]).toInt() : 0;
        if (count <= 0) {
            std::fputs("usage: bench_opening COUNT\n", stderr);
            return 2;
        }
        return run(application, count);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_opening: %s\n", failure.what());
        return 1;
    }
}
