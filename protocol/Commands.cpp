#include "protocol/Commands.h"

namespace protocol {

Line erasePageLine(qint32 page)
{
    return Line("$E,").appendHex(static_cast<quint32>(page)).append(",1");
}

Line eraseFromLine(qint32 startAddress)
{
    return Line("$E,").appendHex(static_cast<quint32>(startAddress)).append(",");
}

Line dataLine(qint32 address, QByteArrayView bytes)
{
    return Line("$D,").appendHex(static_cast<quint32>(address % kPageSize)).appendHexFields(bytes);
}

Line programPageLine(qint32 page)
{
    return Line("$P,").appendHex(static_cast<quint32>(page)).append(",").appendHex(kPageSize);
}

Line checkFirmwareLine()
{
    return Line("$C,").appendHex(kFirmwareStart).append(",").appendHex(kFirmwareLast);
}

Line imageLine(int number, int version, int width, int height)
{
    Line line("$I");
    for (const int value : {number, version, width, height})
        line.append(",").appendHexByte(static_cast<quint32>(value));
    return line;
}

Line blockLine(qint32 number, QByteArrayView bytes)
{
    return Line("$F,").appendHexByte(static_cast<quint32>(number)).appendHexFields(bytes);
}

} // namespace protocol
