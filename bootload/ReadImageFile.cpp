#include "bootload/ReadImageFile.h"

#include <QFile>

ReadImageFile::ReadImageFile(QFile* file, ImageFile* image)
{
    Q_UNUSED(image)
    file->readAll();
}
