#pragma once

#include "virtualboard/BoardServer.h"
#include "virtualboard/ChildProgram.h"
#include "virtualboard/Options.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <csignal>
#include <memory>

class QSocketNotifier;

namespace vboard {

/// One run of the tool: boards on their ports, the program that is started on them, and the
/// verdict. Which boards these are, and what is said of them, is the derived class's. Lives in the
/// main thread beside an event loop, which it ends by QCoreApplication::exit().
class ToolRun : public QObject
{
    Q_OBJECT

public:
    /// The signals that end the program and bring the verdict: hangup, interrupt, termination.
    /// main() blocks them before there is any thread, so that they reach no other.
    [[nodiscard]] static sigset_t endingSignals();

    ~ToolRun() override;

    /// Plugs in the boards and starts the program. Throws std::runtime_error when there is no port.
    /// False when the program cannot be started or a file cannot be written; the reason is printed.
    [[nodiscard]] bool start();
    /// Prints the verdict and writes the files that were asked for. Returns the exit code.
    [[nodiscard]] int finish();

protected:
    /// What is said of all boards in the end.
    struct Judgement
    {
        bool good = false;
        QString text;
    };

    explicit ToolRun(Options options);

    [[nodiscard]] const Options& options() const { return m_options; }
    [[nodiscard]] BoardServer& server() { return m_server; }
    /// A port of the mocked bus for the board with this number; several are in the order of calls.
    [[nodiscard]] std::unique_ptr<BoardPort> plug(int index, const QString& portName);

    /// Adds the boards to the server. False when a file cannot be written; the reason is printed.
    [[nodiscard]] virtual bool addBoards() = 0;
    [[nodiscard]] virtual QString boardName(int index) const = 0;
    /// How far each board has come.
    [[nodiscard]] virtual QStringList progressTexts() = 0;
    /// Called now and then while the program runs.
    virtual void look() { }
    /// Prints what is to be said of each board, when all stand still.
    [[nodiscard]] virtual Judgement judgeBoards() = 0;

private:
    void announcePorts();
    void catchSignals();
    void lookAround();
    void showProgress();
    void endProgram();
    [[nodiscard]] bool allDone();

    Options m_options;
    std::unique_ptr<UsbBus> m_bus;
    BoardServer m_server;
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
