#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

#include <QRegularExpression>

namespace {

/// The part of a session's state that decides which replies it takes.
struct Place
{
    int state;
    int phase;
    int fwStep;
    int imageStep;
};

/// True where a reply acts.
using ActsAt = bool (*)(const Place&);

/// The small set's firmware bytes from `address` on, erased flash after its end.
QByteArray firmwareBytes(int address)
{
    const QByteArray firmware = smallReleaseSet().value(QStringLiteral("fw1.bin"));
    QByteArray bytes = firmware.mid(address, 64);
    return bytes.leftJustified(64, '\xFF');
}

/// A read-back line of `bytes` for `address`.
QByteArray readBack(int address, const QByteArray& bytes)
{
    QByteArray line = "$VACK," + QByteArray::number(address, 16);
    for (const char byte : bytes)
        line += "," + QByteArray(1, byte).toHex();
    return line;
}

constexpr int kProgressDone = 0xDF006;

} // namespace

Q_DECLARE_METATYPE(ActsAt)

/// What the board's replies do, and where they do nothing.
class TestReplies : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_session = std::make_unique<SessionFixture>(); }
    void cleanup() { m_session.reset(); }

    void actsWhereItIsExpectedOnly_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<ActsAt>("acts");
        const auto row = [](const char* reply, ActsAt acts) {
            QTest::newRow(reply) << QByteArray(reply) << acts;
        };
        const ActsAt uncaptured = [](const Place& at) { return at.phase == 0; };
        const ActsAt inImages = [](const Place& at) { return at.state == 5; };
        const ActsAt announced = [](const Place& at) { return at.state == 5 && at.imageStep == 0; };
        const ActsAt inBlocks = [](const Place& at) { return at.state == 5 && at.imageStep != 0; };
        const ActsAt erasingImages = [](const Place& at) { return at.state == 4; };
        const ActsAt nowhere = [](const Place&) { return false; };

        row("$Bootloader", uncaptured);
        row("$GACK", uncaptured);
        row("$IACK,0", announced);
        row("$IACK,1", inImages);
        row("$IACK,2", inImages);
        row("$FACK,9", inBlocks);
        row("$FACK,9,1", inBlocks);
        row("$FACK,8", inBlocks);
        row("$FACK,8,0", inBlocks);
        row("$FACK,8,1", inImages);
        row("$AACK,1", erasingImages);
        row("$AACK,0", erasingImages);
        row("$AACK,2", nowhere);
        row("$EACK", [](const Place& at) {
            return at.state == 11 && (at.phase == 1 || at.phase == 2) && at.fwStep <= 1;
        });
        row("$DACK", [](const Place& at) {
            return at.state == 11 && at.phase >= 1 && at.phase <= 3 && at.fwStep == 1;
        });
        row("$PACK", [](const Place& at) {
            return at.state == 11
                && ((at.phase == 1 && at.fwStep == 2) || (at.phase == 2 && at.fwStep == 3));
        });
        row("$CACK",
            [](const Place& at) { return at.state == 11 && at.phase == 2 && at.fwStep == 2; });
        row("$VACK", nowhere);
        row("$VACK,B", nowhere);
        for (const int address : {5, 11, 15}) {
            static constexpr ActsAt kAtItsState[] = {
                [](const Place& at) { return at.state == 5 && at.phase == 3; },
                [](const Place& at) { return at.state == 11 && at.phase == 3; },
                [](const Place& at) { return at.state == 15 && at.phase == 3; },
            };
            const QByteArray line = readBack(address, QByteArray(64, '\0'));
            QTest::addRow("$VACK,%d", address) << line
                                               << kAtItsState[address == 5 ? 0
                                                          : address == 11  ? 1
                                                                           : 2];
        }
        row("$XACK", nowhere);
        row("$MVER", nowhere);
        row("$ERROR,1", nowhere);
    }

    void actsWhereItIsExpectedOnly()
    {
        QFETCH(QByteArray, reply);
        QFETCH(ActsAt, acts);
        for (int number = 0; number < 16 * 5 * 4 * 3; ++number) {
            const Place at{number / 60, number / 12 % 5, number / 3 % 4, number % 3};
            m_session->setFields(somewhere({{"state", at.state}, {"phase", at.phase},
                {"fwStep", at.fwStep}, {"imageStep", at.imageStep}}));
            const QString before = everything();
            m_session->reply(reply);
            const QString after = everything();
            const QByteArray lines = m_session->sent();
            const bool acted = after != before || !lines.isEmpty();
            if (acted != acts(at))
                QFAIL(qPrintable(QString::asprintf("state %d, phase %d, fwStep %d, imageStep %d: ",
                                     at.state, at.phase, at.fwStep, at.imageStep)
                    + after + QString::fromUtf8(lines)));
        }
        // A closed port would have hidden what is sent.
        QVERIFY(m_session->port().isOpen());
    }

    void movesTheSession_data()
    {
        QTest::addColumn<SessionFields>("given");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<SessionFields>("changes");
        QTest::addColumn<QByteArrayList>("lines");
        QTest::addColumn<int>("imageBar");
        QTest::addColumn<int>("programBar");
        QTest::addColumn<QString>("logged");

        // Where a bar is not named it keeps its value.
        struct Shown
        {
            int images = 3;
            int program = 4;
            QString log = QString();
        };
        const auto row = [](const char* name, const SessionFields& given, const char* reply,
                             const SessionFields& changes, const QByteArrayList& lines = {},
                             const Shown& shown = {}) {
            QTest::newRow(name) << somewhere(given) << QByteArray(reply) << changes << lines
                                << shown.images << shown.program << shown.log;
        };

        row("captured", {{"state", 3}, {"phase", 0}}, "$GACK",
            {{"flashAddress", 0x1000}, {"phase", 1}, {"ticks", 0}});

        row("image wanted", {{"state", 5}, {"imageStep", 0}, {"imageIndex", 0}}, "$IACK,0",
            {{"imageStep", 1}, {"imageWait", 3}, {"blockNumber", 0}}, {blockLine(0, 0)});
        row("image held", {{"state", 5}, {"imageStep", 0}, {"imageIndex", 0}}, "$IACK,1",
            {{"imageIndex", 1}, {"imageWait", 3}}, {kHeaderB}, {600});
        row("image held, answered among its blocks",
            {{"state", 5}, {"imageStep", 1}, {"imageIndex", 0}, {"imageOffset", 256}}, "$IACK,1",
            {{"imageIndex", 1}, {"imageWait", 3}, {"blockNumber", 1}, {"imageStep", 2}}, {"$F,01"},
            {600 + 256});
        row("image held, answered after its last block",
            {{"state", 5}, {"imageStep", 2}, {"imageIndex", 0}}, "$IACK,1",
            {{"imageIndex", 1}, {"imageStep", 0}, {"imageWait", 6}}, {}, {600});
        row("last image held", {{"state", 5}, {"imageStep", 0}, {"imageIndex", 2}}, "$IACK,1",
            {{"state", 15}, {"imageIndex", 3}, {"imageWait", 0}, {"ticks", 1}}, {"$X"}, {872});
        row("another answer to a header", {{"state", 5}, {"imageStep", 0}}, "$IACK,2",
            {{"imageWait", 3}}, {kHeaderB});
        row("no answer to a header", {{"state", 5}, {"imageStep", 0}}, "$IACK", {{"imageWait", 3}},
            {kHeaderB});
        row("an answer with a leading zero", {{"state", 5}, {"imageStep", 0}}, "$IACK,00",
            {{"imageWait", 3}}, {kHeaderB});

        row("block stored",
            {{"state", 5}, {"imageIndex", 0}, {"imageOffset", 0}, {"blockNumber", 0}}, "$FACK,0",
            {{"imageOffset", 256}, {"blockNumber", 1}, {"imageWait", 3}}, {blockLine(1, 0)}, {256});
        row("last block but one stored",
            {{"state", 5}, {"imageIndex", 0}, {"imageOffset", 256}, {"blockNumber", 1}},
            "$FACK,01,0",
            {{"imageOffset", 512}, {"blockNumber", 2}, {"imageWait", 3}, {"imageStep", 2}},
            {blockLine(2, 0)}, {512});
        row("last block stored",
            {{"state", 5}, {"imageIndex", 0}, {"imageOffset", 512}, {"blockNumber", 2},
                {"imageStep", 2}},
            "$FACK,2", {{"imageOffset", 0}, {"imageIndex", 1}, {"imageStep", 0}, {"imageWait", 3}},
            {kHeaderB}, {600});
        row("block stored with the flag that skips",
            {{"state", 5}, {"imageIndex", 0}, {"imageOffset", 0}, {"blockNumber", 0}}, "$FACK,0,1",
            {{"imageOffset", 256}, {"blockNumber", 1}, {"imageWait", 3}}, {blockLine(1, 0)}, {256});
        row("last block of all stored",
            {{"state", 5}, {"imageIndex", 2}, {"blockNumber", 0}, {"imageStep", 2}}, "$FACK,00",
            {{"state", 15}, {"ticks", 1}, {"imageIndex", 3}, {"imageStep", 0}, {"imageWait", 0}},
            {"$X"}, {872});
        row("another block", {{"state", 5}, {"imageIndex", 0}, {"imageOffset", 256}}, "$FACK,8",
            {{"imageWait", 3}, {"blockNumber", 1}}, {blockLine(1, 0)});
        row("another block after the last", {{"state", 5}, {"imageStep", 2}}, "$FACK,8",
            {{"imageStep", 0}, {"imageWait", 6}});
        row("skip at a header", {{"state", 5}, {"imageIndex", 0}, {"imageStep", 0}}, "$FACK,8,1",
            {{"imageIndex", 1}, {"imageWait", 3}}, {kHeaderB}, {600});
        row("skip among blocks", {{"state", 5}, {"imageIndex", 1}}, "$FACK,8,1",
            {{"imageIndex", 2}, {"imageWait", 3}, {"blockNumber", 0}, {"imageStep", 2}},
            {blockLine(0, 2)}, {856});
        row("skip of the last image", {{"state", 5}, {"imageIndex", 2}}, "$FACK,8,1",
            {{"state", 15}, {"ticks", 1}, {"imageIndex", 3}, {"imageWait", 0}}, {"$X"}, {872});
        row("skip far into an image", {{"state", 5}, {"imageIndex", 0}, {"imageOffset", 512}},
            "$FACK,8,1",
            {{"imageIndex", 1}, {"imageWait", 3}, {"blockNumber", 2}, {"imageStep", 2}}, {"$F,02"},
            {600});
        row("skip after the last block", {{"state", 5}, {"imageIndex", 1}, {"imageStep", 2}},
            "$FACK,8,1", {{"imageIndex", 2}, {"imageStep", 0}, {"imageWait", 6}}, {}, {856});

        row("images erased", {{"state", 4}}, "$AACK,1", {{"state", 15}, {"ticks", 0}}, {"$X"},
            {3, 4, QStringLiteral("Images Erased")});
        row("images erased, two digits", {{"state", 4}, {"imageStep", 0}}, "$AACK,01",
            {{"state", 15}, {"ticks", 0}}, {"$X"}, {3, 4, QStringLiteral("Images Erased")});
        row("erasing goes on", {{"state", 4}, {"imageStep", 0}}, "$AACK,0",
            {{"imageStep", 1}, {"imageWait", 120}});
        row("erasing goes on still", {{"state", 4}, {"imageStep", 1}}, "$AACK,00",
            {{"imageStep", 1}, {"imageWait", 120}});
        row("another erase answer", {{"state", 4}}, "$AACK,11", {});

        const SessionFields writing{{"state", 11}, {"phase", 1}};
        const SessionFields checking{{"state", 11}, {"phase", 2}};
        const SessionFields base = somewhere({});
        const auto given = [&base](const SessionFields& where, const SessionFields& more) {
            return with(with(base, where), more);
        };
        row("page erased", given(writing, {{"fwStep", 0}, {"flashAddress", 0x3000}}), "$EACK",
            {{"fwStep", 1}, {"ticks", 1}}, {erasedLine("0")});
        row("page erased, once sent", given(writing, {{"fwStep", 1}, {"flashAddress", 0x3000}}),
            "$EACK", {{"ticks", 1}}, {erasedLine("0")});
        row("page erased while checking",
            given(checking, {{"fwStep", 0}, {"flashAddress", 0x3040}}), "$EACK",
            {{"fwStep", 1}, {"ticks", 1}}, {erasedLine("40")});
        row("data stored", given(writing, {{"flashAddress", 0x1F80}}), "$DACK",
            {{"flashAddress", 0x1FC0}, {"ticks", 1}}, {erasedLine("FC0")}, {3, 0xFC0});
        row("data stored below the area", given(writing, {{"flashAddress", 0}}), "$DACK",
            {{"flashAddress", 0x40}, {"ticks", 1}}, {erasedLine("40")}, {3, 0});
        row("page full", given(writing, {{"flashAddress", 0x1FC0}}), "$DACK",
            {{"flashAddress", 0x2000}, {"fwStep", 2}, {"ticks", 1}}, {"$P,1000,1000"}, {3, 0x1000});
        row("last page full", given(writing, {{"flashAddress", 0xDFFC0}}), "$DACK",
            {{"flashAddress", 0xE0000}, {"fwStep", 2}, {"ticks", 1}}, {"$P,DF000,1000"},
            {3, 0xDEFFF});
        row("page full while checking", given(checking, {{"flashAddress", 0x1FC0}}), "$DACK",
            {{"flashAddress", 0x2000}, {"fwStep", 2}, {"ticks", 1}}, {"$C,1000,DFFFF"},
            {3, 0x1000});
        row("page full when done", {{"state", 11}, {"phase", 3}, {"flashAddress", 0x1FC0}}, "$DACK",
            {{"flashAddress", 0x2000}, {"fwStep", 2}, {"ticks", 19}}, {}, {3, 0x1000});
        row("page programmed", given(writing, {{"fwStep", 2}, {"flashAddress", 0x2000}}), "$PACK",
            {{"fwStep", 1}, {"ticks", 1}}, {"$E,2000,1"});
        row("page programmed, just below the end",
            given(writing, {{"fwStep", 2}, {"flashAddress", 0xDFFFE}}), "$PACK",
            {{"fwStep", 1}, {"ticks", 1}}, {"$E,DFFFE,1"});
        const SessionFields imagesFollow{{"state", 5}, {"phase", 3}, {"flashAddress", 0x1000},
            {"fwStep", 0}, {"ticks", 4}, {"imageIndex", 0}, {"imageOffset", 0}, {"imageStep", 0},
            {"imageWait", 6}};
        row("last page programmed",
            given(writing, {{"fwStep", 2}, {"flashAddress", 0xE0000}, {"imageOffset", 5}}), "$PACK",
            imagesFollow, {}, {3, kProgressDone});
        row("page programmed, just at the end",
            given(writing, {{"fwStep", 2}, {"flashAddress", 0xDFFFF}}), "$PACK", imagesFollow, {},
            {3, kProgressDone});
        row("firmware checked", given(checking, {{"fwStep", 2}, {"flashAddress", 0x2000}}), "$CACK",
            {{"fwStep", 3}, {"ticks", 1}}, {"$P,1000,1000"});
        row("programmed after the check", given(checking, {{"fwStep", 3}, {"retries", 0}}), "$PACK",
            {{"state", 7}, {"phase", 3}, {"flashAddress", 0x1000}, {"fwStep", 0}, {"ticks", 4}},
            {"$MVER"}, {3, kProgressDone});
    }

    void movesTheSession()
    {
        QFETCH(SessionFields, given);
        QFETCH(QByteArray, reply);
        QFETCH(SessionFields, changes);
        QFETCH(QByteArrayList, lines);
        QFETCH(int, imageBar);
        QFETCH(int, programBar);
        QFETCH(QString, logged);
        m_session->setFields(given);
        m_session->bar("progressBarVerify").setValue(3);
        m_session->bar("progressBarLoad").setValue(4);
        const SessionFields expected = with(m_session->fields(), changes);
        m_session->reply(reply);
        QCOMPARE(toText(m_session->fields()), toText(expected));
        QCOMPARE(m_session->sent(), framedAll(lines));
        QCOMPARE(m_session->bar("progressBarVerify").value(), imageBar);
        QCOMPARE(m_session->bar("progressBarLoad").value(), programBar);
        QCOMPARE(m_session->log(), logged);
    }

    void answersTheBootloaderOnce()
    {
        for (int state = 0; state < 16; ++state) {
            m_session->setFields(somewhere({{"state", state}, {"phase", 0}}));
            const SessionFields expected = with(m_session->fields(), {{"phase", 1}});
            m_session->reply("$Bootloader");
            QCOMPARE(toText(m_session->fields()), toText(expected));
            QCOMPARE(m_session->sent(), QByteArray("$G\n"));
            m_session->reply("$Bootloader");
            QCOMPARE(toText(m_session->fields()), toText(expected));
            QCOMPARE(m_session->sent(), QByteArray());
        }
    }

    void showsTheVersionAnywhere_data()
    {
        QTest::addColumn<int>("state");
        for (int state = 0; state < 16; ++state)
            QTest::addRow("state %d", state) << state;
    }

    void showsTheVersionAnywhere()
    {
        QFETCH(int, state);
        for (int phase = 0; phase <= 4; ++phase) {
            const QByteArray version = QByteArray::number(state * 10 + phase);
            m_session->setFields(somewhere({{"state", state}, {"phase", phase}}));
            const QString before = toText(m_session->fields());
            m_session->reply("$MVERR," + version);
            QCOMPARE(toText(m_session->fields()), before);
            QCOMPARE(m_session->sent(), framed("$BOOTLOADM"));
            QCOMPARE(m_session->labelText("label_UnitVersion"),
                QStringLiteral("Unit Version: ") + QString::fromUtf8(version));
        }
    }

    void showsTheVersion_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QByteArray>("shown");
        QTest::newRow("shipped") << QByteArray("$MVERR,D.02n") << QByteArray("D.02n");
        // The same as the set's own.
        QTest::newRow("same as the set") << QByteArray("$MVERR,T.07") << QByteArray("T.07");
        QTest::newRow("with a checksum") << QByteArray("$MVERR,D.02n*12AB") << QByteArray("D.02n");
        QTest::newRow("with a carriage return")
            << QByteArray("$MVERR,D.02n\r") << QByteArray("D.02n");
        QTest::newRow("first field only") << QByteArray("$MVERR,A,B") << QByteArray("A");
        QTest::newRow("empty") << QByteArray("$MVERR,,B") << QByteArray();
        QTest::newRow("missing") << QByteArray("$MVERR") << QByteArray();
        QTest::newRow("64 characters")
            << QByteArray("$MVERR," + QByteArray(64, 'v')) << QByteArray(64, 'v');
        QTest::newRow("cut at 64 characters")
            << QByteArray("$MVERR," + QByteArray(65, 'v') + ",x") << QByteArray(64, 'v');
        QTest::newRow("as long as a line")
            << QByteArray("$MVERR," + QByteArray(980, 'v')) << QByteArray(64, 'v');
    }

    void showsTheVersion()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QByteArray, shown);
        m_session->reply(reply);
        QCOMPARE(m_session->labelText("label_UnitVersion"),
            QStringLiteral("Unit Version: ") + QString::fromUtf8(shown));
        QCOMPARE(m_session->sent(), framed("$BOOTLOADM"));
    }

    void ignoresOtherLines_data()
    {
        QTest::addColumn<QByteArray>("line");
        const auto row
            = [](const char* name, const QByteArray& line) { QTest::newRow(name) << line; };
        row("nothing", QByteArray());
        row("line feed alone", "\n");
        row("carriage return and line feed", "\r\n");
        row("NUL first", QByteArray("\0$MVERR,1\n", 10));
        row("NUL within the word", QByteArray("$MVE\0RR,1\n", 10));
        row("empty word", ",1\n");
        row("checksum alone", "*1234\n");
        row("unknown word", "$HELLO,1\n");
        row("longer word", "$MVERRX,1\n");
        row("shorter word", "$MVER,1\n");
        row("lower case", "$mverr,1\n");
        row("no dollar", "MVERR,1\n");
        row("blank in front", " $MVERR,1\n");
        row("blank after", "$MVERR ,1\n");
        row("word in another field", "$HELLO,$MVERR,1\n");
        row("bootloader in other letters", "$BOOTLOADER\n");
        row("bootloader with more", "$Bootloader2\n");
        row("word of 64 characters and more", "$Bootloader" + QByteArray(100, 'r') + "\n");
        row("fields only", QByteArray(900, ',') + "\n");
        row("not a text", QByteArray(300, '\xFF') + "\n");
    }

    void ignoresOtherLines()
    {
        QFETCH(QByteArray, line);
        for (const int state : {2, 3, 4, 5, 11, 15}) {
            m_session->setFields(somewhere({{"state", state}, {"phase", 0}}));
            const QString before = everything();
            m_session->dialog().GotMessage(&m_session->port(), QString::fromUtf8(line));
            QCOMPARE(everything(), before);
            QCOMPARE(m_session->sent(), QByteArray());
        }
    }

    void takesTheWordUpToItsEnd_data()
    {
        QTest::addColumn<QByteArray>("line");
        for (const char* line : {"$Bootloader", "$Bootloader\n", "$Bootloader\r\n",
                 "$Bootloader*1234\n", "$Bootloader,7\n", "$Bootloader,\n"})
            QTest::newRow(line) << QByteArray(line);
        QTest::newRow("NUL after") << QByteArray("$Bootloader\0x\n", 14);
    }

    void takesTheWordUpToItsEnd()
    {
        QFETCH(QByteArray, line);
        m_session->dialog().GotMessage(&m_session->port(), QString::fromUtf8(line));
        QCOMPARE(m_session->sent(), QByteArray("$G\n"));
        QCOMPARE(m_session->port().phase, 1);
    }

    void readsNumbersInHexadecimal_data()
    {
        QTest::addColumn<QByteArray>("number");
        QTest::addColumn<int>("block");
        QTest::newRow("upper case") << QByteArray("2A") << 0x2A;
        QTest::newRow("lower case") << QByteArray("2a") << 0x2A;
        QTest::newRow("leading zeros") << QByteArray("00002A") << 0x2A;
        QTest::newRow("prefix") << QByteArray("0x2A") << 0x2A;
        QTest::newRow("three digits") << QByteArray("262") << 0x262;
        QTest::newRow("last eight digits") << QByteArray("FFF0000002A") << 0x2A;
        QTest::newRow("a letter after F") << QByteArray("2G") << 0x20;
        QTest::newRow("a blank is a digit") << QByteArray("2A ") << 0x2A0;
        QTest::newRow("no number") << QByteArray("xyz") << 0;
        QTest::newRow("empty") << QByteArray() << 0;
        // Only the first 64 characters are read.
        QTest::newRow("64 characters") << QByteArray(QByteArray(62, '0') + "2A") << 0x2A;
        QTest::newRow("cut at 64 characters") << QByteArray(QByteArray(62, '0') + "2AB") << 0x2A;
    }

    void readsNumbersInHexadecimal()
    {
        QFETCH(QByteArray, number);
        QFETCH(int, block);
        m_session->setFields(somewhere({{"state", 5}, {"imageIndex", 0}, {"blockNumber", block}}));
        m_session->reply("$FACK," + number + "*ABCD");
        QCOMPARE(m_session->port().imageOffset, 256);
        QCOMPARE(m_session->sent(), framed(blockLine(1, 0)));

        m_session->setFields(
            somewhere({{"state", 5}, {"imageIndex", 0}, {"blockNumber", block + 1}}));
        m_session->reply("$FACK," + number);
        QCOMPARE(m_session->port().imageOffset, 0);
    }

    void skipsByTheExactFlagOnly_data()
    {
        QTest::addColumn<QByteArray>("afterBlock");
        QTest::addColumn<bool>("skips");
        QTest::newRow("1") << QByteArray(",1") << true;
        QTest::newRow("1 and a checksum") << QByteArray(",1*ABCD") << true;
        QTest::newRow("1 and more fields") << QByteArray(",1,0") << true;
        // The checksum is a field like the others.
        QTest::newRow("a checksum of 1") << QByteArray("*1") << true;
        QTest::newRow("a checksum") << QByteArray("*1A2B") << false;
        QTest::newRow("0") << QByteArray(",0") << false;
        QTest::newRow("01") << QByteArray(",01") << false;
        QTest::newRow("11") << QByteArray(",11") << false;
        QTest::newRow("empty") << QByteArray(",") << false;
        QTest::newRow("missing") << QByteArray() << false;
        QTest::newRow("in the next field") << QByteArray(",,1") << false;
    }

    void skipsByTheExactFlagOnly()
    {
        QFETCH(QByteArray, afterBlock);
        QFETCH(bool, skips);
        m_session->setFields(somewhere({{"state", 5}, {"imageIndex", 0}, {"imageStep", 1}}));
        m_session->reply("$FACK,8" + afterBlock);
        QCOMPARE(m_session->port().imageIndex, skips ? 1 : 0);
        QCOMPARE(m_session->sent(), framed(blockLine(0, skips ? 1 : 0)));
    }

    void ignoresALateBlockOfTheImageBefore()
    {
        m_session->setFields(somewhere({{"state", 5}, {"imageIndex", 0}, {"imageOffset", 512},
            {"imageStep", 2}, {"blockNumber", 2}}));
        m_session->reply("$FACK,2");
        QCOMPARE(m_session->sent(), framed(kHeaderB));
        const QString before = everything();
        m_session->reply("$FACK,2");
        m_session->reply("$FACK,1");
        m_session->reply("$FACK,0,0");
        QCOMPARE(everything(), before);
        QCOMPARE(m_session->sent(), QByteArray());
    }

    void comparesReadBack_data()
    {
        QTest::addColumn<int>("address");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("bar");
        QTest::addColumn<int>("phase");
        QTest::addColumn<QString>("logged");
        constexpr int kUnchanged = 7;
        const QString failed = QStringLiteral("Veify Failed");
        const QString finished = QStringLiteral("Veify Finished");
        const QByteArray erased(64, '\xFF');
        const QByteArray zeros(64, '\0');

        QTest::newRow("first line") << 0x1000 << firmwareBytes(0x1000) << 0x40 << 3 << QString();
        QTest::newRow("any address") << 0x1234 << firmwareBytes(0x1234) << 0x274 << 3 << QString();
        QTest::newRow("in front of the area") << 0x100 << zeros << 0 << 3 << QString();
        QTest::newRow("within the file's last line")
            << 0x2040 << firmwareBytes(0x2040) << 0x1080 << 3 << QString();
        QTest::newRow("erased flash after the file")
            << 0x2080 << erased << 0x10C0 << 3 << QString();
        QTest::newRow("zeros after the file") << 0x2080 << zeros << kUnchanged << 3 << failed;
        QTest::newRow("other bytes")
            << 0x1000 << firmwareBytes(0x1001) << kUnchanged << 3 << failed;
        QTest::newRow("last but one line") << 0xDFF80 << erased << 0xDEFC0 << 3 << QString();
        QTest::newRow("last line") << 0xDFFC0 << erased << kProgressDone << 4 << finished;
        QTest::newRow("wrong last line") << 0xDFFC0 << zeros << kUnchanged << 3 << failed;
        QTest::newRow("ends one below the end") << 0xDFFBE << erased << 0xDEFFE << 3 << QString();
        QTest::newRow("ends just at the end")
            << 0xDFFBF << erased << kProgressDone << 4 << finished;
        QTest::newRow("last address at which differences count")
            << 0xEFF97 << zeros << kUnchanged << 3 << failed;
        QTest::newRow("first address at which they do not")
            << 0xEFF98 << zeros << kProgressDone << 4 << finished;
    }

    void comparesReadBack()
    {
        QFETCH(int, address);
        QFETCH(QByteArray, bytes);
        QFETCH(int, bar);
        QFETCH(int, phase);
        QFETCH(QString, logged);
        m_session->setFields({{"state", 0}});
        m_session->step();
        m_session->bar("progressBarVerify").setMaximum(kProgressDone);
        m_session->bar("progressBarVerify").setValue(7);
        m_session->setFields(somewhere({{"state", address}, {"phase", 3}}));
        SessionFields expected = with(m_session->fields(), {{"ticks", 4}, {"phase", phase}});
        if (logged != QStringLiteral("Veify Failed"))
            expected = with(expected, {{"flashAddress", address + 64}});
        m_session->reply(readBack(address, bytes));
        QCOMPARE(toText(m_session->fields()), toText(expected));
        QCOMPARE(m_session->log(), logged);
        QCOMPARE(m_session->bar("progressBarVerify").value(), bar);
        QCOMPARE(m_session->bar("progressBarLoad").value(), 0);
        QCOMPARE(m_session->sent(), QByteArray());
    }

    void findsADifferenceInEveryByte()
    {
        m_session->setFields({{"state", 0}});
        m_session->step();
        for (int i = 0; i < 64; ++i) {
            QByteArray bytes = firmwareBytes(0x1040);
            bytes[i] = static_cast<char>(bytes.at(i) ^ 0x10);
            m_session->setFields(somewhere({{"state", 0x1040}, {"phase", 3}}));
            m_session->reply(readBack(0x1040, bytes));
            QCOMPARE(m_session->port().flashAddress, 0x1040);
            QCOMPARE(m_session->log().count(QStringLiteral("Veify Failed")), qsizetype(i + 1));
        }
    }

    void ignoresShortReadBack_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("taken");
        const QByteArray whole = readBack(5, QByteArray(64, '\0'));
        QTest::newRow("65 commas") << whole << true;
        QTest::newRow("64 commas") << whole.chopped(3) << false;
        QTest::newRow("66 commas") << QByteArray(whole + ",77") << true;
        QTest::newRow("64 commas and a checksum") << QByteArray(whole.chopped(3) + "*00") << false;
        QTest::newRow("65 commas and a checksum") << QByteArray(whole + "*1234") << true;
        QTest::newRow("a comma after the end") << QByteArray(whole.chopped(3) + "\r,00") << false;
        QTest::newRow("upper case and one digit")
            << QByteArray("$VACK,05" + QByteArray(",0").repeated(64)) << true;
        QTest::newRow("word alone") << QByteArray("$VACK") << false;
    }

    void ignoresShortReadBack()
    {
        QFETCH(QByteArray, line);
        QFETCH(bool, taken);
        m_session->setFields({{"state", 0}});
        m_session->step();
        m_session->setFields(somewhere({{"state", 5}, {"phase", 3}}));
        const QString before = everything();
        m_session->reply(line);
        QCOMPARE(everything() != before, taken);
        QCOMPARE(m_session->port().flashAddress, taken ? 5 + 64 : 0x1040);
    }

    void takesAReadBackLineWhoseAddressIsTheState()
    {
        m_session->setFields({{"state", 0}});
        m_session->step();
        m_session->setFields(somewhere({{"state", 5}, {"phase", 3}, {"imageStep", 0}}));
        // The session is stepped as well: its wait goes on.
        SessionFields expected
            = with(m_session->fields(), {{"ticks", 4}, {"flashAddress", 0x45}, {"imageWait", 1}});
        m_session->reply(readBack(5, QByteArray(64, '\0')));
        QCOMPARE(toText(m_session->fields()), toText(expected));
        QCOMPARE(m_session->log(), QString());

        expected = with(expected, {{"imageWait", 0}});
        m_session->reply(readBack(5, QByteArray(64, '\1')));
        QCOMPARE(toText(m_session->fields()), toText(expected));
        QCOMPARE(m_session->log(), QStringLiteral("Veify Failed"));
        QCOMPARE(m_session->sent(), QByteArray());
    }

    void ignoresReadBackOfAnyOtherAddress()
    {
        m_session->setFields({{"state", 0}});
        m_session->step();
        for (int state = 0; state < 16; ++state) {
            m_session->setFields(somewhere({{"state", state}, {"phase", 3}}));
            const QString before = everything();
            for (const int address : {0x1000, 0x1040, 0xDFFC0, 0xEFF98, state + 1, state + 256})
                m_session->reply(readBack(address, firmwareBytes(address)));
            QCOMPARE(everything(), before);
        }
        QCOMPARE(m_session->sent(), QByteArray());
    }

    void logsWhatItHears_data()
    {
        QTest::addColumn<SessionFields>("given");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("logged");
        const auto row = [](const char* reply, const SessionFields& given, const char* logged) {
            QTest::newRow(reply) << somewhere(given) << QByteArray(reply) << QString(logged);
        };
        row("$Bootloader", {{"phase", 0}}, "^Send Capture Bootloader");
        row("$GACK", {}, "^Captured Bootloader");
        row("$FACK,2a,1", {{"state", 5}}, "^FACK 42 .*1");
        row("$AACK,7*1234", {{"state", 4}}, "\\$AACK,7\\*1234");
        row("$HELLO,1", {}, "\\$HELLO");
        row("$CACK", {{"state", 11}, {"phase", 2}, {"fwStep", 2}}, "\\$CACK");
        row("$PACK", {{"state", 11}, {"fwStep", 2}, {"flashAddress", 0x2000}}, "\\$E,2000,1");
        // How much is left when a page is programmed, and the check line.
        row("$DACK,1", {{"state", 11}, {"flashAddress", 0x1FC0}}, "Left to write 909311");
        row("$DACK,2", {{"state", 11}, {"flashAddress", 0x1FC0}, {"phase", 2}}, "\\$C,1000,DFFFF");
    }

    void logsWhatItHears()
    {
        QFETCH(SessionFields, given);
        QFETCH(QByteArray, reply);
        QFETCH(QString, logged);
        m_session->setFields(given);
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(logged));
        m_session->reply(reply);
    }

private:
    /// Everything that a reply may change, in one text.
    [[nodiscard]] QString everything() const
    {
        return QStringList{toText(m_session->fields()), m_session->log(),
            m_session->labelText("label_UnitVersion"), m_session->labelText("label_Status"),
            m_session->labelText("labelTX"),
            QString::number(m_session->bar("progressBarLoad").value()),
            QString::number(m_session->bar("progressBarVerify").value())}
            .join(QLatin1Char('|'));
    }

    std::unique_ptr<SessionFixture> m_session;
};

static const RegisteredTest<TestReplies> registered(__FILE__);
#include "tst_replies.moc"
