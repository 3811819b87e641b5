#include "app/MainWindow.h"

#include "bootload/Log.h"

#include <QApplication>

int main(int argc, char** argv)
{
    // Before anything else can log: the version is the log's first line.
    qCDebug(logJob) << "Annealing DB Updater" << UPDATER_VERSION;
    const QApplication application(argc, argv);
    MainWindow window;
    window.show();
    return QApplication::exec();
}
