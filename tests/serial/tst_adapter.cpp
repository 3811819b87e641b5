// What tells a lost adapter from a line that is only full, on real terminals.

#include "serial/Adapter.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int kTrials = 100;
constexpr int kMoreThanATerminalHolds = 60'008; // bytes

/// An open port with the rule under test, and the far end of its line.
class Link
{
public:
    Link()
    {
        termios raw{};
        cfmakeraw(&raw);
        std::array<char, 64> name{};
        if (::openpty(&far, &m_near, name.data(), &raw, nullptr) != 0)
            qFatal("no pseudo terminal to be had");
        ::fcntl(far, F_SETFL, O_NONBLOCK);
        port.setPortName(QString::fromLocal8Bit(name.data()));
        QObject::connect(
            &port, &QSerialPort::errorOccurred, &port, [this](QSerialPort::SerialPortError error) {
                errors += error != QSerialPort::NoError ? 1 : 0;
                closed += adapter::closeIfUnplugged(port, error) ? 1 : 0;
            });
        if (!adapter::open(port))
            qFatal("cannot open the pseudo terminal");
    }
    ~Link()
    {
        port.close();
        unplug();
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    void unplug()
    {
        for (int* const end : {&m_near, &far}) {
            if (*end >= 0)
                ::close(*end);
            *end = -1;
        }
    }

    /// Everything that has come out of the far end by now.
    QByteArray arrived() const
    {
        QByteArray bytes;
        std::array<char, 4096> chunk{};
        for (;;) {
            const ssize_t count = ::read(far, chunk.data(), chunk.size());
            if (count <= 0)
                return bytes;
            bytes.append(chunk.data(), count);
        }
    }

    QSerialPort port;
    int far = -1;
    int errors = 0;
    int closed = 0;

private:
    int m_near = -1;
};

} // namespace

class TestAdapter : public QObject
{
    Q_OBJECT

private slots:
    void closesAPortWhoseAdapterWentAtOnce_data()
    {
        QTest::addColumn<bool>("waiting");
        QTest::newRow("nothing waits to be sent") << false;
        QTest::newRow("bytes wait to be sent") << true;
    }

    void closesAPortWhoseAdapterWentAtOnce()
    {
        QFETCH(bool, waiting);
        for (int trial = 0; trial < kTrials; ++trial) {
            Link link;
            if (waiting) {
                link.port.write(QByteArray(kMoreThanATerminalHolds, 'x'));
                link.port.flush();
                QVERIFY(link.port.bytesToWrite() > 0);
            }
            link.unplug();
            // What an earlier call left: reading a terminal that hung up does not set it.
            errno = EAGAIN;
            QTRY_VERIFY(!link.port.isOpen());
            QCOMPARE(link.closed, 1);
        }
    }

    void takesTheLineForWhatItIsWhateverTheErrorSays_data()
    {
        QTest::addColumn<QSerialPort::SerialPortError>("error");
        QTest::newRow("resource") << QSerialPort::ResourceError;
        QTest::newRow("read") << QSerialPort::ReadError;
        QTest::newRow("write") << QSerialPort::WriteError;
        QTest::newRow("timeout") << QSerialPort::TimeoutError;
        QTest::newRow("unknown") << QSerialPort::UnknownError;
    }

    void takesTheLineForWhatItIsWhateverTheErrorSays()
    {
        QFETCH(QSerialPort::SerialPortError, error);
        Link link;
        QVERIFY(!adapter::closeIfUnplugged(link.port, error));
        QVERIFY(link.port.isOpen());
        link.unplug();
        QVERIFY(!adapter::closeIfUnplugged(link.port, QSerialPort::NoError));
        QVERIFY(adapter::closeIfUnplugged(link.port, error));
        QVERIFY(!link.port.isOpen());
        QVERIFY(!adapter::closeIfUnplugged(link.port, error));
    }

    void keepsAPortWhoseLineIsFull()
    {
        Link link;
        QByteArray sent(kMoreThanATerminalHolds, '\0');
        for (qsizetype i = 0; i < sent.size(); ++i)
            sent[i] = static_cast<char>(i * 7 + i / 251);
        link.port.write(sent);
        // Asked again while it takes nothing, the line says so by an error.
        for (int i = 0; link.errors == 0 && i < kMoreThanATerminalHolds; ++i)
            link.port.flush();
        QVERIFY(link.errors > 0);
        QVERIFY(link.port.isOpen());
        QByteArray arrived;
        QTRY_VERIFY((arrived += link.arrived()).size() >= sent.size());
        QCOMPARE(arrived, sent);
        QVERIFY(link.port.isOpen());

        // And it goes on reading.
        QCOMPARE(::write(link.far, "$A", 2), ssize_t{2});
        QTRY_COMPARE(link.port.bytesAvailable(), qint64{2});
    }

    void goesOnReadingAfterAnotherProgramHasTakenWhatArrived()
    {
        Link link;
        // It hears of the same bytes in the same turn of the event loop, and first: what the port
        // reads then is an error, to Qt 6.4.
        link.port.close();
        const int other = ::open(("/dev/" + link.port.portName().toLocal8Bit()).constData(),
            O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY(other >= 0);
        QSocketNotifier notifier(other, QSocketNotifier::Read);
        bool taken = false;
        connect(&notifier, &QSocketNotifier::activated, this, [other, &taken] {
            std::array<char, 64> bytes{};
            taken = ::read(other, bytes.data(), bytes.size()) == 1;
            errno = EAGAIN; // the port's own read finds nothing, and leaves this
        });
        QVERIFY(link.port.open(QIODevice::ReadWrite));
        QCOMPARE(::write(link.far, "x", 1), ssize_t{1});
        QTRY_VERIFY(taken);
        QCoreApplication::processEvents();
        notifier.setEnabled(false);
        ::close(other);

        QVERIFY(link.port.isOpen());
        QCOMPARE(::write(link.far, "$A", 2), ssize_t{2});
        QTRY_COMPARE(link.port.bytesAvailable(), qint64{2});
    }
};

static const RegisteredTest<TestAdapter> registered(__FILE__);
#include "tst_adapter.moc"
