// What a new service is, and the small conversions that are its own.

#include "serial/Settings.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/support/TestProgram.h"

#include <QMetaMethod>
#include <QSerialPort>
#include <QSignalSpy>

#include <algorithm>
#include <limits>
#include <type_traits>

class TestServiceValues : public QObject
{
    Q_OBJECT

private slots:
    void startsDormant()
    {
        QSerialPort port;
        Settings settings{&port, false, {}, {}, false};
        Serial_Connect service(&settings, QString(), QString());
        const SerialConnectProbe probe(service);

        QVERIFY(!probe.sendEnabled);
        QCOMPARE(probe.rxIndex, qint16(0));
        QCOMPARE(std::count(std::begin(probe.rxBuffer), std::end(probe.rxBuffer), '\0'), 1000);
        QVERIFY(!probe.ignoreInput);
        QCOMPARE(probe.crcLineCount, 0);
        QCOMPARE(probe.idleTicks, 0);
        QVERIFY(!probe.timer.isActive());
        QVERIFY(!probe.timer.parent());
        QCOMPARE(probe.waitTicks, 2);
        QVERIFY(probe.checkingEnabled);
        QVERIFY(!probe.portFound);
        QVERIFY(!probe.advancePending);
        QCOMPARE(probe.settings, &settings);
        QVERIFY(!probe.statusAnswered);
        QVERIFY(probe.candidatePorts.isEmpty());
        QVERIFY(probe.triedPorts.isEmpty());
        QCOMPARE(probe.portIndex, 0);
        QVERIFY(!probe.holdChecking);
        QVERIFY(!service.parent());
        QVERIFY(!port.isOpen());
    }

    void keepsBothVersionTexts()
    {
        QSerialPort port;
        Settings settings{&port, false, {}, {}, false};
        Serial_Connect service(&settings, QStringLiteral("A.20a"), QStringLiteral("1.00a"));
        const SerialConnectProbe probe(service);
        QCOMPARE(probe.primaryVersion, QStringLiteral("A.20a"));
        QCOMPARE(probe.secondaryVersion, QStringLiteral("1.00a"));
    }

    void aRecordStartsNotReadyAndEmpty()
    {
        const Settings settings;
        QVERIFY(!settings.port);
        QVERIFY(!settings.deviceReady);
        QVERIFY(settings.extraText1.isEmpty());
        QVERIFY(settings.extraText2.isEmpty());
        QVERIFY(!settings.extraFlag);
    }

    void connectAndCloseDoNothing()
    {
        QSerialPort port;
        QSignalSpy touched(&port, &QSerialPort::errorOccurred);
        Settings settings{&port, false, {}, {}, false};
        Serial_Connect service(&settings, QString(), QString());
        service.Connect();
        service.Close();
        QVERIFY(!port.isOpen());
        QCOMPARE(touched.count(), 0);
    }

    void leavesThePortOpenWhenItGoes()
    {
        QSerialPort port;
        QSignalSpy touched(&port, &QSerialPort::errorOccurred);
        Settings settings{&port, true, QStringLiteral("kept"), {}, false};
        {
            const Serial_Connect service(&settings, QString(), QString());
        }
        QCOMPARE(touched.count(), 0);
        QCOMPARE(settings.port, &port);
        QVERIFY(settings.deviceReady);
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
        const QByteArrayList expected{
            "signal GotMessage(QString)",
            "signal GotMessageNoCRC(QString)",
            "signal NewWeightPosition(double,int)",
            "signal FoundBrivanPress(int)",
            "slot SerialGotData()",
            "slot OnTimeout()",
        };
        QCOMPARE(methods, expected);
        QCOMPARE(QByteArray(meta.className()), QByteArray("Serial_Connect"));
        QCOMPARE(QByteArray(meta.superClass()->className()), QByteArray("QObject"));
    }

    void sharesTheWireHelpers()
    {
        static_assert(std::is_base_of_v<protocol::WireText, Serial_Connect>);
        std::array<char, 16> out{};
        QCOMPARE(Serial_Connect::Getfield("$IACK,3*12AB", out.data(), 2, 10), 1);
        QVERIFY(Serial_Connect::StringMatch(out.data(), "12AB"));
        QCOMPARE(Serial_Connect::DecodeU32Field("$MVERR,12,7", 1), 12U);
        QCOMPARE(Serial_Connect::StrToU32("12AB"), 12U);
        QCOMPARE(Serial_Connect::HexStrDecode("0xA5"), 0xA5U);
        QCOMPARE(Serial_Connect::u32ToHexStr(0x140000, out.data()), 6);
        QCOMPARE(Serial_Connect::ToHex(11), 'B');
        unsigned short crc = 0xFFFF;
        const QByteArray digits = "123456789";
        for (const char c : digits)
            Serial_Connect::CRC(static_cast<unsigned char>(c), &crc);
        QCOMPARE(crc, static_cast<unsigned short>(0x6F91));
    }

    void readsHexadecimalDigitsOfBothCases()
    {
        const QByteArray upper = "0123456789ABCDEF";
        const QByteArray lower = "0123456789abcdef";
        for (int code = -128; code < 128; ++code) {
            const auto c = static_cast<char>(code);
            const auto digit = std::max(upper.indexOf(c), lower.indexOf(c));
            QCOMPARE(Serial_Connect::FromHex(c),
                static_cast<unsigned int>(std::max<qsizetype>(digit, 0)));
        }
    }

    void readsSignedDecimals_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("value");
        QTest::newRow("empty") << QByteArray("") << 0;
        QTest::newRow("positive") << QByteArray("12") << 12;
        QTest::newRow("negative before a letter") << QByteArray("-12a") << -12;
        QTest::newRow("lone minus") << QByteArray("-") << 0;
        QTest::newRow("plus sign") << QByteArray("+5") << 0;
        QTest::newRow("two minus signs") << QByteArray("--5") << 0;
        QTest::newRow("leading blank") << QByteArray(" 5") << 0;
        QTest::newRow("letter") << QByteArray("A5") << 0;
        QTest::newRow("leading zeros") << QByteArray("-007") << -7;
        QTest::newRow("largest") << QByteArray("2147483647") << 2147483647;
        QTest::newRow("smallest") << QByteArray("-2147483648") << std::numeric_limits<int>::min();
        QTest::newRow("wraps at the sign")
            << QByteArray("2147483648") << std::numeric_limits<int>::min();
        QTest::newRow("wraps at 32 bits") << QByteArray("4294967297") << 1;
        QTest::newRow("negative wraps at 32 bits") << QByteArray("-4294967297") << -1;
    }

    void readsSignedDecimals()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, value);
        QCOMPARE(Serial_Connect::StrTo32(text.constData()), value);
    }
};

static const RegisteredTest<TestServiceValues> registered(__FILE__);
#include "tst_service_values.moc"
