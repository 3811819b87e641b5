#include "tests/session/SessionBench.h"

#include <QTest>

#include <array>
#include <fcntl.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Behind everything that the program has sent: written to the same terminal, so that reading up to
// it needs no waiting for silence.
constexpr QByteArrayView kFence{"#fence#"};

void writeFence(const QString& terminal)
{
    // Past the mocked bus: it asks a thread of its own about every device that is opened, and a
    // test opens so many that the two get in each other's way in its list of open files.
    const QByteArray path = terminal.toLocal8Bit();
    const auto slave = static_cast<int>(
        ::syscall(SYS_openat, AT_FDCWD, path.constData(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const bool written
        = slave >= 0 && ::write(slave, kFence.data(), kFence.size()) == kFence.size();
    if (slave >= 0)
        ::syscall(SYS_close, slave);
    if (!written)
        throw std::runtime_error("cannot write to the far end");
}

QByteArray readToFence(int master)
{
    QByteArray bytes;
    std::array<char, 4096> chunk{};
    while (!bytes.endsWith(kFence)) {
        const ssize_t count = ::read(master, chunk.data(), chunk.size());
        if (count <= 0)
            throw std::runtime_error("the far end has gone");
        bytes.append(chunk.data(), count);
    }
    return bytes.chopped(kFence.size());
}

struct NamedField
{
    const char* name;
    qint32 PortTest::*member;
};

constexpr NamedField kFields[] = {
    {"state", &PortTest::state},
    {"startAddress", &PortTest::startAddress},
    {"flashAddress", &PortTest::flashAddress},
    {"phase", &PortTest::phase},
    {"fwStep", &PortTest::fwStep},
    {"retries", &PortTest::retries},
    {"ticks", &PortTest::ticks},
    {"imageIndex", &PortTest::imageIndex},
    {"imageOffset", &PortTest::imageOffset},
    {"imageStep", &PortTest::imageStep},
    {"imageWait", &PortTest::imageWait},
    {"blockNumber", &PortTest::blockNumber},
};

} // namespace

SessionFields with(SessionFields fields, const SessionFields& changes)
{
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        if (!fields.contains(change.key()))
            throw std::out_of_range("no field " + change.key().toStdString());
        fields.insert(change.key(), change.value());
    }
    return fields;
}

QString toText(const SessionFields& fields)
{
    QStringList parts;
    for (auto field = fields.begin(); field != fields.end(); ++field)
        parts << QStringLiteral("%1=%2").arg(QString::fromUtf8(field.key())).arg(field.value());
    return parts.join(QLatin1Char(' '));
}

std::vector<Adapter> ftdiAdapters(int count)
{
    std::vector<Adapter> adapters;
    for (int i = 0; i < count; ++i) {
        Adapter adapter;
        adapter.portName = uniquePortName(i);
        adapters.push_back(adapter);
    }
    return adapters;
}

SessionBench::SessionBench(int mode, int adapters, const ReleaseSetFiles& files)
    : SessionBench(mode, ftdiAdapters(adapters), files)
{
}

SessionBench::SessionBench(
    int mode, const std::vector<Adapter>& adapters, const ReleaseSetFiles& files)
    : m_set(files), m_service(&m_settings, QStringLiteral("A.20a"), QStringLiteral("1.00a"))
{
    m_settings.port = &m_servicePort;
    for (const Adapter& adapter : adapters)
        m_adapters.push_back(m_bus.plug(adapter));
    openDialog(mode);
}

SessionBench::~SessionBench()
{
    closeDialog();
}

void SessionBench::closeDialog()
{
    if (m_dialog)
        m_dialog->done(QDialog::Rejected);
    m_dialog.reset();
}

void SessionBench::openDialog(int mode)
{
    m_dialog = std::make_unique<DialogBootload>(&m_service, mode, nullptr);
    m_timerWasStarted = probe().timer().isActive();
    probe().timer().stop();
}

void SessionBench::step(int count)
{
    for (int i = 0; i < count; ++i)
        m_dialog->Timeout();
}

QByteArray SessionBench::sent(int index)
{
    writeFence(adapter(index).terminalPath());
    return readToFence(adapter(index).masterFd());
}

void SessionBench::reply(const QByteArray& line, int index)
{
    m_dialog->GotMessage(&port(index), QString::fromUtf8(line + '\n'));
}

void SessionBench::receive(const QByteArray& bytes, int index)
{
    PortTest& from = port(index);
    // Counted ahead of the dialog's slot, which leaves nothing to count.
    qsizetype taken = 0;
    QObject::disconnect(&from, SIGNAL(readyRead()), m_dialog.get(), SLOT(readyRead()));
    const auto counting = QObject::connect(
        &from, &QSerialPort::readyRead, [&taken, &from] { taken += from.bytesAvailable(); });
    QObject::connect(&from, SIGNAL(readyRead()), m_dialog.get(), SLOT(readyRead()));

    const auto size = static_cast<std::size_t>(bytes.size());
    if (::write(adapter(index).masterFd(), bytes.data(), size) != bytes.size())
        throw std::runtime_error("cannot write from the far end");
    if (!QTest::qWaitFor([&taken, &bytes] { return taken >= bytes.size(); }))
        throw std::runtime_error("the program did not take what it was sent");
    QObject::disconnect(counting);
}

void SessionBench::enterBootloader(int index)
{
    // Ten probing lines behind the step that starts, the step that reopens, one that waits.
    step(13);
    reply("$Bootloader", index);
    // Load, then as many steps as the mode lets pass before its first line.
    constexpr int kStepsBeforeErasePage = 1 + 5;
    constexpr int kStepsBeforeHeader = 1 + 8;
    constexpr int kStepsBeforeEraseImages = 1 + 2;
    const int jobMode = probe().mode();
    step(1);
    step(jobMode == JobImagesOnly       ? kStepsBeforeHeader
            : jobMode == JobEraseImages ? kStepsBeforeEraseImages
                                        : kStepsBeforeErasePage);
    (void)sent(index);
}

SessionFields SessionBench::fields(int index)
{
    PortTest& from = port(index);
    SessionFields values{{"isOpen", from.isOpen() ? 1 : 0}, {"baudRate", from.baudRate()},
        {"fileOpen", from.file.isOpen() ? 1 : 0}};
    for (const NamedField& field : kFields)
        values.insert(field.name, from.*field.member);
    return values;
}

void SessionBench::setFields(const SessionFields& values, int index)
{
    SessionFields rest = values;
    port(index).eraseUnanswered = false;
    port(index).lastBlockUnanswered = false;
    for (const NamedField& field : kFields) {
        if (rest.contains(field.name))
            port(index).*field.member = rest.take(field.name);
    }
    if (!rest.isEmpty())
        throw std::out_of_range("no number " + rest.firstKey().toStdString());
}

QLabel& SessionBench::label(const char* name) const
{
    return *m_dialog->findChild<QLabel*>(QLatin1StringView(name));
}

QString SessionBench::labelText(const char* name) const
{
    return label(name).text();
}

QProgressBar& SessionBench::bar(const char* name) const
{
    return *m_dialog->findChild<QProgressBar*>(QLatin1StringView(name));
}

QString SessionBench::log() const
{
    return m_dialog->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText();
}
