#include "app/MainWindow.h"

#include "bootload/DialogBootload.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "ui_MainWindow.h"

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui_MainWindow)
{
    ui->setupUi(this);

    settings = new Settings;
    settings->port = new QSerialPort;
    settings->extraFlag = false;
    settings->extraText1 = QString();
    settings->extraText2 = QString();
    settings->deviceReady = false;
    serial = new Serial_Connect(settings, QStringLiteral("A.20a"), QStringLiteral("1.00a"));

    setWindowTitle(QStringLiteral("Brivan Annealing DB bootlodaer"));
}

MainWindow::~MainWindow()
{
    delete ui;
}

void MainWindow::on_pushButton_clicked()
{
    RunJob(JobUpdate);
}

void MainWindow::on_pushButton_3_clicked()
{
    RunJob(JobImagesOnly);
}

void MainWindow::on_pushButton_2_clicked()
{
    RunJob(JobEraseImages);
}

void MainWindow::RunJob(int mode)
{
    auto* const dialog = new DialogBootload(serial, mode, this);
    dialog->exec();
    delete dialog;
}
