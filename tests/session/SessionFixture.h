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

// What several tests give a session and expect of it, on the small release set.

/// The headers of the small set's images, in the order of its manifest.
inline constexpr const char* kHeaderA = "$I,00,01,12C,01";
inline constexpr const char* kHeaderB = "$I,03,02,10,08";
inline constexpr const char* kHeaderC = "$I,11,0A,04,02";

/// What the dialog's log says when the erasing of the images is asked for.
inline constexpr QLatin1StringView kEraseText{
    "Send Erase All messages Command takes around 20 seconds"};

/// The fields of a session in the middle of everything, with `changes`: what is done to it shows
/// what it leaves alone.
[[nodiscard]] SessionFields somewhere(const SessionFields& changes);

/// Two digits or more, in upper case.
[[nodiscard]] QByteArray hexByte(int value);

/// The lines of all blocks of `pixels`.
[[nodiscard]] QByteArrayList blockLines(const QByteArray& pixels);

/// The line of the block `number` of the small set's image `image`.
[[nodiscard]] QByteArray blockLine(int number, int image);

/// The data line for `offset`, in hexadecimal, of erased flash: what a session sends that has no
/// firmware file.
[[nodiscard]] QByteArray erasedLine(const QByteArray& offset);
