#include "virtualboard/Console.h"
#include "virtualboard/JobRun.h"
#include "virtualboard/ReplayRun.h"

#include <QApplication>

#include <csignal>
#include <memory>
#include <stdexcept>

namespace {

constexpr int kWrongCall = 2;

int refuse(const QString& reason)
{
    vboard::complain(reason + QStringLiteral(" (--help says more)"));
    return kWrongCall;
}

bool hasDisplay()
{
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")
        || qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

int carryOut(vboard::ToolRun& run)
{
    if (!run.start())
        return kWrongCall;
    QCoreApplication::exec();
    return run.finish();
}

int run(const vboard::Options& options)
{
    if (!options.replay.isEmpty()) {
        vboard::ReplayRun replay(options);
        return carryOut(replay);
    }
    QString error;
    auto set = vboard::ExpectedSet::read(options.releaseSet, error);
    if (!set)
        return refuse(error);
    vboard::JobRun job(options, std::move(*set));
    return carryOut(job);
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        UsbBus::startPreloaded(argv);
        const sigset_t ending = vboard::ToolRun::endingSignals();
        sigprocmask(SIG_BLOCK, &ending, nullptr);
        const auto options = vboard::Options::parse(QStringList(argv + 1, argv + argc));
        if (options.window && !hasDisplay())
            return refuse(QStringLiteral("--window: there is no display"));
        const std::unique_ptr<QCoreApplication> application(
            options.window ? new QApplication(argc, argv) : new QCoreApplication(argc, argv));
        // The window is for watching: closing it ends nothing.
        QGuiApplication::setQuitOnLastWindowClosed(false);
        if (options.help) {
            vboard::print(vboard::Options::helpText());
            return 0;
        }
        return run(options);
    } catch (const std::runtime_error& failure) {
        return refuse(QString::fromStdString(failure.what()));
    }
}
