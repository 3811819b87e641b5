#include "tests/session/DebugLog.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/NoHardware.h"
#include "tests/support/TestProgram.h"

#include <QRegularExpression>

namespace {

/// What is sent at each of `count` steps: the lines' texts, or "-".
QByteArrayList sentAtEachStep(SessionFixture& session, int count)
{
    QByteArrayList words;
    for (int i = 0; i < count; ++i) {
        session.step();
        const QByteArray bytes = session.sent();
        words << (bytes.isEmpty() ? QByteArray("-") : bytes.left(bytes.indexOf('*')));
    }
    return words;
}

ReleaseSetFiles setWithAddress(const QByteArray& bytes)
{
    ReleaseSetFiles files = smallReleaseSet();
    files.insert(QStringLiteral("Address.bin"), bytes);
    return files;
}

ReleaseSetFiles setWithout(const char* name)
{
    ReleaseSetFiles files = smallReleaseSet();
    files.remove(QLatin1StringView(name));
    return files;
}

} // namespace

/// What the sessions do by themselves, step by step.
class TestSession : public QObject
{
    Q_OBJECT

private slots:
    void everyStateTakesItsStep_data()
    {
        QTest::addColumn<SessionFields>("given");
        QTest::addColumn<SessionFields>("changes");
        QTest::addColumn<QByteArrayList>("lines");
        QTest::addColumn<QString>("logged");

        const auto row
            = [](const char* name, const SessionFields& given, const SessionFields& changes,
                  const QByteArrayList& lines = {}, const QString& logged = {}) {
                  QTest::newRow(name) << somewhere(given) << changes << lines << logged;
              };

        row("1 start", {{"state", 1}}, {{"retries", 10}, {"state", 2}});

        row("2 first probe", {{"state", 2}, {"retries", 10}}, {{"retries", 9}}, {"$MVER"});
        row("2 eighth probe", {{"state", 2}, {"retries", 3}}, {{"retries", 2}}, {"$MVER"});
        row("2 ninth probe", {{"state", 2}, {"retries", 2}}, {{"retries", 1}}, {"$BOOTLOADM"});
        row("2 tenth probe", {{"state", 2}, {"retries", 1}},
            {{"retries", 0}, {"state", 6}, {"isOpen", 0}}, {"$BOOTLOADM"});

        row("3 not captured", {{"state", 3}, {"phase", 0}}, {});
        row("3 captured", {{"state", 3}, {"phase", 1}}, {{"state", 0}});
        row("3 phase 2", {{"state", 3}, {"phase", 2}}, {});
        row("3 phase 3", {{"state", 3}, {"phase", 3}}, {});
        row("3 phase 4", {{"state", 3}, {"phase", 4}}, {});

        row("4 waits before it erases", {{"state", 4}, {"imageStep", 0}, {"imageWait", 1}},
            {{"imageWait", 0}});
        row("4 erases", {{"state", 4}, {"imageStep", 0}, {"imageWait", 0}},
            {{"imageStep", 1}, {"imageWait", 2}}, {"$A,1"}, kEraseText);
        row("4 waits for the answer", {{"state", 4}, {"imageStep", 1}, {"imageWait", 120}},
            {{"imageWait", 119}});
        row("4 gives up waiting", {{"state", 4}, {"imageStep", 1}, {"imageWait", 0}},
            {{"imageStep", 0}}, {}, QStringLiteral("Command Timedout"));
        row("4 knows no third step", {{"state", 4}, {"imageStep", 2}, {"imageWait", 0}}, {});
        row("4 waits in no third step", {{"state", 4}, {"imageStep", 2}, {"imageWait", 2}}, {});

        row("5 waits before a header", {{"state", 5}, {"imageStep", 0}, {"imageWait", 1}},
            {{"imageWait", 0}});
        row("5 announces", {{"state", 5}, {"imageStep", 0}, {"imageWait", 0}, {"imageOffset", 5}},
            {{"imageOffset", 0}, {"imageWait", 3}}, {kHeaderB});
        row("5 waits before a block", {{"state", 5}, {"imageStep", 1}, {"imageWait", 3}},
            {{"imageWait", 2}});
        row("5 sends a first block",
            {{"state", 5}, {"imageStep", 1}, {"imageWait", 0}, {"imageIndex", 0},
                {"imageOffset", 0}},
            {{"imageWait", 3}, {"blockNumber", 0}}, {blockLine(0, 0)});
        row("5 sends a block in between",
            {{"state", 5}, {"imageStep", 1}, {"imageWait", 0}, {"imageIndex", 0},
                {"imageOffset", 256}},
            {{"imageWait", 3}, {"blockNumber", 1}}, {blockLine(1, 0)});
        row("5 sends a last block",
            {{"state", 5}, {"imageStep", 1}, {"imageWait", 0}, {"imageIndex", 0},
                {"imageOffset", 512}},
            {{"imageWait", 3}, {"blockNumber", 2}, {"imageStep", 2}}, {blockLine(2, 0)});
        row("5 sends a whole block as the last",
            {{"state", 5}, {"imageStep", 1}, {"imageWait", 0}, {"imageIndex", 1},
                {"imageOffset", 0}},
            {{"imageWait", 3}, {"blockNumber", 0}, {"imageStep", 2}}, {blockLine(0, 1)});
        row("5 waits before a restart", {{"state", 5}, {"imageStep", 2}, {"imageWait", 3}},
            {{"imageWait", 2}});
        row("5 restarts", {{"state", 5}, {"imageStep", 2}, {"imageWait", 0}},
            {{"imageStep", 0}, {"imageWait", 6}});
        row("5 ends after the last image",
            {{"state", 5}, {"imageStep", 0}, {"imageWait", 0}, {"imageIndex", 3}},
            {{"state", 15}, {"ticks", 0}}, {"$X"});

        row("7 asks", {{"state", 7}, {"retries", 2}}, {}, {"$MVER"});
        row("7 goes on", {{"state", 7}, {"retries", 3}}, {{"retries", 0}, {"state", 8}});
        row("8 asks", {{"state", 8}, {"retries", 2}}, {}, {"$SVER"});
        row("8 goes on", {{"state", 8}, {"retries", 3}}, {{"retries", 0}, {"state", 9}});
        row("9 asks", {{"state", 9}, {"retries", 4}}, {}, {"$BOOTLOADM"});
        row("9 goes on", {{"state", 9}, {"retries", 5}}, {{"state", 6}, {"isOpen", 0}});
        row("10 erases", {{"state", 10}}, {{"state", 11}}, {"$E,1400,"});
        row("10 erases at a sign-extended address", {{"state", 10}, {"startAddress", -0x7EEC00}},
            {{"state", 11}}, {"$E,FF811400,"});

        row("11 waits before an erase", {{"state", 11}, {"fwStep", 0}, {"ticks", 3}},
            {{"ticks", 4}});
        row("11 erases", {{"state", 11}, {"fwStep", 0}, {"ticks", 4}, {"flashAddress", 0xDF000}},
            {{"ticks", 1}, {"fwStep", 1}}, {"$E,DF000,1"});
        row("11 erases late",
            {{"state", 11}, {"fwStep", 0}, {"ticks", 18}, {"flashAddress", 0x1000}},
            {{"ticks", 1}, {"fwStep", 1}}, {"$E,1000,1"});
        row("11 waits before data", {{"state", 11}, {"fwStep", 1}, {"ticks", 3}}, {{"ticks", 4}});
        row("11 sends data", {{"state", 11}, {"fwStep", 1}, {"ticks", 4}, {"flashAddress", 0x5FC0}},
            {{"ticks", 1}}, {erasedLine("FC0")});
        row("11 sends data in any phase",
            {{"state", 11}, {"fwStep", 1}, {"ticks", 9}, {"flashAddress", 0x5000}, {"phase", 0}},
            {{"ticks", 1}}, {erasedLine("0")});
        row("11 waits before programming",
            {{"state", 11}, {"fwStep", 2}, {"ticks", 17}, {"flashAddress", 0x2000}},
            {{"ticks", 18}});
        row("11 programs", {{"state", 11}, {"fwStep", 2}, {"ticks", 18}, {"flashAddress", 0x2000}},
            {{"ticks", 1}}, {"$P,1000,1000"});
        row("11 programs the last page",
            {{"state", 11}, {"fwStep", 2}, {"ticks", 30}, {"flashAddress", 0xE0000}},
            {{"ticks", 1}}, {"$P,DF000,1000"});
        row("11 waits before a check", {{"state", 11}, {"fwStep", 2}, {"ticks", 17}, {"phase", 2}},
            {{"ticks", 18}});
        row("11 checks", {{"state", 11}, {"fwStep", 2}, {"ticks", 18}, {"phase", 2}},
            {{"ticks", 1}}, {"$C,1000,DFFFF"});
        row("11 programs nothing uncaptured",
            {{"state", 11}, {"fwStep", 2}, {"ticks", 18}, {"phase", 0}}, {{"ticks", 19}});
        row("11 programs nothing when done",
            {{"state", 11}, {"fwStep", 2}, {"ticks", 18}, {"phase", 3}}, {{"ticks", 19}});
        row("11 waits before programming what is checked",
            {{"state", 11}, {"fwStep", 3}, {"ticks", 17}, {"phase", 2}}, {{"ticks", 18}});
        row("11 programs what is checked",
            {{"state", 11}, {"fwStep", 3}, {"ticks", 18}, {"phase", 2}, {"flashAddress", 0x3000}},
            {{"ticks", 1}}, {"$P,2000,1000"});
        row("11 programs nothing unchecked",
            {{"state", 11}, {"fwStep", 3}, {"ticks", 18}, {"phase", 1}}, {{"ticks", 19}});

        for (const int state : {12, 13, 14, 16, -1})
            row(qPrintable(QStringLiteral("%1 does nothing").arg(state)), {{"state", state}}, {});

        row("15 counts", {{"state", 15}, {"ticks", 0}}, {{"ticks", 1}});
        row("15 counts up to its end", {{"state", 15}, {"ticks", 2}}, {{"ticks", 3}});
        row("15 closes", {{"state", 15}, {"ticks", 3}}, {{"ticks", 4}, {"isOpen", 0}}, {},
            QStringLiteral("Bootload Complete"));
        row("15 only counts on", {{"state", 15}, {"ticks", 4}}, {{"ticks", 5}});
    }

