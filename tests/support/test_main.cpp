#include "tests/support/TestProgram.h"

#include <QApplication>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    return runTests(argc, argv);
}
