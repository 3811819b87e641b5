#include "tests/session/BusFixture.h"

#include <QTest>

#include <array>
#include <fcntl.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Written to the terminal after everything that the program has sent, so that reading up to it
// needs no waiting for silence.
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

} // namespace

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

BusFixture::BusFixture(int mode, int adapters, const ReleaseSetFiles& files)
    : BusFixture(mode, ftdiAdapters(adapters), files)
{
}

BusFixture::BusFixture(int mode, const std::vector<Adapter>& adapters, const ReleaseSetFiles& files)
    : DialogFixture(files)
{
    for (const Adapter& adapter : adapters)
        plug(adapter);
    openDialog(mode);
}

QByteArray BusFixture::takeSent(int index)
{
    writeFence(adapter(index).terminalPath());
    return readToFence(adapter(index).masterFd());
}

void BusFixture::arrive(const QByteArray& bytes, int index)
{
    PortTest& from = port(index);
    // Counted before the dialog's slot takes them.
    qsizetype taken = 0;
    QObject::disconnect(&from, SIGNAL(readyRead()), &dialog(), SLOT(readyRead()));
    const auto counting = QObject::connect(
        &from, &QSerialPort::readyRead, [&taken, &from] { taken += from.bytesAvailable(); });
    QObject::connect(&from, SIGNAL(readyRead()), &dialog(), SLOT(readyRead()));

    const auto size = static_cast<std::size_t>(bytes.size());
    if (::write(adapter(index).masterFd(), bytes.data(), size) != bytes.size())
        throw std::runtime_error("cannot write from the far end");
    if (!QTest::qWaitFor([&taken, &bytes] { return taken >= bytes.size(); }))
        throw std::runtime_error("the program did not take what it was sent");
    QObject::disconnect(counting);
}
