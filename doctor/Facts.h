#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <chrono>
#include <optional>

namespace doctor {

/// How long a port may take to open.
inline constexpr std::chrono::seconds kPatience{3};

/// A program that holds a port.
struct Holder
{
    QString program;
    qint64 process{0};

    bool operator==(const Holder&) const = default;
};

/// What this user may do with a port.
enum class Access {
    NotAsked, ///< no adapter's port: of others none is opened
    May,
    MayNot,
    Held, ///< by a program that the system does not name
    Fails, ///< for any other reason
    Hangs, ///< longer than kPatience
};

/// What is known of a serial port.
struct Port
{
    QString name; ///< as a person writes it: "/dev/ttyUSB0", "COM3"
    QString manufacturer;
    QString description;
    QString serialNumber;
    QString driver; ///< empty when it is not known
    bool hasFtdiChip{false}; ///< Windows alone: there the manufacturer is the driver's
    std::optional<int> latency; ///< ms; none when the port has no timer, or Windows no setting
    Access access{Access::NotAsked};
    QString group; ///< Linux alone: whose members may open it
    QList<Holder> holders;
    bool hidesHolders{false}; ///< there may be others, of other users
    QString leftLock; ///< a lock file of a program that has ended, which this user cannot remove
};

/// A file of udev's that bears the rule's name.
struct RuleFile
{
    QString path;
    QByteArray content;
};

/// What was found on a computer. Plain values: ComputerRows.h says what they mean.
struct Facts
{
    bool isWindows{false};
    QString user;
    QList<Port> ports;
    /// The FTDI devices on the bus, as the driver's problem with each: 0 is none, and 28 on Windows
    /// that it has no driver.
    QList<int> usbProblems;
    QList<RuleFile> rules; ///< Linux alone: the one that counts first
};

/// Looks at this computer, changes nothing, and opens no port but adapters' ones. A port that hangs
/// costs kPatience.
[[nodiscard]] Facts factsOfThisComputer();

} // namespace doctor
