#include "app/MainWindow.h"

#include <QApplication>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    MainWindow window;
    window.show();
    return QApplication::exec();
}
