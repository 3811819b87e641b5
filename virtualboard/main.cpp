#include "virtualboard/Bench.h"

#include <QApplication>

#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace {

constexpr int kWrongCall = 2;

int refuse(const QString& reason)
{
    std::fprintf(
        stderr, "virtual-board: %s (--help says more)\n", reason.toLocal8Bit().constData());
    return kWrongCall;
}

bool hasDisplay()
{
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")
        || qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}

int run(const vboard::Options& options, vboard::ExpectedSet set)
{
    vboard::Bench bench(options, std::move(set));
    if (!bench.start())
        return kWrongCall;
    QCoreApplication::exec();
    return bench.finish();
}

} // namespace

int main(int argc, char* argv[])
{
    try {
        UsbBus::startPreloaded(argv);
    } catch (const std::runtime_error& failure) {
        return refuse(QString::fromLocal8Bit(failure.what()));
    }
    const sigset_t ending = vboard::Bench::endingSignals();
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    QString error;
    const auto options = vboard::Options::parse(QStringList(argv + 1, argv + argc), error);
    if (!options)
        return refuse(error);
    if (options->help) {
        std::fputs(vboard::Options::helpText(), stdout);
        return 0;
    }
    auto set = vboard::ExpectedSet::read(options->releaseSet, error);
    if (!set)
        return refuse(error);
    if (options->window && !hasDisplay())
        return refuse(QStringLiteral("--window: there is no display"));
    const std::unique_ptr<QCoreApplication> application(
        options->window ? new QApplication(argc, argv) : new QCoreApplication(argc, argv));
    // The window is for watching: closing it ends nothing.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    try {
        return run(*options, std::move(*set));
    } catch (const std::runtime_error& failure) {
        return refuse(QString::fromLocal8Bit(failure.what()));
    }
}
