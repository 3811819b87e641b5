// Receiving: how bytes become lines, and what the service makes of a line. The checksums in here
// were computed with another implementation.

#include "tests/serial/ServiceFixture.h"
#include "tests/support/TestProgram.h"

#include <utility>

namespace {

constexpr auto kStatus = "$STATUS*3BC1\n";
constexpr auto kAnswer = "$BOOTLOADM*9FEC\n";

/// What the service takes a line for.
enum class TakenFor { Nothing, Checked, Status, Unchecked, Announcement };

/// A service on an open port that may send. Notes the signals: each one's name, a blank, its text.
class Link : public ServiceFixture<>
{
public:
    Link()
    {
        port.beOpen();
        probe.sendEnabled = true;
        const auto note = [this](const char* name) {
            return [this, name](const QString& line) {
                m_signals << QLatin1StringView(name) + QLatin1Char(' ') + line;
            };
        };
        QObject::connect(&service, &Serial_Connect::GotMessage, &service, note("GotMessage"));
        QObject::connect(
            &service, &Serial_Connect::GotMessageNoCRC, &service, note("GotMessageNoCRC"));
    }

    /// The signals, and what was written, since the last call.
    QStringList takeSignals() { return std::exchange(m_signals, {}); }
    QByteArray sent() { return std::exchange(port.written, {}).join(); }

private:
    QStringList m_signals;
};

QStringList signalsOf(TakenFor kind, const QByteArray& line)
{
    const QString text = QString::fromUtf8(line);
    const QString message = QStringLiteral("GotMessage ") + text;
    if (kind == TakenFor::Nothing)
        return {};
    if (kind == TakenFor::Checked || kind == TakenFor::Status)
        return {message};
    return {QStringLiteral("GotMessageNoCRC ") + text, message};
}

} // namespace

Q_DECLARE_METATYPE(TakenFor)

class TestServiceLines : public QObject
{
    Q_OBJECT

private slots:
    void takesALineFor_data()
    {
        QTest::addColumn<TakenFor>("kind");
        QTest::addColumn<QByteArray>("line");
        const auto row = [](TakenFor kind, const char* name, const QByteArray& line) {
            QTest::newRow(name) << kind << line;
        };
        row(TakenFor::Checked, "plain", "$A,1*CF00\n");
        row(TakenFor::Checked, "bytes before the dollar", "xx$V*3834\n");
        row(TakenFor::Checked, "carriage return", "$V*3834\r\n");
        row(TakenFor::Checked, "one digit", "$CMW*5\n");
        row(TakenFor::Checked, "nothing to check", "$*FFFF\n");
        row(TakenFor::Checked, "announcement with a checksum", "$Bootloader*DB48\n");
        row(TakenFor::Checked, "lower case digits", "$BEUE*abcd\n");
        row(TakenFor::Checked, "five digits, 0 first", "$BEUE*0ABCD\n");
        row(TakenFor::Checked, "five digits, 1 first", "$BEUE*1ABCD\n");
        row(TakenFor::Checked, "a letter as a 0 digit", "$IB*0xD0\n");
        row(TakenFor::Checked, "digits ended by a comma", "$BEUE*ABCD,\n");
        row(TakenFor::Checked, "digits ended by a star", "$BEUE*ABCD*1\n");
        row(TakenFor::Checked, "an empty field as 0", "$AJXB*\n");
        row(TakenFor::Checked, "line feed at 998", '$' + QByteArray(992, 'x') + "*6312\n");

        row(TakenFor::Status, "status", kStatus);
        row(TakenFor::Status, "status with further fields", "$STATUS,1,2*D47D\n");
        row(TakenFor::Checked, "status with a further letter", "$STATUSX*973\n");
        row(TakenFor::Checked, "status in lower case", "$status*5069\n");
        row(TakenFor::Checked, "status after something else", "x$STATUS*3BC1\n");

        row(TakenFor::Nothing, "other digits", "$STATUS*3BC0\n");
        row(TakenFor::Nothing, "no digits", "$STATUS*\n");
        row(TakenFor::Nothing, "digits cut by a comma", "$STATUS*3B,C1\n");
        row(TakenFor::Nothing, "six digits", "$BEUE*00ABCD\n");
        row(TakenFor::Nothing, "other text", "$STATUT*3BC1\n");
        row(TakenFor::Nothing, "dollar in the text", "$$STATUS*3BC1\n");
        row(TakenFor::Nothing, "empty", "\n");
        row(TakenFor::Nothing, "no dollar", "STATUS\n");
        row(TakenFor::Nothing, "no dollar but a checksum", "STATUS*3BC1\n");
        row(TakenFor::Nothing, "announcement without its dollar", "Bootloader\n");
        row(TakenFor::Nothing, "cut by a NUL", QByteArray("$ON\0E\n", 6));
        row(TakenFor::Nothing, "checksum after a NUL", QByteArray("$ST\0ATUS*3BC1\n", 14));
        row(TakenFor::Nothing, "checksum, line feed at 999",
            '$' + QByteArray(993, 'x') + "*CC3F\n");
        row(TakenFor::Nothing, "line feed at 999", '$' + QByteArray(998, 'x') + '\n');
        row(TakenFor::Nothing, "far too long", '$' + QByteArray(2099, 'x') + '\n');

        row(TakenFor::Unchecked, "no checksum", "xx$STATUS,1\r\n");
        row(TakenFor::Unchecked, "no checksum, line feed at 998", QByteArray(997, 'x') + "$\n");
        row(TakenFor::Unchecked, "bytes that are no text", "$\xff\xc3\xa4\n");
        row(TakenFor::Announcement, "announcement", "$Bootloader\n");
        row(TakenFor::Unchecked, "announcement, carriage return", "$Bootloader\r\n");
        row(TakenFor::Unchecked, "announcement in lower case", "$bootloader\n");
        row(TakenFor::Unchecked, "announcement after something else", "x$Bootloader\n");
        row(TakenFor::Unchecked, "announcement with a field", "$Bootloader,1\n");
    }

