#pragma once

#include <QProcess>
#include <QString>

/// Another process that has a port open, until it is killed or this object goes.
class PortHolder
{
public:
    /// Returns once the port is open.
    explicit PortHolder(const QString& portName);
    ~PortHolder() { kill(); }
    PortHolder(const PortHolder&) = delete;
    PortHolder& operator=(const PortHolder&) = delete;

    /// Ends the process without letting it close its port.
    void kill();

    /// Does that process's part when `argc` and `argv` are those that it was started with, and
    /// returns its exit code; -1 for any other.
    static int runAsHolder(int argc, char** argv);

private:
    QProcess m_process;
};
