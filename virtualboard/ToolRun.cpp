#include "virtualboard/ToolRun.h"

#include "virtualboard/Console.h"
#include "virtualboard/Picture.h"
#include "virtualboard/Report.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
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

ToolRun::ToolRun(Options options, ExpectedSet set)
    : m_options(std::move(options)), m_set(std::move(set))
{
    m_lookTimer.setInterval(kLookInterval);
    connect(&m_lookTimer, &QTimer::timeout, this, &ToolRun::look);
    connect(&m_program, &ChildProgram::finished, this, &QCoreApplication::quit);
}

ToolRun::~ToolRun()
{
    m_server.stop();
    if (m_signalDescriptor >= 0)
        ::close(m_signalDescriptor);
}

QString ToolRun::boardName(int index) const
{
    const QString port = m_options.serialPort.isEmpty()
        ? QStringLiteral("ttyUSB%1").arg(m_options.firstPort + index)
        : m_options.serialPort;
    return QStringLiteral("board %1 (%2)").arg(index).arg(port);
}

void ToolRun::addBoard(int index, std::unique_ptr<BoardPort> port)
{
    BoardOptions options = m_options.board;
    options.seed += static_cast<std::uint64_t>(index);
    std::erase_if(options.faults, [index](const FaultRule& rule) {
        return rule.board && *rule.board != static_cast<unsigned long>(index);
    });
    Board& board = m_server.add(std::move(options), std::move(port));
    if (m_options.record.isEmpty() && !m_window)
        return;
    board.setObserver([this, index](const RecordedLine& line) {
        if (!m_options.record.isEmpty())
            m_transcript.write(index, line);
        if (m_window)
            m_window->addLine(index, line);
    });
}

void ToolRun::addBoards()
{
    if (!m_options.serialPort.isEmpty()) {
        addBoard(0, std::make_unique<CablePort>(m_options.serialPort));
        return;
    }
    m_bus = std::make_unique<UsbBus>();
    for (int index = 0; index < m_options.boards; ++index) {
        Adapter adapter;
        adapter.portName = QStringLiteral("ttyUSB%1").arg(m_options.firstPort + index);
        adapter.serialNumber = QStringLiteral("VB%1").arg(index, 6, 10, QLatin1Char('0'));
        addBoard(index, std::make_unique<AdapterPort>(m_bus->plug(adapter)));
    }
}

bool ToolRun::start()
{
    catchSignals();
    if (!m_options.record.isEmpty() && !m_transcript.open(m_options.record)) {
        complain(QStringLiteral("%1: %2").arg(m_options.record, m_transcript.errorString()));
        return false;
    }
    if (m_options.window) {
        QStringList names;
        for (int index = 0; index < m_options.boards; ++index)
            names << boardName(index);
        m_window = std::make_unique<WatchWindow>(m_server, names);
    }
    addBoards();
    m_server.start();
    if (m_window)
        m_window->show();
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
        for (const auto& served : boards)
            list << served->port->path();
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
            [](const auto& served) { return served->board.isFinished(); });
    });
}

void ToolRun::look()
{
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
    const QStringList texts = m_server.look([this](const auto& boards) {
        QStringList list;
        for (const auto& served : boards)
            list << progressText(served->board, m_set);
        return list;
    });
    const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    const auto looks = m_sinceStart.elapsed() / kLookInterval.count();
    if (!terminal && looks % kLooksPerPrintedLine != 0)
        return;
    const QString line = QStringLiteral("%1 s  %2")
                             .arg(static_cast<double>(m_sinceStart.elapsed()) / 1000, 6, 'f', 1)
                             .arg(texts.join(QStringLiteral(" | ")));
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
    int exact = 0;
    int count = 0;
    QJsonArray reports;
    m_server.look([&](const auto& boards) {
        for (const auto& served : boards) {
            const Verdict verdict
                = judge(served->board, m_set, m_options.board.held, m_options.expected);
            exact += verdict.exact ? 1 : 0;
            show(count, verdict, *served);
            reports.append(boardReport(boardName(count), verdict, served->board));
            ++count;
        }
    });
    writeReport({{"boards", reports}});
    QString end = QStringLiteral("VERDICT: %1 (%2 of %3 boards exact)")
                      .arg(exact == count ? QStringLiteral("EXACT") : QStringLiteral("NOT EXACT"))
                      .arg(exact)
                      .arg(count);
    if (m_program.hasFailed())
        end += QStringLiteral(", and the program failed");
    if (m_timedOut)
        end += QStringLiteral(", ended by the timeout");
    print(end + u'\n');
    return exact == count && !m_program.hasFailed() ? 0 : 1;
}

void ToolRun::show(int index, const Verdict& verdict, const BoardServer::Served& served) const
{
    print(verdictText(boardName(index), verdict, served.board));
    if (!served.trouble.empty())
        complain(QString::fromStdString(served.trouble));
    if (m_options.pictures.isEmpty())
        return;
    const QString prefix = m_options.boards > 1 ? QStringLiteral("board%1-").arg(index) : QString();
    const QStringList failed = writePictures(served.board.images(), m_options.pictures, prefix);
    for (const QString& path : failed)
        complain(QStringLiteral("%1 could not be written").arg(path));
}

void ToolRun::writeReport(const QJsonObject& report) const
{
    if (m_options.report.isEmpty())
        return;
    QFile file(m_options.report);
    const QByteArray json = QJsonDocument(report).toJson(QJsonDocument::Indented);
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size())
        complain(QStringLiteral("%1: %2").arg(m_options.report, file.errorString()));
}

} // namespace vboard
