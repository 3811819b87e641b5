#include "bootload/FirmwareFile.h"

#include <algorithm>

DataLineBytes readFirmware(QFile& file, qint64 address)
{
    DataLineBytes bytes;
    qint64 count = 0;
    // A seek behind the end of a resource fails and leaves the file where it was.
    if (file.isOpen() && file.seek(address))
        count = std::max<qint64>(file.read(bytes.data(), kDataLineSize), 0);
    std::fill(bytes.begin() + count, bytes.end(), kErasedByte);
    return bytes;
}
