#include "doctor/DoctorWindow.h"

#include "ui_DoctorWindow.h"

#include <QClipboard>
#include <QFileDialog>

#include <algorithm>

namespace doctor {

namespace {

// How long the window waits at its end for each thread that it has interrupted: one that is left
// behind would find nothing of the program any more.
constexpr unsigned long kPatienceAtTheEnd = 5000; // ms

constexpr int kPictureHeight = 200; // pixels

struct Sign
{
    std::optional<QStyle::StandardPixmap> icon;
    const char* text;
};

Sign signOf(Row::Kind kind)
{
    switch (kind) {
    case Row::Kind::Ok:
        return {QStyle::SP_DialogApplyButton, "ok"};
    case Row::Kind::ToDo:
        return {QStyle::SP_MessageBoxWarning, "to do"};
    case Row::Kind::Unknown:
        return {QStyle::SP_MessageBoxQuestion, "not known"};
    case Row::Kind::Fact:
        break;
    }
    return {{}, ""};
}

QString headingOf(const Answer& answer)
{
    switch (const qsizetype count = toDoCount(answer.rows)) {
    case 0:
        return std::ranges::count(answer.rows, Row::Kind::Unknown, &Row::kind) == 0
            ? QStringLiteral("%1: nothing to do").arg(answer.about)
            : QStringLiteral("%1: nothing to do, as far as is known").arg(answer.about);
    case 1:
        return QStringLiteral("%1: one thing to do").arg(answer.about);
    default:
        return QStringLiteral("%1: %2 things to do").arg(answer.about).arg(count);
    }
}

} // namespace

DoctorWindow::DoctorWindow(Question lookAtComputer, QWidget* parent)
    : QWidget(parent), ui(new Ui_DoctorWindow), m_lookAtComputer(std::move(lookAtComputer))
{
    ui->setupUi(this);
    ui->label_Picture->hide();
    connect(&m_updater, &UpdaterWithLog::ended, this, [this] { openLog(m_updater.log()); });
    connect(&m_updater, &UpdaterWithLog::failed, this, [this](const QString& why) {
        enableButtons();
        display({tr("The updater"), {{Row::Kind::ToDo, tr("start"), why}}, {}});
    });
}

DoctorWindow::~DoctorWindow()
{
    for (QThread* const thread : std::as_const(m_running))
        thread->requestInterruption();
    for (QThread* const thread : std::as_const(m_running)) {
        if (thread->wait(kPatienceAtTheEnd))
            delete thread;
    }
}

void DoctorWindow::checkAgain()
{
    ask(m_lookAtComputer);
}

void DoctorWindow::openLog(const QString& path)
{
    const QSize size(ui->tableWidget->width(), kPictureHeight);
    ask([path, size] { return answerOfLog(path, size); });
}

// The lines of a text follow its width.
void DoctorWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    ui->tableWidget->resizeRowsToContents();
}

void DoctorWindow::on_pushButton_Check_clicked()
{
    checkAgain();
}

void DoctorWindow::on_pushButton_Log_clicked()
{
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Open a log"), logFolder(), tr("Logs (*.log);;All files (*)"));
    if (!path.isEmpty())
        openLog(path);
}

void DoctorWindow::on_pushButton_Copy_clicked()
{
    QGuiApplication::clipboard()->setText(headingOf(m_shown) + u'\n' + textOf(m_shown.rows));
}

void DoctorWindow::on_pushButton_Start_clicked()
{
    m_updater.start();
    enableButtons();
    if (m_updater.isRunning())
        ui->label_About->setText(
            tr("The updater is running, and its log is in %1. When you close it, what the log "
               "says is shown here.")
                .arg(m_updater.log()));
}

void DoctorWindow::ask(const Question& question)
{
    ui->label_About->setText(tr("Looking…"));
    if (m_asked)
        m_asked->requestInterruption();
    const auto answer = std::make_shared<Answer>();
    QThread* const thread = QThread::create([question, answer] { *answer = question(); });
    m_asked = thread;
    m_running.append(thread);
    enableButtons();
    connect(thread, &QThread::finished, this, [this, thread, answer] {
        m_running.removeOne(thread);
        enableButtons();
        if (m_asked == thread)
            display(*answer);
        thread->deleteLater();
    });
    thread->start();
}

// One look at the computer at a time: two would find each other at the port, and so would the
// updater.
void DoctorWindow::enableButtons()
{
    for (QPushButton* const button : {ui->pushButton_Check, ui->pushButton_Start})
        button->setEnabled(m_running.isEmpty() && !m_updater.isRunning());
}

void DoctorWindow::display(const Answer& answer)
{
    m_shown = answer;
    ui->label_About->setText(headingOf(answer));
    ui->tableWidget->setRowCount(static_cast<int>(answer.rows.size()));
    for (int number = 0; number < ui->tableWidget->rowCount(); ++number)
        displayRow(number, answer.rows[number]);
    for (const int narrow : {0, 1})
        ui->tableWidget->resizeColumnToContents(narrow);
    ui->tableWidget->resizeRowsToContents();
    ui->label_Picture->setPixmap(QPixmap::fromImage(answer.picture));
    ui->label_Picture->setHidden(answer.picture.isNull());
}

void DoctorWindow::displayRow(int number, const Row& row)
{
    const Sign sign = signOf(row.kind);
    const QIcon icon = sign.icon ? style()->standardIcon(*sign.icon) : QIcon();
    ui->tableWidget->setItem(number, 0, new QTableWidgetItem(icon, QLatin1String(sign.text)));
    ui->tableWidget->setItem(number, 1, new QTableWidgetItem(row.topic));
    ui->tableWidget->setItem(number, 2, new QTableWidgetItem(row.text));
}

} // namespace doctor
