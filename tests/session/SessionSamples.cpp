#include "tests/session/SessionSamples.h"

SessionFields somewhere(const SessionFields& changes)
{
    return with({{"state", 0}, {"startAddress", 0x1400}, {"flashAddress", 0x1040}, {"phase", 1},
                    {"fwStep", 1}, {"retries", 4}, {"ticks", 1}, {"imageIndex", 1},
                    {"imageOffset", 0}, {"imageStep", 1}, {"imageWait", 2}, {"blockNumber", 9}},
        changes);
}

QByteArray hexByte(int value)
{
    return QByteArray::number(value, 16).toUpper().rightJustified(2, '0');
}

QByteArrayList blockLines(const QByteArray& pixels)
{
    QByteArrayList lines;
    for (int offset = 0; offset < pixels.size(); offset += 256) {
        QByteArray line = "$F," + hexByte(offset / 256);
        const QByteArray block = pixels.mid(offset, 256);
        for (const char byte : block)
            line += "," + hexByte(static_cast<unsigned char>(byte));
        lines << line;
    }
    return lines;
}

QByteArray blockLine(int number, int image)
{
    return blockLines(smallImage(image)).at(number);
}

QByteArray erasedLine(const QByteArray& offset)
{
    return "$D," + offset + QByteArray(",FF").repeated(64);
}
