#pragma once

#include <QMainWindow>

class MainWindowProbe;
class Serial_Connect;
class Ui_MainWindow;
struct Settings;

/// The main window: three buttons, each of which runs one job in a modal update dialog.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Builds the window with its serial connection service. `parent` may be null.
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

private slots:
    void on_pushButton_clicked();
    void on_pushButton_3_clicked();
    void on_pushButton_2_clicked();

private:
    friend class MainWindowProbe;

    void RunJob(int mode);

    Ui_MainWindow* ui;
    // Both live until the process ends: the service keeps its state from one dialog to the next.
    Serial_Connect* serial;
    Settings* settings;
};
