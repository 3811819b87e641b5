#include "bootload/Commands.h"

#include "bootload/Wire.h"

using protocol::Line;

Line dataLine(qint32 address, QByteArrayView bytes)
{
    Line line(kWordData);
    line.appendHex(static_cast<quint32>(address % kPageSize)).appendHexFields(bytes);
    return line;
}

Line blockLine(qint32 number, QByteArrayView bytes)
{
    Line line(kWordBlock);
    line.appendHexByte(static_cast<quint32>(number)).appendHexFields(bytes);
    return line;
}
