// What a new service is, and what it sends: raw messages, and lines with a checksum at the bounds
// of positions counted in 8 bits.

#include "tests/serial/ServiceFixture.h"
#include "tests/support/TestProgram.h"

#include <QMetaMethod>

#include <algorithm>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

constexpr qsizetype kLineRoom = protocol::kLineCapacity;
constexpr char kUntouched = '\x7e';

/// `text` in a buffer of `size` bytes; one that fills it has no NUL.
std::vector<char> bufferWith(const QByteArray& text, qsizetype size)
{
    std::vector<char> buffer(static_cast<std::size_t>(size), kUntouched);
    std::copy(text.begin(), text.end(), buffer.begin());
    if (text.size() < size)
        buffer.at(static_cast<std::size_t>(text.size())) = '\0';
    return buffer;
}

} // namespace

class TestServiceSending : public QObject
{
    Q_OBJECT

private slots:
    void startsDormant()
    {
        const ServiceFixture<> fixture;
        const SerialConnectProbe& probe = fixture.probe;
        QVERIFY(!probe.sendEnabled);
        QCOMPARE(probe.primaryVersion, QStringLiteral("A.20a"));
        QCOMPARE(probe.secondaryVersion, QStringLiteral("1.00a"));
        QCOMPARE(std::count(std::begin(probe.rxBuffer), std::end(probe.rxBuffer), '\0'), 1000);
        QCOMPARE(probe.rxIndex, qint16(0));
        QVERIFY(!probe.ignoreInput);
        QCOMPARE(probe.crcLineCount, 0);
        QCOMPARE(probe.idleTicks, 0);
        QVERIFY(!probe.timer.isActive());
        QVERIFY(!probe.timer.parent());
        QCOMPARE(probe.waitTicks, 2);
        QVERIFY(probe.checkingEnabled);
        QVERIFY(!probe.portFound);
        QVERIFY(!probe.advancePending);
        QCOMPARE(probe.settings, &fixture.settings);
        QVERIFY(!probe.statusAnswered);
        QVERIFY(probe.candidatePorts.isEmpty());
        QVERIFY(probe.triedPorts.isEmpty());
        QCOMPARE(probe.portIndex, 0);
        QVERIFY(!probe.holdChecking);
        QVERIFY(!fixture.service.parent());
        QVERIFY(!fixture.port.isOpen());
    }

    void leavesThePortAndTheRecordAlone()
    {
        MemoryPort<QSerialPort> port;
        Settings settings{&port, false, QStringLiteral("kept"), {}, false};
        {
            Serial_Connect service(&settings, QString(), QString());
            service.Connect();
            QVERIFY(!port.isOpen());
            port.beOpen();
            service.Close();
        }
        QVERIFY(port.isOpen());
        QCOMPARE(port.written, QByteArrayList());
        QCOMPARE(settings.port, &port);
        QVERIFY(!settings.deviceReady);
        QCOMPARE(settings.extraText1, QStringLiteral("kept"));
    }

