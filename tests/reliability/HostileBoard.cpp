#include "tests/reliability/HostileBoard.h"

#include "tests/support/Reference.h"

#include <array>

namespace {

constexpr std::array<const char*, 11> kWords{"$Bootloader", "$GACK", "$MVERR", "$IACK", "$FACK",
    "$AACK", "$EACK", "$DACK", "$PACK", "$CACK", "$VACK"};

QByteArray withChecksum(const QByteArray& line)
{
    const QByteArray body = line.mid(line.indexOf('$') + 1);
    return line + '*' + QByteArray::number(reference::crc(body), 16).toUpper();
}

} // namespace

QByteArray HostileBoard::reply()
{
    const int kind = below(10);
    if (kind < 5)
        return validLine();
    return kind < 8 ? nearlyValidLine() : garbage();
}

QByteArray HostileBoard::validLine()
{
    QByteArray body = word();
    if (body == "$VACK")
        return ended(readBack());
    if (body == "$MVERR")
        return ended(body + ",D." + bytes(3).toHex());
    if (body == "$IACK" || body == "$AACK")
        return ended(body + ',' + QByteArray::number(below(2)));
    if (body == "$FACK")
        body += ',' + QByteArray::number(below(4), 16) + (oneIn(4) ? ",1" : "");
    return ended(body);
}

QByteArray HostileBoard::nearlyValidLine()
{
    QByteArray line = validLine();
    switch (below(8)) {
    case 0: // numbers out of range
        return word() + ',' + number() + ',' + number() + '\n';
    case 1: // cut anywhere
        return line.left(below(static_cast<int>(line.size()) + 1));
    case 2: // a byte is another
        line[below(static_cast<int>(line.size()))] = static_cast<char>(below(256));
        return line;
    case 3: // a byte too many, also a NUL
        return line.insert(below(static_cast<int>(line.size())), static_cast<char>(below(3)));
    case 4: // the right text, the wrong checksum
        return word() + ",1*0BAD\n";
    case 5: // another line end
        return line.trimmed() + "\r\n";
    case 6: // joined
        return line.trimmed() + validLine();
    default: // a field too long
        return word() + ',' + bytes(below(300)).toHex() + '\n';
    }
}

QByteArray HostileBoard::garbage()
{
    switch (below(4)) {
    case 0:
        return QByteArray(below(5), '\n');
    case 1: // longer than the buffer for it
        return QByteArray(900 + below(300), 'x') + '\n';
    case 2: // not UTF-8
        return "$MVERR,\xC3\xFF" + bytes(8) + '\n';
    default:
        return bytes(below(120)) + (oneIn(2) ? "\n" : "");
    }
}

QByteArray HostileBoard::word()
{
    return kWords.at(static_cast<std::size_t>(below(static_cast<int>(kWords.size()))));
}

QByteArray HostileBoard::number()
{
    constexpr std::array<const char*, 8> kNumbers{
        "", "-1", "FFFFFFFF", "100000000", "7FFFFFFF", "80000000", "00000000000000001", "zz"};
    return kNumbers.at(static_cast<std::size_t>(below(static_cast<int>(kNumbers.size()))));
}

QByteArray HostileBoard::readBack()
{
    constexpr int kStates = 16;
    constexpr int kBytes = 64;
    QByteArray line = "$VACK," + QByteArray::number(below(kStates), 16);
    for (int i = 0; i < kBytes - (oneIn(4) ? 1 : 0); ++i)
        line += oneIn(2) ? ",00" : ",FF";
    return line;
}

QByteArray HostileBoard::bytes(int count)
{
    QByteArray result;
    for (int i = 0; i < count; ++i)
        result.append(static_cast<char>(below(256)));
    return result;
}

QByteArray HostileBoard::ended(QByteArray body)
{
    return (oneIn(2) ? withChecksum(body) : body) + '\n';
}
