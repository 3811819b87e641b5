#include "virtualboard/UsbBus.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <umockdev.h>
#include <unistd.h>

namespace {

constexpr auto kPreload = "libumockdev-preload.so.0";
// A bus listing is sorted by path: numbers of equal width keep the order of plugging.
constexpr int kFirstSocket = 101;
constexpr int kTtyMajor = 188; // the kernel's number for USB serial ports

QByteArray hex4(quint16 value)
{
    return QByteArray::number(value, 16).rightJustified(4, '0');
}

/// udev replaces blanks in the names that it takes from a device.
QByteArray udevName(const QString& text)
{
    return QString(text).replace(QLatin1Char(' '), QLatin1Char('_')).toUtf8();
}

int portNumber(const QString& portName)
{
    qsizetype digits = portName.size();
    while (digits > 0 && portName.at(digits - 1).isDigit())
        --digits;
    return portName.mid(digits).toInt();
}

/// The texts as a list that ends with a null, as C has it; valid while `texts` lives.
std::vector<char*> pointers(const QByteArrayList& texts)
{
    std::vector<char*> list;
    list.reserve(static_cast<size_t>(texts.size()) + 1);
    for (const QByteArray& text : texts)
        list.push_back(const_cast<char*>(text.constData())); // the calls only read them
    list.push_back(nullptr);
    return list;
}

QProcessEnvironment preloading(QProcessEnvironment environment)
{
    QString preload = environment.value(QStringLiteral("LD_PRELOAD"));
    if (!preload.contains(QLatin1String(kPreload)))
        preload = QLatin1String(kPreload) + (preload.isEmpty() ? QString() : u':' + preload);
    environment.insert(QStringLiteral("LD_PRELOAD"), preload);
#ifdef __SANITIZE_ADDRESS__
    // The sanitizer demands to be the first library; it also works after the preloaded one.
    QString options = environment.value(QStringLiteral("ASAN_OPTIONS"));
    if (!options.contains(QLatin1String("verify_asan_link_order")))
        options += (options.isEmpty() ? QString() : QStringLiteral(":"))
            + QStringLiteral("verify_asan_link_order=0");
    environment.insert(QStringLiteral("ASAN_OPTIONS"), options);
#endif
    return environment;
}

} // namespace

struct UsbBus::Testbed
{
    Testbed() : handle(umockdev_testbed_new()) { }
    ~Testbed() { g_object_unref(handle); }
    Testbed(const Testbed&) = delete;
    Testbed& operator=(const Testbed&) = delete;

    [[nodiscard]] QString root() const
    {
        const std::unique_ptr<gchar, decltype(&g_free)> path(
            umockdev_testbed_get_root_dir(handle), &g_free);
        return QString::fromUtf8(path.get());
    }

    /// Adds a device and returns its path under /sys. Both lists are name, value, name, value...
    QByteArray add(const char* subsystem, const QByteArray& name, const QByteArray& parent,
        const QByteArrayList& attributes, const QByteArrayList& properties) const
    {
        std::vector<char*> attributeList = pointers(attributes);
        std::vector<char*> propertyList = pointers(properties);
        const std::unique_ptr<gchar, decltype(&g_free)> path(
            umockdev_testbed_add_devicev(handle, subsystem, name.constData(),
                parent.isEmpty() ? nullptr : parent.constData(), attributeList.data(),
                propertyList.data()),
            &g_free);
        return path.get();
    }

    UMockdevTestbed* handle;
};

UsbBus::UsbBus() : m_testbed(std::make_unique<Testbed>())
{
    QDir().mkpath(m_testbed->root() + QStringLiteral("/dev"));
}

UsbBus::~UsbBus() = default;

std::unique_ptr<PluggedAdapter> UsbBus::plug(const Adapter& adapter)
{
    std::unique_ptr<PluggedAdapter> plugged(
        new PluggedAdapter(*this, adapter, kFirstSocket + m_socketsUsed));
    ++m_socketsUsed;
    plugged->plugAgain();
    return plugged;
}

