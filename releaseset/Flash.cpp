#include "releaseset/Flash.h"

#include "bootload/Session.h"
#include "protocol/Commands.h"

#include <algorithm>

using namespace protocol;

namespace releaseset {

namespace {

constexpr qsizetype kAddressBytes = 4;
constexpr int kBitsInByte = 8;
constexpr int kHexBase = 16;

Place in(const char16_t* file)
{
    return {.file = QString::fromUtf16(file), .line = 0, .column = 0, .key = {}};
}

bool isAll(QByteArrayView bytes, char value)
{
    return std::ranges::all_of(bytes, [value](char c) { return c == value; });
}

QString hex(quint32 value)
{
    return QString::number(value, kHexBase).toUpper();
}

quint32 littleEndian(const QByteArray& bytes)
{
    quint32 value = 0;
    for (qsizetype i = bytes.size(); i-- > 0;)
        value = value << kBitsInByte | static_cast<unsigned char>(bytes.at(i));
    return value;
}

} // namespace

PageCounts countPages(const QByteArray& firmware)
{
    PageCounts counts;
    for (qsizetype at = 0; at < firmware.size(); at += kPageSize) {
        const QByteArrayView page = QByteArrayView(firmware).sliced(
            at, std::min<qsizetype>(kPageSize, firmware.size() - at));
        ++counts.pages;
        counts.allZero += isAll(page, '\0') ? 1 : 0;
        counts.allErased += isAll(page, kErasedByte) ? 1 : 0;
    }
    return counts;
}

void checkFirmware(const QByteArray& firmware, Findings& findings)
{
    const Place place = in(kFirmwareFile);
    if (firmware.size() <= kFirmwareStart) {
        findings.error(place,
            QStringLiteral(
                "%1 bytes do not reach past the first page, so nothing of it would be sent; "
                "write the whole flash image from address 0")
                .arg(firmware.size()));
        return;
    }
    const qint64 past = firmware.size() - (kFirmwareLast + 1);
    if (past > 0) {
        findings.error(place,
            QStringLiteral(
                "%1 bytes lie past %2, the end of the firmware's flash, and would not be "
                "sent; shorten the image")
                .arg(past)
                .arg(hex(kFirmwareLast)));
    }
    const QByteArrayView first = QByteArrayView(firmware).first(kFirmwareStart);
    if (!isAll(first, '\0') && !isAll(first, kErasedByte)) {
        findings.error(place,
            QStringLiteral(
                "the first page is not empty, but it belongs to the bootloader and is not "
                "sent; write an image whose offset is the flash address"));
    }
}

quint32 builtStartAddress(const QByteArray& bytes)
{
    constexpr int kShifts[kAddressBytes] = {0, 8, 16, 16};
    quint32 address = 0;
    for (qsizetype i = 0; i < std::min(bytes.size(), kAddressBytes); ++i)
        address |= static_cast<quint32>(static_cast<signed char>(bytes.at(i))) << kShifts[i];
    return address;
}

void checkStartAddress(const QByteArray& bytes, Findings& findings)
{
    if (bytes.size() != kAddressBytes) {
        findings.error(in(kAddressFile),
            QStringLiteral("%1 bytes; write the start address as 4 bytes, the low one first")
                .arg(bytes.size()));
        return;
    }
    const quint32 written = littleEndian(bytes);
    const quint32 built = builtStartAddress(bytes);
    if (built != written) {
        findings.error(in(kAddressFile),
            QStringLiteral(
                "%1 becomes %2 by the way the program builds it; the fourth byte must be 00 "
                "and each other below 80")
                .arg(hex(written), hex(built)));
    }
}

} // namespace releaseset
