#pragma once

#include <QByteArrayList>
#include <QProcessEnvironment>
#include <QString>

#include <memory>
#include <vector>

/// What a serial adapter says about itself on the USB bus.
struct Adapter
{
    QString portName; ///< e.g. "ttyUSB7"; one port of that name may be plugged at a time
    QString manufacturer = QStringLiteral("FTDI");
    QString description = QStringLiteral("FT232R USB UART");
    quint16 vendorId = 0x0403;
    quint16 productId = 0x6001;
    QString serialNumber = QStringLiteral("A10K0001");
};

class UsbBus;

/// A serial adapter on the mocked bus: a pseudo terminal at /dev/<portName>.
///
/// What is written to masterFd() is what the program under test reads from its port, and the other
/// way round. The far end is kept open here as well, so that reading the master blocks instead of
/// failing while no program holds the port. Unplugs itself when destroyed.
class PluggedAdapter
{
public:
    ~PluggedAdapter();
    PluggedAdapter(const PluggedAdapter&) = delete;
    PluggedAdapter& operator=(const PluggedAdapter&) = delete;

    /// The rate, in baud, that an adapter's port shows while no program has set one.
    static constexpr int kIdleBaudRate = 50;

    [[nodiscard]] const Adapter& adapter() const { return m_adapter; }
    [[nodiscard]] QString portName() const { return m_adapter.portName; }
    /// The path of the pseudo terminal itself, usable without the mocked bus; empty when unplugged.
    [[nodiscard]] QString terminalPath() const { return m_terminalPath; }
    [[nodiscard]] bool isPlugged() const { return m_master >= 0; }
    /// The board's end, owned here; -1 when unplugged. Blocking unless the caller changes that.
    [[nodiscard]] int masterFd() const { return m_master; }
    /// The rate in baud that the program has set, 0 when unplugged or when it is no known rate.
    [[nodiscard]] int baudRate() const;
    /// Drops what was sent to the program and not read by it yet.
    void discardUnread();

    /// Takes the adapter off the bus: the open port hangs up and the device is gone from the list.
    /// Does nothing when it is not plugged.
    void unplug();
    /// Plugs it into the same socket again, with a new pseudo terminal.
    /// Throws std::runtime_error when the system has no pseudo terminal to give.
    void plugAgain();
    /// From now on nothing can open the port, as if there were no right to; it stays on the bus.
    void refuse();

private:
    friend class UsbBus;
    PluggedAdapter(UsbBus& bus, Adapter adapter, int socket);
    void openTerminal();
    void closeTerminal();

    UsbBus& m_bus;
    Adapter m_adapter;
    int m_socket;
    int m_master = -1;
    int m_slave = -1;
    QString m_terminalPath;
    QByteArrayList m_paths; // of its devices under /sys, each the parent of the next; the tty last
};

/// A mocked USB bus with serial adapters, seen by every process that runs with environment(), and
/// by this process too when it was itself started with the preloaded library.
///
/// Adapters are listed in the order in which they were first plugged. The bus must outlive them.
class UsbBus
{
public:
    UsbBus();
    ~UsbBus();
    UsbBus(const UsbBus&) = delete;
    UsbBus& operator=(const UsbBus&) = delete;

    /// Plugs in an adapter. Throws std::runtime_error when no pseudo terminal can be made.
    [[nodiscard]] std::unique_ptr<PluggedAdapter> plug(const Adapter& adapter);

    /// This process's environment with what a child needs to see the bus.
    [[nodiscard]] QProcessEnvironment environment() const;

    /// Starts this process anew with the preloaded library, unless it runs with it already; `argv`
    /// as main() got it. To be called first of all. Returns when there is nothing left to do;
    /// throws std::runtime_error when the start fails.
    static void startPreloaded(char** argv);

private:
    friend class PluggedAdapter;
    struct Testbed;
    void addDevices(PluggedAdapter& plugged);
    void removeDevices(PluggedAdapter& plugged);
    void linkNode(const PluggedAdapter& plugged, const QString& target);

    std::unique_ptr<Testbed> m_testbed;
    int m_socketsUsed = 0;
};
