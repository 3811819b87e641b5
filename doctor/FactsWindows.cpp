// What there is to know of a Windows computer, from QSerialPortInfo, the list of devices and the
// registry.

#include "doctor/Facts.h"
#include "doctor/TimeLimit.h"
#include "serial/Adapter.h"

#include <QSerialPortInfo>
#include <QSettings>

#include <algorithm>
#include <array>

// In this order: the others need the first.
// clang-format off
#include <windows.h>
#include <cfgmgr32.h>
#include <setupapi.h>
// clang-format on

namespace doctor {

namespace {

/// A device of the FTDI chip. Its driver has two stages: the converter on the bus, and the serial
/// port.
struct Device
{
    QString id; ///< as in "FTDIBUS\VID_0403+PID_6001+A50285BIA\0000"
    int problem{0}; ///< Windows' number; 0 is none
    QString service; ///< the driver's
    QString portName; ///< empty: it is no port
    std::optional<int> latency; ///< ms

    [[nodiscard]] bool isPort() const
    {
        return id.startsWith(QLatin1StringView("FTDIBUS\\"), Qt::CaseInsensitive);
    }
};

bool hasFtdiChip(const QString& id)
{
    return id.startsWith(QLatin1StringView("USB\\VID_0403"), Qt::CaseInsensitive)
        || id.startsWith(QLatin1StringView("FTDIBUS\\"), Qt::CaseInsensitive);
}

int problemOf(DEVINST device)
{
    ULONG status = 0;
    ULONG problem = 0;
    const bool isKnown = CM_Get_DevNode_Status(&status, &problem, device, 0) == CR_SUCCESS;
    return isKnown && (status & DN_HAS_PROBLEM) != 0 ? static_cast<int>(problem) : 0;
}

/// The device of that id, which is there: of another, the registry would get a key.
Device deviceOf(const QString& id, int problem)
{
    const QSettings settings(
        QStringLiteral("HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Enum\\") + id,
        QSettings::NativeFormat);
    Device device{id, problem, settings.value(QStringLiteral("Service")).toString(),
        settings.value(QStringLiteral("Device Parameters/PortName")).toString(), {}};
    const QVariant latency = settings.value(QStringLiteral("Device Parameters/LatencyTimer"));
    if (latency.isValid())
        device.latency = latency.toInt();
    return device;
}

/// Those that are plugged in now.
QList<Device> ftdiDevices()
{
    QList<Device> devices;
    const HDEVINFO all
        = SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(all, index, &device) != FALSE; ++index) {
        std::array<wchar_t, MAX_DEVICE_ID_LEN> name{};
        if (SetupDiGetDeviceInstanceIdW(all, &device, name.data(), name.size(), nullptr) == FALSE)
            continue;
        const QString id = QString::fromWCharArray(name.data());
        if (hasFtdiChip(id))
            devices.append(deviceOf(id, problemOf(device.DevInst)));
    }
    SetupDiDestroyDeviceInfoList(all);
    return devices;
}

/// Closes the port again at once.
Access tryToOpen(const std::wstring& path)
{
    const HANDLE port = CreateFileW(
        path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (port == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_ACCESS_DENIED ? Access::Held : Access::Fails;
    CloseHandle(port);
    return Access::May;
}

Port portOf(const QSerialPortInfo& info, const QList<Device>& devices)
{
    Port port;
    port.name = info.portName();
    port.manufacturer = info.manufacturer();
    port.description = info.description();
    port.serialNumber = info.serialNumber();
    const auto device = std::ranges::find(devices, info.portName(), &Device::portName);
    if (device != devices.end()) {
        port.hasFtdiChip = true;
        port.driver = device->service;
        port.latency = device->latency;
    }
    // Of others none is opened: a Bluetooth port would dial, a board may restart.
    if (adapter::isOne(info)) {
        const std::wstring path = info.systemLocation().toStdWString();
        port.access
            = within<Access>(kPatience, [path] { return tryToOpen(path); }).value_or(Access::Hangs);
    }
    return port;
}

/// A chip with several channels is listed as a whole, by Windows' own driver, and by channel; and a
/// port that is well is among the ports.
bool isListedElsewhere(const Device& device)
{
    return device.service.compare(QLatin1StringView("usbccgp"), Qt::CaseInsensitive) == 0
        || (device.isPort() && device.problem == 0);
}

} // namespace

Facts factsOfThisComputer()
{
    Facts facts;
    facts.isWindows = true;
    const QList<Device> devices = ftdiDevices();
    const QList<QSerialPortInfo> infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos)
        facts.ports.append(portOf(info, devices));
    for (const Device& device : devices) {
        if (!isListedElsewhere(device))
            facts.usbProblems.append(device.problem);
    }
    return facts;
}

} // namespace doctor
