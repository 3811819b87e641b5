#include "protocol/Crc.h"
#include "protocol/WireText.h"
#include "tests/support/Reference.h"
#include "tests/support/TestProgram.h"

#include <array>

using protocol::crcOf;
using protocol::crcStep;
using protocol::kCrcInitial;

namespace {

/// The checksum's definition, a bit at a time.
std::uint16_t bitwiseStep(std::uint16_t crc, std::uint8_t data)
{
    const auto byte = static_cast<char>(data);
    return static_cast<std::uint16_t>(reference::crc({&byte, 1}, crc));
}

std::uint16_t crcOfText(const QByteArray& text)
{
    return crcOf({text.constData(), static_cast<std::size_t>(text.size())});
}

unsigned short crcByCrcByte(const QByteArray& text)
{
    unsigned short crc = kCrcInitial;
    for (const char byte : text)
        CRCByte(byte, &crc);
    return crc;
}

unsigned short crcByWireText(const QByteArray& text)
{
    unsigned short crc = kCrcInitial;
    for (const char byte : text)
        protocol::WireText::CRC(static_cast<unsigned char>(byte), &crc);
    return crc;
}

unsigned short crcByCrcArray(const QByteArray& text)
{
    const QList<unsigned char> bytes(text.cbegin(), text.cend());
    return CRCArray(kCrcInitial, bytes.constData(), static_cast<unsigned>(bytes.size()));
}

QByteArray everyByte()
{
    QByteArray bytes;
    for (int value = 0; value <= 0xFF; ++value)
        bytes.append(static_cast<char>(value));
    return bytes;
}

} // namespace

class TestCrc : public QObject
{
    Q_OBJECT

private slots:
    void startsAllOnes() { QCOMPARE(kCrcInitial, std::uint16_t(0xFFFF)); }

    // The checksums were made with Python's binascii.crc_hqx, which shifts the other way round: its
    // polynomial is 0x1021, most significant bit first. The bits of every byte were reversed before
    // and the sixteen bits of the result after:
    //   reversed16(crc_hqx(bytes(reversed8(b) for b in text), 0xFFFF))
    void givesTheGoldenChecksum_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<unsigned short>("crc");
        const auto row = [](const char* name, const QByteArray& text, int crc) {
            QTest::newRow(name) << text << static_cast<unsigned short>(crc);
        };
        row("check value", "123456789", 0x6F91);
        row("nothing", "", 0xFFFF);
        row("NUL", QByteArray(1, '\0'), 0x0F87);
        row("FF", "\xFF", 0x00FF);
        row("FF FF", "\xFF\xFF", 0x0000);
        row("80", "\x80", 0x8B8F);
        row("NUL between letters", QByteArray("a\0b", 3), 0x26B6);
        row("UTF-8", "\xF0\x9F\x98\x80", 0xE421);
        row("erase all images", "A,1", 0xCF00);
        row("one letter", "V", 0x3834);
        row("exit", "X", 0xD14A);
        row("version", "MVER", 0x826A);
        row("enter the bootloader", "BOOTLOADM", 0x9FEC);
        row("erase a page", "E,1000,1", 0x2BEA);
        row("program a page", "P,DF000,1000", 0xC402);
        row("announce an image", "I,0,1,154,E6", 0xF5C1);
        row("two digits", "F,73", 0x0026);
        row("a block of zeros", "F,262," + QByteArray(480, '0'), 0xDA8B);
        row("a data line of erased flash", "D,0," + QByteArray(128, 'F'), 0xBB7E);
        row("every byte", everyByte(), 0xCFC3);
        row("a thousand NULs", QByteArray(1000, '\0'), 0xC5A0);
        row("a thousand FFs", QByteArray(1000, '\xFF'), 0xEF4F);
    }

    void givesTheGoldenChecksum()
    {
        QFETCH(QByteArray, text);
        QFETCH(unsigned short, crc);
        QCOMPARE(crcOfText(text), crc);
        QCOMPARE(crcByCrcByte(text), crc);
        QCOMPARE(crcByCrcArray(text), crc);
        QCOMPARE(crcByWireText(text), crc);
    }

    void everyLowByteWithEveryDataByteIsAsTheBitwiseRegister()
    {
        // The high byte is only shifted and mixed in: a few of them show that it is.
        for (const unsigned high : {0x00U, 0x01U, 0x5AU, 0x80U, 0xFFU}) {
            for (unsigned low = 0; low <= 0xFF; ++low) {
                const auto crc = static_cast<std::uint16_t>((high << 8U) | low);
                for (unsigned data = 0; data <= 0xFF; ++data) {
                    const auto byte = static_cast<std::uint8_t>(data);
                    if (crcStep(crc, byte) != bitwiseStep(crc, byte))
                        QFAIL(qPrintable(QString::asprintf("crc %04X, data %02X", crc, data)));
                }
            }
        }
    }

    void theStepIsKnownAtCompileTime() { static_assert(crcStep(kCrcInitial, 'V') == 0x3834); }

    void aByteStepUpdatesAndReturnsTheSame()
    {
        unsigned short crc = kCrcInitial;
        QCOMPARE(CRCByte('V', &crc), static_cast<unsigned short>(0x3834));
        QCOMPARE(crc, static_cast<unsigned short>(0x3834));
    }

    void aByteStepTakesTheLowEightBits_data()
    {
        QTest::addColumn<int>("data");
        QTest::newRow("a signed byte") << -128;
        QTest::newRow("an unsigned byte") << 0x80;
        QTest::newRow("more than a byte") << 0x12380;
        QTest::newRow("largest with that byte") << 0x7FFFFF80;
    }

    void aByteStepTakesTheLowEightBits()
    {
        QFETCH(int, data);
        unsigned short crc = kCrcInitial;
        QCOMPARE(CRCByte(data, &crc), static_cast<unsigned short>(0x8B8F));
    }

    void anEmptyArrayLeavesTheChecksumAndIsNotLookedAt()
    {
        QCOMPARE(CRCArray(0x1234, nullptr, 0), static_cast<unsigned short>(0x1234));
    }

    void anArrayGoesOnFromTheGivenChecksum()
    {
        constexpr std::array<unsigned char, 9> kText{'1', '2', '3', '4', '5', '6', '7', '8', '9'};
        for (unsigned split = 0; split <= kText.size(); ++split) {
            const auto first = CRCArray(kCrcInitial, kText.data(), split);
            const auto rest = static_cast<unsigned>(kText.size()) - split;
            QCOMPARE(
                CRCArray(first, kText.data() + split, rest), static_cast<unsigned short>(0x6F91));
        }
    }
};

static const RegisteredTest<TestCrc> registered(__FILE__);
#include "tst_crc.moc"
