#pragma once

#include "tests/session/DialogFixture.h"
#include "tests/support/PortNames.h"
#include "virtualboard/UsbBus.h"

#include <vector>

/// A dialog on a mocked USB bus of FTDI adapters; the test is at the far end of each port.
class BusFixture final : public DialogFixture
{
public:
    explicit BusFixture(
        int mode = JobUpdate, int adapters = 1, const ReleaseSetFiles& files = smallReleaseSet());
    /// The same on adapters of the test's own.
    BusFixture(int mode, const std::vector<Adapter>& adapters,
        const ReleaseSetFiles& files = smallReleaseSet());
    // The dialog lets go of its ports before they are unplugged.
    ~BusFixture() override { closeDialog(); }
    BusFixture(const BusFixture&) = delete;
    BusFixture& operator=(const BusFixture&) = delete;

    [[nodiscard]] PluggedAdapter& adapter(int index = 0)
    {
        return *m_adapters.at(static_cast<std::size_t>(index));
    }

    /// Plugs in one more; a dialog that is open does not look for it.
    void plug(const Adapter& adapter) { m_adapters.push_back(m_bus.plug(adapter)); }

private:
    QByteArray takeSent(int index) override;
    void arrive(const QByteArray& bytes, int index) override;

    UsbBus m_bus;
    std::vector<std::unique_ptr<PluggedAdapter>> m_adapters;
};

/// `count` adapters by FTDI under names that no other process uses at this time.
[[nodiscard]] std::vector<Adapter> ftdiAdapters(int count);
