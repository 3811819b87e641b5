#include "tests/reliability/Resources.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <malloc.h>
#include <unistd.h>

int openDescriptors()
{
    // One is the folder's own while it is being read.
    const auto entries = QDir::Files | QDir::System | QDir::NoDotAndDotDot;
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).entryList(entries).size()) - 1;
}

int portLocks(const char* portName)
{
    const QStringList pattern{QStringLiteral("LCK..*") + QLatin1String(portName) + u'*'};
    QSet<QString> locks; // the folders may be one
    for (const char* const folder : {"/var/lock", "/run/lock", "/tmp"}) {
        const QDir directory(QDir(QLatin1String(folder)).canonicalPath());
        const QStringList names = directory.entryList(pattern, QDir::Files | QDir::System);
        for (const QString& name : names)
            locks.insert(directory.filePath(name));
    }
    return static_cast<int>(locks.size());
}

qint64 allocatedBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks + info.hblkhd); // large blocks are mapped by themselves
}

qint64 residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    return statm.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}
