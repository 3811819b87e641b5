#include "virtualboard/ToolRun.h"

#include "virtualboard/Console.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <algorithm>
#include <sys/signalfd.h>
#include <unistd.h>

namespace vboard {

namespace {

constexpr std::chrono::milliseconds kLookInterval{200};
// How often a progress line is printed where it cannot overwrite the one before.
constexpr int kLooksPerPrintedLine = 10;

Time elapsed(const QElapsedTimer& timer)
{
    return std::chrono::duration_cast<Time>(std::chrono::nanoseconds(timer.nsecsElapsed()));
}

} // namespace

ToolRun::ToolRun(Options options) : m_options(std::move(options))
{
    m_lookTimer.setInterval(kLookInterval);
    connect(&m_lookTimer, &QTimer::timeout, this, &ToolRun::lookAround);
    connect(&m_program, &ChildProgram::finished, this, &QCoreApplication::quit);
}

ToolRun::~ToolRun()
{
    if (m_signalDescriptor >= 0)
        ::close(m_signalDescriptor);
}

std::unique_ptr<BoardPort> ToolRun::plug(int index, const QString& portName)
{
    Adapter adapter;
    adapter.portName = portName;
    adapter.serialNumber = QStringLiteral("VB%1").arg(index, 6, 10, QLatin1Char('0'));
    return std::make_unique<AdapterPort>(m_bus->plug(adapter));
}

bool ToolRun::start()
{
    catchSignals();
    if (m_options.serialPort.isEmpty())
        m_bus = std::make_unique<UsbBus>();
    if (!addBoards())
        return false;
    m_server.start();
    m_sinceStart.start();
    m_lookTimer.start();
    if (!m_options.program.isEmpty())
        return m_program.start(m_options.program, m_bus->environment());
    announcePorts();
    return true;
}

void ToolRun::announcePorts()
{
    const QStringList paths = m_server.look([](const auto& boards) {
        QStringList list;
        for (const BoardServer::Served& served : boards)
            list << served.port->path();
        return list;
    });
    for (qsizetype index = 0; index < paths.size(); ++index)
        print(QStringLiteral("%1 is at %2\n").arg(boardName(int(index)), paths.at(index)));
    if (m_bus) {
        const QProcessEnvironment environment = m_bus->environment();
        print(QStringLiteral("A program that looks for adapters finds them with "
                             "LD_PRELOAD=%1 UMOCKDEV_DIR=%2\n")
                  .arg(environment.value(QStringLiteral("LD_PRELOAD")),
                      environment.value(QStringLiteral("UMOCKDEV_DIR"))));
    }
    print(QStringLiteral("Ctrl+C ends it with the verdict.\n"));
}

sigset_t ToolRun::endingSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&set, number);
    return set;
}

void ToolRun::catchSignals()
{
    const sigset_t set = endingSignals();
    m_signalDescriptor = signalfd(-1, &set, SFD_CLOEXEC);
    m_signals = std::make_unique<QSocketNotifier>(m_signalDescriptor, QSocketNotifier::Read);
    connect(m_signals.get(), &QSocketNotifier::activated, this, [this] {
        signalfd_siginfo taken{};
        [[maybe_unused]] const ssize_t size = ::read(m_signalDescriptor, &taken, sizeof taken);
        endProgram();
    });
}

bool ToolRun::allDone()
{
    return m_server.look([](const auto& boards) {
        return std::all_of(boards.begin(), boards.end(),
            [](const BoardServer::Served& served) { return served.board->isFinished(); });
    });
}

void ToolRun::lookAround()
{
    look();
    if (m_options.progress)
        showProgress();
    if (m_options.timeout && !m_ending && elapsed(m_sinceStart) > *m_options.timeout) {
        m_timedOut = true;
        endProgram();
    }
    if (!m_options.stopWhenDone || m_ending || !allDone())
        return;
    if (!m_sinceDone.isValid())
        m_sinceDone.start();
    if (elapsed(m_sinceDone) >= *m_options.stopWhenDone)
        endProgram();
}

void ToolRun::showProgress()
{
    const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    const auto looks = m_sinceStart.elapsed() / kLookInterval.count();
    if (!terminal && looks % kLooksPerPrintedLine != 0)
        return;
    const QString line = QStringLiteral("%1 s  %2")
                             .arg(static_cast<double>(m_sinceStart.elapsed()) / 1000, 6, 'f', 1)
                             .arg(progressTexts().join(QStringLiteral(" | ")));
    print(terminal ? QStringLiteral("\r\x1b[K") + line : line + u'\n');
}

void ToolRun::endProgram()
{
    m_ending = true;
    if (!m_program.end())
        QCoreApplication::quit();
}

int ToolRun::finish()
{
    m_server.stop();
    if (m_options.progress)
        print(QStringLiteral("\n"));
    const Judgement judgement = judgeBoards();
    m_server.look([](const auto& boards) {
        for (const BoardServer::Served& served : boards) {
            if (!served.trouble.empty())
                complain(QString::fromStdString(served.trouble));
        }
    });
    QString end = QStringLiteral("VERDICT: ") + judgement.text;
    if (m_program.hasFailed())
        end += QStringLiteral(", and the program failed");
    if (m_timedOut)
        end += QStringLiteral(", ended by the timeout");
    print(end + u'\n');
    return judgement.good && !m_program.hasFailed() ? 0 : 1;
}

} // namespace vboard
