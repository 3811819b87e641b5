#include "doctor/UpdaterWithLog.h"

#include "doctor/ComputerRows.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <utility>

namespace doctor {

namespace {

QString updaterPath()
{
    const QString beside
        = QStandardPaths::findExecutable(kUpdaterProgram, {QCoreApplication::applicationDirPath()});
    return beside.isEmpty() ? QStandardPaths::findExecutable(kUpdaterProgram) : beside;
}

QString newLogPath()
{
    return QDir::toNativeSeparators(
        QStringLiteral("%1/%2-%3.log")
            .arg(logFolder(), kUpdaterProgram,
                QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd-HHmmss"))));
}

/// The updater has no settings of its own. Qt's are for its whole log to go to standard error also
/// where there is a journal, and for a time before each line.
QProcessEnvironment environmentForALog()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
    environment.insert(QStringLiteral("QT_MESSAGE_PATTERN"),
        QStringLiteral("%{time yyyy-MM-dd HH:mm:ss.zzz} %{category}: %{message}"));
    // The user's own rules may have switched it off.
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("updater.*=true"));
    return environment;
}

} // namespace

QString logFolder()
{
#ifdef Q_OS_WIN
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
#else
    return QStandardPaths::writableLocation(QStandardPaths::HomeLocation);
#endif
}

UpdaterWithLog::UpdaterWithLog(QObject* parent) : QObject(parent) { }

UpdaterWithLog::~UpdaterWithLog()
{
    // A QProcess that is deleted takes its program with it.
    if (isRunning())
        disconnect(m_process, nullptr, this, nullptr);
}

void UpdaterWithLog::start()
{
    const QString updater = updaterPath();
    m_log = newLogPath();
    if (updater.isEmpty())
        return emit failed(QStringLiteral("The updater is not installed."));
    if (!QFile(m_log).open(QIODevice::WriteOnly))
        return emit failed(QStringLiteral("The log cannot be written to %1").arg(m_log));

    m_process = new QProcess;
    m_process->setProcessEnvironment(environmentForALog());
    m_process->setStandardErrorFile(m_log);
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->setStandardInputFile(QProcess::nullDevice());
    connect(m_process, &QProcess::finished, m_process, &QObject::deleteLater);
    connect(m_process, &QProcess::finished, this, [this] {
        m_process = nullptr;
        emit ended();
    });
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        const QString why = m_process->errorString();
        std::exchange(m_process, nullptr)->deleteLater();
        emit failed(QStringLiteral("The updater does not start: %1").arg(why));
    });
    m_process->start(updater, QStringList());
}

} // namespace doctor
