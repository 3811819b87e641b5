#include "virtualboard/ChildProgram.h"

#include "virtualboard/Console.h"

#include <QTimer>

#include <chrono>
#include <csignal>
#include <sys/prctl.h>

namespace vboard {

namespace {

// How long a program that was told to end may take.
constexpr std::chrono::seconds kPatience{5};

} // namespace

ChildProgram::ChildProgram()
{
    connect(&m_process, &QProcess::finished, this, &ChildProgram::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &ChildProgram::onError);
}

bool ChildProgram::start(const QStringList& command, const QProcessEnvironment& environment)
{
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    m_process.setInputChannelMode(QProcess::ForwardedInputChannel);
    m_process.setChildProcessModifier([] {
        // This process blocks the signals that end it; the program takes them as usual.
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        // When this process is killed, the program must not be left without its boards.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
    });
    m_process.start(command.first(), command.mid(1));
    if (m_process.waitForStarted())
        return true;
    complain(QStringLiteral("%1: %2").arg(command.first(), m_process.errorString()));
    return false;
}

bool ChildProgram::end()
{
    m_ending = true;
    if (m_process.state() == QProcess::NotRunning)
        return false;
    m_process.terminate();
    QTimer::singleShot(kPatience, &m_process, &QProcess::kill);
    return true;
}

void ChildProgram::onFinished(int exitCode, QProcess::ExitStatus status)
{
    const bool crashed = status == QProcess::CrashExit;
    m_failed = !m_ending && (crashed || exitCode != 0);
    if (m_failed)
        complain(crashed ? QStringLiteral("the program crashed")
                         : QStringLiteral("the program ended with code %1").arg(exitCode));
    emit finished();
}

void ChildProgram::onError(QProcess::ProcessError error)
{
    // A crash is also reported as an end, a failed start by start().
    if (error == QProcess::ReadError || error == QProcess::WriteError)
        complain(m_process.errorString());
}

} // namespace vboard
