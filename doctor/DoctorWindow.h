#pragma once

#include "doctor/Answer.h"
#include "doctor/UpdaterWithLog.h"

#include <QPointer>
#include <QThread>
#include <QWidget>

#include <functional>
#include <memory>

class Ui_DoctorWindow;

namespace doctor {

/// Shows one answer at a time, a row of the table for each of its rows. What it shows is found out
/// in a thread of its own, so that a port that hangs, or a long log, does not hang the window.
class DoctorWindow : public QWidget
{
    Q_OBJECT

public:
    using Question = std::function<Answer()>;

    /// `lookAtComputer` is called in another thread, whose interruption is requested when nobody
    /// waits for its answer any more.
    explicit DoctorWindow(Question lookAtComputer, QWidget* parent = nullptr);
    ~DoctorWindow() override;
    DoctorWindow(const DoctorWindow&) = delete;
    DoctorWindow& operator=(const DoctorWindow&) = delete;

    void checkAgain();
    void openLog(const QString& path);

protected:
    void resizeEvent(QResizeEvent* event) override;

private slots:
    void on_pushButton_Check_clicked();
    void on_pushButton_Log_clicked();
    void on_pushButton_Copy_clicked();
    void on_pushButton_Start_clicked();

private:
    void ask(const Question& question);
    void enableButtons();
    void display(const Answer& answer);
    void displayRow(int number, const Row& row);

    std::unique_ptr<Ui_DoctorWindow> ui;
    Question m_lookAtComputer;
    QPointer<QThread> m_asked; // of the last question: only its answer is shown
    QList<QThread*> m_running; // own
    Answer m_shown;
    UpdaterWithLog m_updater;
};

} // namespace doctor
