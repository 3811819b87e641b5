#include "tests/session/SessionFixture.h"
#include "tests/support/TestProgram.h"

#include <QLoggingCategory>
#include <QRandomGenerator>

namespace {

QByteArray oneOf(QRandomGenerator& random, const QByteArrayList& texts)
{
    return texts.at(random.bounded(static_cast<int>(texts.size())));
}

/// A reply word or nearly one, with fields that fit the session, and others.
QByteArray oddReply(QRandomGenerator& random, const PortTest& port)
{
    QByteArray line = oneOf(random,
        {"$Bootloader", "$GACK", "$MVERR", "$IACK", "$FACK", "$AACK", "$EACK", "$DACK", "$PACK",
            "$CACK", "$VACK", "$FAC", "$FACKX", "$", ""});
    constexpr int kMostFields = 70;
    const int fields = random.bounded(8) == 0 ? kMostFields : random.bounded(4);
    for (int i = 0; i < fields; ++i) {
        line += ",";
        line += oneOf(random,
            {"0", "1", "2", "", "-1", "FF", "80000000", "FFFFFFFFFFFFFFFF", "\xff\xfe", "*", "\r",
                QByteArray::number(port.blockNumber, 16), QByteArray::number(port.state, 16)});
    }
    return line;
}

/// A healthy board's answer to `sent`; enough of them to reach every state.
QByteArray goodReply(const QByteArray& sent, const PortTest& port)
{
    static const QMap<QByteArray, QByteArray> kAnswers{
        {"$I", "$IACK,0"}, {"$E", "$EACK"}, {"$D", "$DACK"}, {"$P", "$PACK"}, {"$A", "$AACK,0"}};
    if (port.state == StateWaitForBootloader)
        return "$Bootloader";
    if (sent.startsWith("$F"))
        return "$FACK," + QByteArray::number(port.blockNumber, 16);
    return kAnswers.value(sent.left(2));
}

bool isSound(const PortTest& port, qsizetype images)
{
    const auto within
        = [](qint32 value, qint32 low, qint32 high) { return value >= low && value <= high; };
    return within(port.rxIndex, 0, protocol::kLineCapacity - 1)
        && within(port.imageIndex, 0, static_cast<qint32>(images)) && port.imageOffset >= 0
        && within(port.flashAddress, 0, protocol::kFirmwareLast + 1) && port.ticks >= 0
        && within(port.fwStep, FirmwareErase, FirmwareProgramChecked)
        && within(port.imageStep, ImageAnnounce, ImageRestart) && port.imageWait >= 0;
}

} // namespace

/// A board that sends anything at any time.
class TestHostile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false")); }
    void cleanupTestCase() { QLoggingCategory::setFilterRules({}); }

    void staysSoundWhateverTheBoardReplies_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<quint32>("seed");
        for (int mode : {JobUpdate, JobImagesOnly, JobEraseImages}) {
            for (quint32 seed : {1U, 2U, 3U})
                QTest::addRow("mode %d, seed %u", mode, seed) << mode << seed;
        }
    }

    void staysSoundWhateverTheBoardReplies()
    {
        QFETCH(int, mode);
        QFETCH(quint32, seed);
        constexpr int kReplies = 4000;
        QRandomGenerator random(seed);
        SessionFixture session(mode, 2);
        for (int i = 0; i < kReplies; ++i) {
            const int index = random.bounded(2);
            PortTest& port = session.port(index);
            const QByteArray good = goodReply(session.sent(index), port);
            const int choice = random.bounded(6);
            if (choice < 2 && !good.isEmpty())
                session.reply(good, index);
            else if (choice < 3)
                session.step();
            else
                session.reply(oddReply(random, port), index);
            if (!isSound(port, session.probe().images().size()))
                QFAIL(qPrintable(toText(session.fields(index))));
        }
    }
};

static const RegisteredTest<TestHostile> registered(__FILE__);
#include "tst_hostile.moc"
