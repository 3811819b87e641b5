#pragma once

#include <QObject>
#include <QString>

class QProcess;

namespace doctor {

/// Where logs are written: the user's home on Linux, and their documents on Windows.
[[nodiscard]] QString logFolder();

/// The updater, started with its debug log written to a file.
///
/// It outlives this object and this program: a machine may be in the middle of its update.
class UpdaterWithLog : public QObject
{
    Q_OBJECT

public:
    explicit UpdaterWithLog(QObject* parent = nullptr);
    ~UpdaterWithLog() override;

    /// Starts the updater that lies beside this program, or else the one in the PATH. Emits ended()
    /// or failed(), later or at once. To be called while isRunning() is false.
    void start();

    [[nodiscard]] bool isRunning() const { return m_process != nullptr; }
    /// The last log's path, in logFolder().
    [[nodiscard]] const QString& log() const { return m_log; }

signals:
    /// The user has closed the updater.
    void ended();
    /// It did not start; `why` is a sentence for the user.
    void failed(const QString& why);

private:
    QProcess* m_process = nullptr; // deletes itself when the updater has ended
    QString m_log;
};

} // namespace doctor
