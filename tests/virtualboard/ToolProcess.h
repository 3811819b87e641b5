#pragma once

#include <QFile>
#include <QMap>
#include <QProcess>
#include <QStringList>
#include <QTest>

/// \file
/// Runs of the tool as a process.

constexpr int kRunTimeout = 120'000; // ms; a job takes seconds, a loaded machine more

constexpr QLatin1String kClient(JOB_CLIENT);
constexpr QLatin1String kReleaseSet(JOB_RELEASE_SET);

/// How a run ended.
struct Run
{
    int exitCode = -1;
    QString output;
    QString errors;
};

/// Waits for the end of `process`, or kills it.
inline Run finish(QProcess& process)
{
    if (!process.waitForFinished(kRunTimeout))
        process.kill();
    return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
        QString::fromLocal8Bit(process.readAllStandardError())};
}

/// Runs the tool with `options` from port `firstPort` on, and `program` on it where there is one.
inline Run runTool(int firstPort, QStringList options, const QStringList& program = {})
{
    QProcess process;
    options << QStringLiteral("--first-port") << QString::number(firstPort);
    if (!program.isEmpty())
        options << QStringLiteral("--") << program;
    process.start(QStringLiteral(VIRTUAL_BOARD), options);
    return finish(process);
}

inline void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}