    void declaresItsSignalsAndSlotsInOrder()
    {
        const QMetaObject& meta = Serial_Connect::staticMetaObject;
        QByteArrayList methods;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            const bool isSignal = method.methodType() == QMetaMethod::Signal;
            methods << (isSignal ? "signal " : "slot ") + method.methodSignature();
        }
        const QByteArrayList expected{"signal GotMessage(QString)",
            "signal GotMessageNoCRC(QString)", "signal NewWeightPosition(double,int)",
            "signal FoundBrivanPress(int)", "slot SerialGotData()", "slot OnTimeout()"};
        QCOMPARE(methods, expected);
        QCOMPARE(QByteArray(meta.superClass()->className()), QByteArray("QObject"));
    }

    void sharesTheWireHelpers()
    {
        static_assert(std::is_convertible_v<Serial_Connect*, protocol::WireText*>);
        for (int code = -128; code < 128; ++code) {
            const auto c = static_cast<char>(code);
            QCOMPARE(Serial_Connect::FromHex(c), protocol::WireText::HexCharDecode(c));
        }
    }

    void readsSignedDecimals_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("value");
        constexpr int kSmallest = std::numeric_limits<int>::min();
        QTest::newRow("positive") << QByteArray("12") << 12;
        QTest::newRow("negative before a letter") << QByteArray("-12a") << -12;
        QTest::newRow("lone minus") << QByteArray("-") << 0;
        QTest::newRow("plus sign") << QByteArray("+5") << 0;
        QTest::newRow("two minus signs") << QByteArray("--5") << 0;
        QTest::newRow("smallest") << QByteArray("-2147483648") << kSmallest;
        QTest::newRow("wraps at the sign") << QByteArray("2147483648") << kSmallest;
        QTest::newRow("negative wraps at 32 bits") << QByteArray("-4294967297") << -1;
    }

    void readsSignedDecimals()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, value);
        QCOMPARE(Serial_Connect::StrTo32(text.constData()), value);
    }

    void writesMessagesAsTheyAre()
    {
        ServiceFixture<> fixture;
        QByteArray data("\0$\xff\n", 4);
        QTest::ignoreMessage(QtWarningMsg, "QIODevice::write (QSerialPort): device not open");
        QCOMPARE(fixture.service.WriteMessage(data), -1);
        fixture.port.beOpen();
        QCOMPARE(fixture.service.WriteMessage(data), 4);
        fixture.service.WriteMessage(QStringLiteral("\u00E4*\n"));
        QCOMPARE(fixture.port.written, QByteArrayList({data, "\xc3\xa4*\n"}));
    }

    // A line is empty where the text can not be sent and stays as it is.
    void appendsTheChecksumAndALineFeed_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("line");
        const auto row = [](const char* name, const QByteArray& text, const QByteArray& checksum) {
            QTest::newRow(name) << text << (checksum.isEmpty() ? checksum : text + checksum);
        };
        row("four digits", "$A,1", "*CF00\n");
        row("three digits", "$D", "*BA7\n");
        row("two digits", "$IB", "*D0\n");
        row("one digit", "$CMW", "*5\n");
        row("zero", "$AJXB", "*0\n");
        row("nothing to check", "$", "*FFFF\n");
        row("bytes before the dollar", "xx$V", "*3834\n");
        row("NUL at 247", '$' + QByteArray(246, 'x'), "*3894\n");
        row("dollar at 246", QByteArray(246, 'x') + '$', "*FFFF\n");
        row("empty", "", "");
        row("no dollar", "A,1", "");
        row("no dollar, NUL at 247", QByteArray(247, 'x'), "");
        for (const int length : {248, 254, 255, 256, 257, 503, 1000}) {
            QTest::addRow("%d bytes", length) << '$' + QByteArray(length - 1, 'x') << QByteArray();
            QTest::addRow("%d bytes, dollar last", length)
                << QByteArray(length - 1, 'x') + '$' << QByteArray();
        }
    }

    // The sanitizers see a step over either end of a buffer that has just the room for the line.
    void appendsTheChecksumAndALineFeed()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, line);
        const QByteArray left = line.isEmpty() ? text : line;
        const qsizetype room = qMin(left.size() + 1, kLineRoom);
        for (const bool enabled : {true, false}) {
            ServiceFixture<> fixture;
            fixture.port.beOpen();
            fixture.probe.sendEnabled = enabled;
            std::vector<char> buffer = bufferWith(text, room);
            fixture.service.AddCRC_nSend(buffer.data());
            QCOMPARE(fixture.port.written.join(), enabled ? line : QByteArray());
            QVERIFY(buffer == bufferWith(left, room));
        }
    }
};

static const RegisteredTest<TestServiceSending> registered(__FILE__);
#include "tst_service_sending.moc"
