#pragma once

#include "tests/session/DialogFixture.h"
#include "tests/support/MemoryPort.h"

/// A dialog on ports in memory, opened as the program opens what it finds. The program that uses it
/// is built with tests/support/NoHardware.cpp.
class SessionFixture final : public DialogFixture
{
public:
    /// Ports, `portCount` of them, are named "ttyUSB0" and so on.
    explicit SessionFixture(
        int mode = JobUpdate, int portCount = 1, const ReleaseSetFiles& files = smallReleaseSet());

    /// The port as the test sees it; the dialog owns it.
    [[nodiscard]] MemoryPort<PortTest>& memoryPort(int index = 0)
    {
        return static_cast<MemoryPort<PortTest>&>(port(index));
    }

private:
    void addPorts() override;
    QByteArray takeSent(int index) override;
    void arrive(const QByteArray& bytes, int index) override;

    int m_portCount;
};
