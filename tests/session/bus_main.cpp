#include "tests/session/PortHolder.h"
#include "tests/support/TestProgram.h"

#include <QApplication>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    const int heldPort = PortHolder::runAsHolder(argc, argv);
    return heldPort >= 0 ? heldPort : runTests(argc, argv);
}
