#pragma once

#include "virtualboard/BoardServer.h"
#include "virtualboard/ChildProgram.h"
#include "virtualboard/Options.h"
#include "virtualboard/Transcript.h"
#include "virtualboard/WatchWindow.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <csignal>
#include <memory>

class QSocketNotifier;

namespace vboard {

/// One run of the tool: boards on their ports, the program that is started on them, and the
/// verdict. Lives in the main thread beside an event loop, which it ends by
/// QCoreApplication::exit().
class ToolRun : public QObject
{
    Q_OBJECT

public:
    /// The signals that end the program and bring the verdict: hangup, interrupt, termination.
    /// main() blocks them before there is any thread, so that they reach no other.
    [[nodiscard]] static sigset_t endingSignals();

    ToolRun(Options options, ExpectedSet set);
    ~ToolRun() override;

    /// Plugs in the boards and starts the program. Throws std::runtime_error when there is no port.
    /// False when the program cannot be started or a file cannot be written; the reason is printed.
    [[nodiscard]] bool start();
    /// Prints the verdict and writes the files that were asked for. Returns the exit code.
    [[nodiscard]] int finish();

private:
    void addBoards();
    void addBoard(int index, std::unique_ptr<BoardPort> port);
    [[nodiscard]] QString boardName(int index) const;
    void announcePorts();
    void catchSignals();
    void look();
    void showProgress();
    void endProgram();
    [[nodiscard]] bool allDone();
    void show(int index, const Verdict& verdict, const BoardServer::Served& served) const;
    void writeReport(const QJsonObject& report) const;

    Options m_options;
    ExpectedSet m_set;
    std::unique_ptr<UsbBus> m_bus;
    Transcript m_transcript;
    BoardServer m_server;
    std::unique_ptr<WatchWindow> m_window;
    ChildProgram m_program;
    QTimer m_lookTimer;
    QElapsedTimer m_sinceStart;
    QElapsedTimer m_sinceDone;
    std::unique_ptr<QSocketNotifier> m_signals;
    int m_signalDescriptor = -1;
    bool m_ending = false;
    bool m_timedOut = false;
};

} // namespace vboard
