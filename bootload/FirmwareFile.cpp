#include "bootload/FirmwareFile.h"

#include <algorithm>

DataLineBytes readFirmware(QFile& file, qint64 address)
{
    DataLineBytes bytes;
    qint64 count = 0;
    // Never asked to seek behind its end: a resource that was once does not come back from there.
    if (file.isOpen() && address < file.size() && file.seek(address))
        count = std::max<qint64>(file.read(bytes.data(), kDataLineSize), 0);
    std::fill(bytes.begin() + count, bytes.end(), kErasedByte);
    return bytes;
}