QProcessEnvironment UsbBus::environment() const
{
    QProcessEnvironment environment = preloading(QProcessEnvironment::systemEnvironment());
    environment.insert(QStringLiteral("UMOCKDEV_DIR"), m_testbed->root());
    return environment;
}

void UsbBus::startPreloaded(char** argv)
{
    const QProcessEnvironment own = QProcessEnvironment::systemEnvironment();
    const QProcessEnvironment wanted = preloading(own);
    if (own == wanted)
        return;
    QByteArrayList entries;
    const QStringList texts = wanted.toStringList();
    for (const QString& text : texts)
        entries << text.toLocal8Bit();
    execve("/proc/self/exe", argv, pointers(entries).data());
    throw std::runtime_error(std::string("cannot start anew: ") + strerror(errno));
}

void UsbBus::addDevices(PluggedAdapter& plugged)
{
    const Adapter& adapter = plugged.m_adapter;
    const QByteArray socket = "1-" + QByteArray::number(plugged.m_socket);
    const QByteArray port = adapter.portName.toUtf8();
    const QByteArray vendorId = hex4(adapter.vendorId);
    const QByteArray productId = hex4(adapter.productId);
    const QByteArray serial = adapter.serialNumber.toUtf8();
    const QByteArray driver = "ftdi_sio";

    const auto add = [&](const char* subsystem, const QByteArray& name,
                         const QByteArrayList& attributes, const QByteArrayList& properties) {
        plugged.m_paths.append(m_testbed->add(subsystem, name,
            plugged.m_paths.value(plugged.m_paths.size() - 1), attributes, properties));
    };
    add("usb", socket,
        {"idVendor", vendorId, "idProduct", productId, "manufacturer",
            adapter.manufacturer.toUtf8(), "product", adapter.description.toUtf8(), "serial",
            serial},
        {"DEVTYPE", "usb_device", "DRIVER", "usb"});
    add("usb", socket + ":1.0", {"bInterfaceNumber", "00"},
        {"DEVTYPE", "usb_interface", "DRIVER", driver});
    add("usb-serial", port, {"latency_timer", "1"}, {"DRIVER", driver});
    add("tty", port, {},
        {"DEVNAME", "/dev/" + port, "MAJOR", QByteArray::number(kTtyMajor), "MINOR",
            QByteArray::number(portNumber(adapter.portName)), "ID_BUS", "usb", "ID_VENDOR",
            udevName(adapter.manufacturer), "ID_VENDOR_ID", vendorId, "ID_MODEL",
            udevName(adapter.description), "ID_MODEL_ID", productId, "ID_SERIAL_SHORT", serial,
            "ID_USB_DRIVER", driver});

    linkNode(plugged, plugged.m_terminalPath);
}

void UsbBus::linkNode(const PluggedAdapter& plugged, const QString& target)
{
    const QString node = m_testbed->root() + QStringLiteral("/dev/") + plugged.portName();
    QFile::remove(node);
    if (!QFile::link(target, node))
        throw std::runtime_error(
            "cannot make the device node of " + plugged.portName().toStdString());
}

void UsbBus::removeDevices(PluggedAdapter& plugged)
{
    QFile::remove(m_testbed->root() + QStringLiteral("/dev/") + plugged.m_adapter.portName);
    umockdev_testbed_uevent(m_testbed->handle, plugged.m_paths.back().constData(), "remove");
    // The library does not remove the links of the children, so each device goes by itself...
    while (!plugged.m_paths.isEmpty())
        umockdev_testbed_remove_device(m_testbed->handle, plugged.m_paths.takeLast().constData());
    // ...nor, in any case, the links by which a bus names its devices.
    const QString buses = m_testbed->root() + QStringLiteral("/sys/bus/");
    const QString socket = QStringLiteral("usb/devices/1-%1").arg(plugged.m_socket);
    QFile::remove(buses + socket);
    QFile::remove(buses + socket + QStringLiteral(":1.0"));
    QFile::remove(buses + QStringLiteral("usb-serial/devices/") + plugged.m_adapter.portName);
}
