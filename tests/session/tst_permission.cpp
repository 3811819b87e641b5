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

/// For as long as it lives this process may do what anybody may: root opens whatever there is. A
/// process that was not started by root may do no more anyway.
class Unprivileged
{
public:
    Unprivileged()
    {
        // Root stays the saved user, to come back to; of its groups it needs none.
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
    // From its owner a port is kept by no mode but none.
    setMode(adapter, isRoot() ? 0600 : 0);
}

void permit(const PluggedAdapter& adapter)
{
    setMode(adapter, 0666);
}

/// The mocked bus is for its maker alone. Of the real one anybody sees all ports, also those that
/// they may not open.
void giveBusToNobody()
{
    const QByteArray root = qgetenv("UMOCKDEV_DIR");
    // The socket is told of every device that is opened.
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
    void initTestCase();
    void init();
    void cleanup();
    void keepsAPortThatThePersonMayNotOpen();
    void sendsNothingOnAPortThatThePersonMayNotOpen();
    void opensThePortOnceThePersonMay();
    void keepsAPortWhoseLockRootLeftBehind();

private:
    std::unique_ptr<BusFixture> m_session; // without a dialog, its one port forbidden
};

void TestPermission::initTestCase()
{
    // What the bus is made of can be read by others.
    ::umask(S_IWGRP | S_IWOTH);
    if (!Unprivileged().succeeded())
        QSKIP("root cannot become another user here, and root may open any port");
}

void TestPermission::init()
{
    m_session = std::make_unique<BusFixture>();
    m_session->closeDialog();
    giveBusToNobody();
    forbid(m_session->adapter());
}

void TestPermission::cleanup()
{
    m_session.reset();
}

void TestPermission::keepsAPortThatThePersonMayNotOpen()
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

void TestPermission::sendsNothingOnAPortThatThePersonMayNotOpen()
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

void TestPermission::opensThePortOnceThePersonMay()
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

void TestPermission::keepsAPortWhoseLockRootLeftBehind()
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
        // It is not the device that is kept from the person, but the lock in front of it.
        QCOMPARE(log.count(qt_error_string(EACCES)), 0);
        QCOMPARE(m_session->port().error(), QSerialPort::PermissionError);
        m_session->closeDialog();
    }
    // Root itself takes the lock over, and takes it away.
    m_session->openDialog(JobUpdate);
    m_session->closeDialog();
    const Unprivileged person;
    m_session->openDialog(JobUpdate);
    QVERIFY(m_session->port().portOpen);
}

static const RegisteredTest<TestPermission> registered(__FILE__);
#include "tst_permission.moc"