    void everyStateTakesItsStep()
    {
        QFETCH(SessionFields, given);
        QFETCH(SessionFields, changes);
        QFETCH(QByteArrayList, lines);
        QFETCH(QString, logged);
        SessionFixture session;
        session.setFields(given);
        const SessionFields expected = with(session.fields(), changes);
        session.step();
        QCOMPARE(toText(session.fields()), toText(expected));
        QCOMPARE(session.sent(), framedAll(lines));
        QCOMPARE(session.log(), logged);
        QCOMPARE(session.bar("progressBarLoad").value(), 0);
        QCOMPARE(session.bar("progressBarVerify").value(), 0);
    }

    void loadsByMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<SessionFields>("changes");
        const SessionFields firmware{{"state", 11}};
        QTest::newRow("0 software and images") << 0 << firmware;
        QTest::newRow("1 images") << 1
                                  << SessionFields{{"state", 5}, {"imageIndex", 0},
                                         {"imageOffset", 0}, {"imageStep", 2}, {"imageWait", 0}};
        QTest::newRow("2 erase") << 2
                                 << SessionFields{{"state", 4}, {"imageIndex", 0},
                                        {"imageOffset", 0}, {"imageStep", 0}, {"imageWait", 1}};
        QTest::newRow("3 is like 0") << 3 << firmware;
        QTest::newRow("-1 is like 0") << -1 << firmware;
    }

    void loadsByMode()
    {
        QFETCH(int, mode);
        QFETCH(SessionFields, changes);
        SessionFixture session(mode);
        session.setFields(somewhere({{"state", 0}, {"startAddress", 7}, {"imageOffset", 5}}));
        const SessionFields loaded{{"startAddress", 0x1400}, {"flashAddress", 0x1000},
            {"fwStep", 0}, {"ticks", 0}, {"fileOpen", 1}};
        const SessionFields expected = with(with(session.fields(), loaded), changes);
        session.step();
        QCOMPARE(toText(session.fields()), toText(expected));
        QCOMPARE(session.port().file.fileName(), QStringLiteral(":/res/fw1.bin"));
        QCOMPARE(session.sent(), QByteArray());
        QCOMPARE(session.log(), QString());
    }

    void buildsTheStartAddress_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<quint32>("address");
        QTest::newRow("shipped") << QByteArray::fromHex("00140000") << 0x1400U;
        QTest::newRow("every place") << QByteArray::fromHex("12345600") << 0x563412U;
        QTest::newRow("fourth byte at the place of the third")
            << QByteArray::fromHex("00000001") << 0x10000U;
        QTest::newRow("third and fourth together") << QByteArray::fromHex("00000102") << 0x30000U;
        QTest::newRow("third byte sign-extended") << QByteArray::fromHex("00148001") << 0xFF811400U;
        QTest::newRow("first byte sign-extended") << QByteArray::fromHex("80000000") << 0xFFFFFF80U;
        QTest::newRow("second byte sign-extended")
            << QByteArray::fromHex("7F800000") << 0xFFFF807FU;
        QTest::newRow("fourth byte sign-extended")
            << QByteArray::fromHex("00000080") << 0xFF800000U;
        QTest::newRow("bytes missing") << QByteArray::fromHex("2214") << 0x1422U;
        QTest::newRow("empty") << QByteArray() << 0U;
        QTest::newRow("more than four bytes") << QByteArray::fromHex("00140000FFFF") << 0x1400U;
        QTest::newRow("carriage returns are bytes") << QByteArray::fromHex("0D0A0D00") << 0xD0A0DU;
    }

    void buildsTheStartAddress()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(quint32, address);
        SessionFixture session(JobUpdate, 1, setWithAddress(bytes));
        session.setFields({{"state", 0}});
        session.step();
        QCOMPARE(static_cast<quint32>(session.port().startAddress), address);
    }

    void goesOnWithoutTheStartAddress()
    {
        SessionFixture session(JobUpdate, 1, setWithout("Address.bin"));
        session.setFields({{"state", 0}, {"startAddress", 7}});
        session.step();
        QCOMPARE(session.port().startAddress, 0);
        QCOMPARE(session.port().state, 11);
        QVERIFY(session.port().file.isOpen());
    }

    void goesOnWithoutTheFirmware()
    {
        SessionFixture session(JobUpdate, 1, setWithout("fw1.bin"));
        session.enterBootloader();
        QVERIFY(!session.port().file.isOpen());
        QCOMPARE(session.port().startAddress, 0x1400);
        session.reply("$EACK");
        QCOMPARE(session.sent(), framed(erasedLine("0")));
    }

    void loadsAgainAfterAnEarlierJob()
    {
        SessionFixture session;
        session.setFields({{"state", 0}});
        session.step();
        session.setFields({{"state", 0}, {"startAddress", 7}});
        session.step();
        QCOMPARE(session.port().startAddress, 0x1400);
        QVERIFY(session.port().file.isOpen());
        QCOMPARE(session.port().file.fileName(), QStringLiteral(":/res/fw1.bin"));
    }

    void logsWhatItLoads()
    {
        SessionFixture session;
        session.setFields({{"state", 0}});
        QTest::ignoreMessage(QtDebugMsg, "File exists Address.bin");
        QTest::ignoreMessage(QtDebugMsg, "Opened address.bin");
        QTest::ignoreMessage(
            QtDebugMsg, QRegularExpression(QStringLiteral("^Opened .*:/res/fw1\\.bin")));
        session.step();
    }

    void logsWhatIsMissing()
    {
        SessionFixture session(JobUpdate, 1, setWithout("Address.bin"));
        session.setFields({{"state", 0}});
        QTest::ignoreMessage(QtDebugMsg, "Cannot find file Address.bin");
        session.step();
    }

    void probesTenTimesAndReopensFast()
    {
        SessionFixture session;
        QCOMPARE(session.port().baudRate(), 19200);
        QByteArrayList expected{"-"};
        expected += QByteArrayList(8, "$MVER");
        expected += QByteArrayList(2, "$BOOTLOADM");
        QCOMPARE(sentAtEachStep(session, 11), expected);
        QVERIFY(!session.port().isOpen());
        QCOMPARE(session.port().state, 6);

        QCOMPARE(sentAtEachStep(session, 1), QByteArrayList{"-"});
        QVERIFY(session.port().isOpen());
        QCOMPARE(session.port().baudRate(), 921600);
        QCOMPARE(session.port().state, 3);
        QCOMPARE(session.log(), QString());
    }

    void sendsTheTenthProbingLineBeforeThePortCloses()
    {
        SessionFixture session;
        session.step(10);
        (void)session.sent();
        // A baud, so that the time that the test itself takes does not count.
        session.memoryPort().close();
        session.port().setBaudRate(1);
        session.memoryPort().beOpen();
        (void)takeSlept();
        session.step();
        constexpr std::chrono::seconds kLineTime{16 * protocol::kBitsPerByte};
        QVERIFY(takeSlept() > kLineTime / 2);
        QVERIFY(!session.port().isOpen());
        QCOMPARE(session.sent(), framed("$BOOTLOADM"));
    }

    void reopensAClosedPortOnly()
    {
        SessionFixture session;
        session.port().close();
        session.setFields(somewhere({{"state", 6}, {"phase", 1}}));
        const SessionFields expected = with(
            session.fields(), {{"state", 3}, {"phase", 0}, {"isOpen", 1}, {"baudRate", 921600}});
        session.step();
        QCOMPARE(toText(session.fields()), toText(expected));
        QCOMPARE(session.port().openMode(), QIODevice::ReadWrite);
        QCOMPARE(session.port().baudRate(QSerialPort::Input), 921600);
        QCOMPARE(session.port().baudRate(QSerialPort::Output), 921600);
    }

    void forgetsABootloaderHeardWhileProbing()
    {
        SessionFixture session;
        session.step(5);
        (void)session.sent();
        session.reply("$Bootloader");
        QCOMPARE(session.sent(), QByteArray("$G\n"));
        QCOMPARE(session.port().phase, 1);
        session.step(7);
        (void)session.sent();
        QCOMPARE(session.port().state, 3);
        QCOMPARE(session.port().phase, 0);
        session.step(5);
        QCOMPARE(session.port().state, 3);

        session.reply("$Bootloader");
        QCOMPARE(session.sent(), QByteArray("$G\n"));
        session.step();
        QCOMPARE(session.port().state, 0);
    }

    void stepsNothingWithoutPorts()
    {
        SessionFixture session(JobUpdate, 0);
        QVERIFY(session.probe().ports().isEmpty());
        session.step(20);
        QCOMPARE(session.log(), QString());
    }

    void logsThatThePortDidNotOpenAtTheFastSpeed()
    {
        SessionFixture session;
        session.step(11);
        session.memoryPort().present = false;
        const DebugLog log;
        session.step();
        QCOMPARE(session.port().state, qint32{StateWaitForBootloader});
        QCOMPARE(log.with(QStringLiteral("Could not open port")).size(), 1);
    }
};

static const RegisteredTest<TestSession> registered(__FILE__);
#include "tst_session.moc"