    void takesALineFor()
    {
        QFETCH(TakenFor, kind);
        QFETCH(QByteArray, line);
        const bool isStatus = kind == TakenFor::Status;
        const bool isChecked = isStatus || kind == TakenFor::Checked;
        const bool ends = kind == TakenFor::Announcement;
        Link link;
        link.probe.idleTicks = 7;
        link.probe.portFound = true;
        link.port.arrive(line);
        QCOMPARE(link.takeSignals(), signalsOf(kind, line));
        QCOMPARE(link.probe.crcLineCount, isChecked ? 1 : 0);
        QCOMPARE(link.probe.idleTicks, isChecked ? 0 : 7);
        QCOMPARE(link.probe.statusAnswered, isStatus);
        QCOMPARE(link.probe.waitTicks, isStatus ? 3 : 2);
        QCOMPARE(link.sent(), QByteArray(isChecked ? "$V" : "") + (isStatus ? kAnswer : ""));
        QCOMPARE(link.settings.deviceReady, ends);
        QCOMPARE(link.probe.portFound, !ends);
        QVERIFY(link.port.isOpen());

        // Whatever came before, the next line is whole.
        QCOMPARE(link.probe.rxIndex, qint16(0));
        link.port.arrive("$TWO\n");
        QCOMPARE(link.takeSignals(), signalsOf(TakenFor::Unchecked, "$TWO\n"));
    }

    void joinsALineSplitOverReadsAndPartsTwoOfOneRead()
    {
        Link link;
        link.port.arrive("$STA");
        link.port.arrive("TUS*3BC1");
        link.service.SerialGotData(); // nothing to read
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.rxIndex, qint16(12));
        link.port.arrive("\n$ONE\n$V");
        QCOMPARE(link.takeSignals(),
            signalsOf(TakenFor::Status, kStatus) + signalsOf(TakenFor::Unchecked, "$ONE\n"));
        QCOMPARE(link.probe.rxIndex, qint16(2));
    }

    void aLineThatWrapsOverwritesItsOwnStart()
    {
        Link link;
        link.port.arrive(QByteArray(1000, 'x') + kStatus);
        QCOMPARE(link.takeSignals(), signalsOf(TakenFor::Status, kStatus));
    }

    void doesNotReadWhatALongerLineLeftBehind()
    {
        Link link;
        link.port.arrive("0123456789$V*3834\n");
        link.takeSignals();
        link.port.arrive("noise\n$V*38\n");
        QVERIFY(link.takeSignals().isEmpty());
    }

    void handlesTheLineThatIsInTheBuffer()
    {
        Link link;
        link.port.arrive("$V*3834");
        link.service.LocalGotMessage();
        QCOMPARE(link.takeSignals(), signalsOf(TakenFor::Checked, "$V*3834"));
    }

    void dropsLinesUnreadWhileInputIsIgnored()
    {
        Link link;
        link.probe.ignoreInput = true;
        link.port.arrive(QByteArray(kStatus) + "$Bootloader\n");
        QVERIFY(link.takeSignals().isEmpty());
        QCOMPARE(link.probe.crcLineCount, 0);
        QVERIFY(!link.settings.deviceReady);
        QCOMPARE(link.probe.rxIndex, qint16(0));
        QCOMPARE(link.sent(), QByteArray());
    }

    void asksForTheVersionAfterEachOfTheFirstFiveLines()
    {
        Link link;
        link.port.arrive(QByteArray("$A,1*CF00\n").repeated(5));
        QCOMPARE(link.sent(), QByteArray("$V").repeated(5));
        link.port.arrive(kStatus);
        QCOMPARE(link.sent(), kAnswer);
        QCOMPARE(link.probe.crcLineCount, 6);
    }

    void handsALineOnBeforeItCountsAndAnswersIt()
    {
        Link link;
        int calls = 0;
        connect(&link.service, &Serial_Connect::GotMessage, this, [&link, &calls] {
            ++calls;
            QCOMPARE(link.probe.crcLineCount, 0);
            QVERIFY(!link.probe.statusAnswered);
            QCOMPARE(link.sent(), QByteArray());
        });
        link.port.arrive(kStatus);
        QCOMPARE(calls, 1);
    }

    void isReadyBeforeItHandsTheAnnouncementOn()
    {
        Link link;
        bool ready = false;
        connect(&link.service, &Serial_Connect::GotMessageNoCRC, this,
            [&link, &ready] { ready = link.settings.deviceReady; });
        link.port.arrive("$Bootloader\n");
        QVERIFY(ready);
    }

    void goesOnWithoutItsAnswerWhileSendingIsDisabled()
    {
        Link link;
        link.probe.sendEnabled = false;
        link.port.arrive(kStatus);
        QCOMPARE(link.sent(), QByteArray("$V"));
        QVERIFY(link.probe.statusAnswered);
        QCOMPARE(link.probe.waitTicks, 3);
    }
};

static const RegisteredTest<TestServiceLines> registered(__FILE__);
#include "tst_service_lines.moc"
