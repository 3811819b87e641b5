#include "tests/reliability/ProcessUsage.h"

#include <QDir>
#include <QSet>

#include <malloc.h>
#include <valgrind/memcheck.h>

int openDescriptors()
{
    // One is that of the folder itself while it is read.
    const auto entries = QDir::Files | QDir::System | QDir::NoDotAndDotDot;
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).entryList(entries).size()) - 1;
}

int portLocks(const char* portName)
{
    const QStringList pattern{QStringLiteral("LCK..*") + QLatin1String(portName) + u'*'};
    QSet<QString> locks; // two of the folders may be the same
    for (const char* const folder : {"/var/lock", "/run/lock", "/tmp"}) {
        const QDir directory(QDir(QLatin1String(folder)).canonicalPath());
        const QStringList names = directory.entryList(pattern, QDir::Files | QDir::System);
        for (const QString& name : names)
            locks.insert(directory.filePath(name));
    }
    return static_cast<int>(locks.size());
}

bool countsEveryBlock()
{
    return RUNNING_ON_VALGRIND != 0;
}

qint64 allocatedBytes()
{
    if (countsEveryBlock()) {
        unsigned long lost = 0;
        unsigned long maybeLost = 0;
        unsigned long reachable = 0;
        unsigned long suppressed = 0;
        VALGRIND_DO_QUICK_LEAK_CHECK;
        VALGRIND_COUNT_LEAKS(lost, maybeLost, reachable, suppressed);
        const unsigned long all = lost + maybeLost + reachable + suppressed;
        return static_cast<qint64>(all);
    }
    const struct mallinfo2 info = mallinfo2();
    // Large blocks are mapped by themselves.
    const std::size_t all = info.uordblks + info.hblkhd;
    return static_cast<qint64>(all);
}
