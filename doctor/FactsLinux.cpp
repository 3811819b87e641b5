// What there is to know of a Linux computer, from QSerialPortInfo, sysfs, /proc and udev's folders.
// No port is opened: who may open one, and who has, is known without.

#include "doctor/ComputerRows.h"
#include "doctor/Facts.h"
#include "serial/Adapter.h"

#include <QDir>
#include <QFileInfo>
#include <QSerialPortInfo>

#include <cerrno>
#include <csignal>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace doctor {

namespace {

using namespace Qt::StringLiterals;

constexpr QLatin1StringView kLocks{"/var/lock/LCK.."};

/// The file's content without white space at its ends; empty when it cannot be read.
QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

QString userName()
{
    const passwd* const user = ::getpwuid(::geteuid());
    return user != nullptr ? QString::fromLocal8Bit(user->pw_name) : QString::number(::geteuid());
}

/// The group that may open the port; none may open what is root's alone, and dialout is the one
/// that it belongs to by default.
QString groupOf(const QString& path)
{
    const QString group = QFileInfo(path).group();
    return group.isEmpty() || group == u"root" ? QStringLiteral("dialout") : group;
}

bool isRunning(qint64 process)
{
    return ::kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM;
}

/// Its name as it was called: the one that the system keeps is cut after 15 letters.
QString programOf(qint64 process)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(process);
    const QString name = QString::fromLocal8Bit(contentOf(folder + u"comm"_s));
    const QByteArray call = contentOf(folder + u"cmdline"_s).split('\0').first();
    const QString called = QFileInfo(QString::fromLocal8Bit(call)).fileName();
    return called.startsWith(name) ? called : name;
}

/// The file that a path leads to, as no other has it.
struct FileId
{
    dev_t device;
    ino_t number;

    bool operator==(const FileId&) const = default;
};

std::optional<FileId> fileAt(const QString& path)
{
    struct stat file
    {
    };
    if (::stat(path.toLocal8Bit().constData(), &file) != 0)
        return {};
    return FileId{file.st_dev, file.st_ino};
}

using AskedPorts = std::vector<std::pair<FileId, Port*>>;

/// Looks for the ports among one process's open files, a folder of links.
void findAmong(const QDir& files, qint64 process, const AskedPorts& ports)
{
    const QStringList names
        = files.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        const std::optional<FileId> file = fileAt(files.filePath(name));
        for (const auto& [device, port] : ports) {
            const bool isNew = port->holders.isEmpty() || port->holders.last().process != process;
            if (file == device && isNew)
                port->holders.append({programOf(process), process});
        }
    }
}

/// By the processes' open files, which of other users' processes root alone sees. Gone through once
/// for all ports: there are thousands.
void findHolders(const AskedPorts& ports)
{
    if (ports.empty())
        return;
    const QStringList entries = QDir(u"/proc"_s).entryList(QDir::Dirs);
    for (const QString& entry : entries) {
        bool isProcess = false;
        const qint64 process = entry.toLongLong(&isProcess);
        if (!isProcess)
            continue;
        const QDir files(QStringLiteral("/proc/%1/fd").arg(entry));
        for (const auto& [device, port] : ports)
            port->hidesHolders |= files.exists() && !files.isReadable();
        findAmong(files, process, ports);
    }
}

/// A lock names its process to everybody. The updater removes one whose process has ended, if this
/// user may: the folder lets each remove their own.
void findLock(Port& port)
{
    const QFileInfo lock(kLocks + port.name.section(u'/', -1));
    if (!lock.exists())
        return;
    const qint64 process = contentOf(lock.filePath()).split('\n').first().toLongLong();
    const Holder holder{programOf(process), process};
    const bool isOwn = ::geteuid() == 0 || lock.ownerId() == ::geteuid();
    if (process > 0 && isRunning(process)) {
        if (!port.holders.contains(holder))
            port.holders.append(holder);
    } else if (!isOwn) {
        port.leftLock = lock.filePath();
    }
}

void findAccess(QList<Port>& ports)
{
    AskedPorts asked;
    for (Port& port : ports) {
        if (!adapter::isOne(port.manufacturer))
            continue;
        const bool isAllowed = ::access(port.name.toLocal8Bit().constData(), R_OK | W_OK) == 0;
        port.access = isAllowed ? Access::May : Access::MayNot;
        port.group = groupOf(port.name);
        if (const std::optional<FileId> device = fileAt(port.name))
            asked.emplace_back(*device, &port);
    }
    findHolders(asked);
    for (const auto& [device, port] : asked)
        findLock(*port);
}

/// The line that begins with `key`, without that, in the file `name` of `device`, or else of the
/// nearest device that it hangs on; empty when none has one.
QByteArray attributeOf(const QString& device, const QString& name, const QByteArray& key = {})
{
    for (QString folder = device; folder.startsWith(u"/sys/"_s);
         folder = QFileInfo(folder).path()) {
        const QByteArrayList lines = contentOf(folder + u'/' + name).split('\n');
        for (const QByteArray& line : lines) {
            if (!line.isEmpty() && line.startsWith(key))
                return line.sliced(key.size());
        }
    }
    return {};
}

Port portOf(const QSerialPortInfo& info)
{
    Port port;
    port.name = info.systemLocation();
    port.manufacturer = info.manufacturer();
    port.description = info.description();
    port.serialNumber = info.serialNumber();
    const QString device
        = QFileInfo(QStringLiteral("/sys/class/tty/%1").arg(info.portName())).canonicalFilePath();
    port.driver = QString::fromUtf8(attributeOf(device, u"uevent"_s, "DRIVER="));
    bool isNumber = false;
    const int latency = attributeOf(device, u"latency_timer"_s).toInt(&isNumber);
    if (isNumber)
        port.latency = latency;
    return port;
}

QList<int> usbProblems()
{
    QList<int> problems;
    const QDir devices(u"/sys/bus/usb/devices"_s);
    const QStringList names = devices.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        const QString path = devices.filePath(name) + u"/manufacturer"_s;
        if (adapter::isOne(QString::fromUtf8(contentOf(path))))
            problems.append(0);
    }
    return problems;
}

/// In udev's own order: of files of one name the first counts.
QList<RuleFile> ruleFiles()
{
    QList<RuleFile> files;
    for (const auto& folder : {"/etc"_L1, "/run"_L1, "/usr/local/lib"_L1, "/usr/lib"_L1}) {
        const QString path = folder + "/udev/rules.d/"_L1 + kRuleName;
        if (QFileInfo::exists(path))
            files.append({path, contentOf(path)});
    }
    return files;
}

} // namespace

Facts factsOfThisComputer()
{
    Facts facts;
    facts.user = userName();
    const QList<QSerialPortInfo> infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos)
        facts.ports.append(portOf(info));
    findAccess(facts.ports);
    facts.usbProblems = usbProblems();
    facts.rules = ruleFiles();
    return facts;
}

} // namespace doctor
