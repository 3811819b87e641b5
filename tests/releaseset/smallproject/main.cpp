#include <QFile>

int main(int argc, char** argv)
{
    return argc == 2 && QFile::exists(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
