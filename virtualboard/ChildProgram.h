#pragma once

#include <QObject>
#include <QProcess>

namespace vboard {

/// The program that works on the boards, as a child of this process. Its output goes where the
/// output of this process goes; its failures are printed.
class ChildProgram : public QObject
{
    Q_OBJECT

public:
    ChildProgram();

    /// Starts `command`, a program with its arguments. False when that fails.
    [[nodiscard]] bool start(const QStringList& command, const QProcessEnvironment& environment);
    /// Tells it to end, and kills it when it does not. False when it does not run.
    bool end();
    /// True when it crashed or ended with another code than 0 without having been told to end.
    [[nodiscard]] bool hasFailed() const { return m_failed; }

signals:
    void finished();

private:
    void onFinished(int exitCode, QProcess::ExitStatus status);
    void onError(QProcess::ProcessError error);

    QProcess m_process;
    bool m_ending = false;
    bool m_failed = false;
};

} // namespace vboard
