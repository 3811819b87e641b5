#include "tests/session/BusFixture.h"
#include "tests/session/DebugLog.h"
#include "tests/session/PortHolder.h"
#include "tests/support/TestProgram.h"

#include <QPointer>

#include <cerrno>
#include <grp.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uid_t kRoot = 0;
constexpr uid_t kNobody = 65534;

// The step that starts, the probing lines, and the step that opens the port once more.
constexpr int kStepsUntilReopened = 1 + kProbeLines + 1;

bool isRoot()
{
    return ::geteuid() == kRoot;
}

/// Takes root's rights from this process while it lives: root may open any port. Does nothing in a
/// process that was not started by root.
class Unprivileged
{
public:
    Unprivileged()
    {
        // Root stays the saved user, so that its rights can be taken back.
        if (m_byRoot)
            m_succeeded = ::setgroups(0, nullptr) == 0 && ::setresgid(kNobody, kNobody, kRoot) == 0
                && ::setresuid(kNobody, kNobody, kRoot) == 0;
    }
    ~Unprivileged()
    {
        if (m_byRoot
            && (::setresuid(kRoot, kRoot, kRoot) != 0 || ::setresgid(kRoot, kRoot, kRoot) != 0))
            qFatal("the rights of root do not come back");
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;

    [[nodiscard]] bool succeeded() const { return m_succeeded; }

private:
    const bool m_byRoot = isRoot();
    bool m_succeeded = true;
};

void setMode(const PluggedAdapter& adapter, mode_t mode)
{
    if (::chmod(adapter.terminalPath().toLocal8Bit().constData(), mode) != 0)
        qFatal("the mode of the port cannot be set");
}

void forbid(const PluggedAdapter& adapter)
{
    // Only mode 0 keeps a port from its owner.
    setMode(adapter, isRoot() ? 0600 : 0);
}

void permit(const PluggedAdapter& adapter)
{
    setMode(adapter, 0666);
}

/// Lets anybody look at the mocked bus, which belongs to root: on a real one, too, everybody sees
/// all ports.
void giveBusToNobody()
{
    const QByteArray root = qgetenv("UMOCKDEV_DIR");
    // The preloaded library writes to the socket whenever a device is opened.
    for (const QByteArray& path : {root, root + "/ioctl/_default"}) {
        if (isRoot() && ::chown(path.constData(), kNobody, kNobody) != 0)
            qFatal("the bus cannot be given away");
    }
}

} // namespace

/// What happens to a port that the person has no right to open.
class TestPermission : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Others may read the files of the bus.
        ::umask(S_IWGRP | S_IWOTH);
        if (!Unprivileged().succeeded())
            QSKIP("root cannot become another user here, and root may open any port");
    }

    void init()
    {
        m_session = std::make_unique<BusFixture>();
        m_session->closeDialog();
        giveBusToNobody();
        forbid(m_session->adapter());
    }

    void cleanup() { m_session.reset(); }

    void keepsAPortThatThePersonMayNotOpen()
    {
        const Unprivileged person;
        const DebugLog log;
        m_session->openDialog(JobUpdate);
        const QStringList lines = log.with(QStringLiteral("Could not open port"));
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().contains(qt_error_string(EACCES)), qPrintable(lines.first()));

        QCOMPARE(m_session->probe().ports().size(), 1);
        QCOMPARE(m_session->port().portName(), m_session->adapter().portName());
        QCOMPARE(m_session->port().error(), QSerialPort::PermissionError);
        QVERIFY(!m_session->port().portOpen);
        QVERIFY(!m_session->port().isOpen());
    }

    void sendsNothingOnAPortThatThePersonMayNotOpen()
    {
        {
            const Unprivileged person;
            const DebugLog log;
            m_session->openDialog(JobUpdate);
            QCOMPARE(m_session->probe().ports().size(), 1);
            m_session->step(kStepsUntilReopened);
            QCOMPARE(m_session->port().state, qint32(StateWaitForBootloader));
            QVERIFY(!m_session->port().isOpen());
            QCOMPARE(log.count(QStringLiteral(" not sent ")), kProbeLines);

            const QPointer<PortTest> port(&m_session->port());
            m_session->closeDialog();
            QVERIFY(port.isNull());
        }
        permit(m_session->adapter());
        QCOMPARE(m_session->sent(), QByteArray());
    }

    void opensThePortOnceThePersonMay()
    {
        {
            const Unprivileged person;
            m_session->openDialog(JobUpdate);
            QCOMPARE(m_session->probe().ports().size(), 1);
            QVERIFY(!m_session->port().portOpen);
            m_session->closeDialog();
        }
        permit(m_session->adapter());
        const Unprivileged person;
        m_session->openDialog(JobUpdate);
        QVERIFY(m_session->port().portOpen);
        m_session->step(2);
        QCOMPARE(m_session->sent(), framed("$MVER"));
    }

    void keepsAPortWhoseLockRootLeftBehind()
    {
        if (!isRoot())
            QSKIP("needs root and another user");
        permit(m_session->adapter());
        // A program that is killed does not close its port.
        PortHolder(m_session->adapter().portName()).kill();
        {
            const Unprivileged person;
            const DebugLog log;
            m_session->openDialog(JobUpdate);
            QCOMPARE(log.count(QStringLiteral("Could not open port")), 1);
            QCOMPARE(m_session->probe().ports().size(), 1);
            // The person may open the device, but may not take the lock.
            QCOMPARE(log.count(qt_error_string(EACCES)), 0);
            QCOMPARE(m_session->port().error(), QSerialPort::PermissionError);
            m_session->closeDialog();
        }
        // Root takes the stale lock over, and removes it when it closes the port.
        m_session->openDialog(JobUpdate);
        m_session->closeDialog();
        const Unprivileged person;
        m_session->openDialog(JobUpdate);
        QVERIFY(m_session->port().portOpen);
    }

private:
    std::unique_ptr<BusFixture> m_session; // without a dialog, its one port forbidden
};

static const RegisteredTest<TestPermission> registered(__FILE__);
#include "tst_permission.moc"
