#pragma once

#include "virtualboard/UsbBus.h"

#include <memory>
#include <string>

namespace vboard {

/// The board's end of a serial line. Reading and writing never wait.
class BoardPort
{
public:
    /// What was read, and the rate in baud at which the computer had sent it; 0: unknown.
    struct Input
    {
        std::string bytes;
        int baudRate = 0;
    };

    BoardPort() = default;
    virtual ~BoardPort() = default;
    BoardPort(const BoardPort&) = delete;
    BoardPort& operator=(const BoardPort&) = delete;

    /// What to wait on for input; -1 while unplugged.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// Everything that can be read now.
    [[nodiscard]] virtual Input read() = 0;
    /// Sends at `baudRate`; what the computer cannot hear or does not take is lost.
    virtual void write(const std::string& bytes, int baudRate) = 0;
    /// The board talks at `baudRate` from now on.
    virtual void follow(int baudRate) = 0;
    /// The rate in baud that the program has set; 0: it holds no port, or that is not known.
    [[nodiscard]] virtual int rate() const { return 0; }
    virtual void unplug() = 0;
    virtual void plugIn() = 0;
    /// From now on nothing can open the port; a program that has it open keeps it.
    virtual void refuse() { }
    /// The path at which a program finds the port.
    [[nodiscard]] virtual QString path() const = 0;
};

/// A board at an adapter of the mocked bus. The rate is the one that the program has set.
class AdapterPort : public BoardPort
{
public:
    explicit AdapterPort(std::unique_ptr<PluggedAdapter> adapter);

    [[nodiscard]] int descriptor() const override { return m_adapter->masterFd(); }
    [[nodiscard]] Input read() override;
    void write(const std::string& bytes, int baudRate) override;
    void follow(int) override { }
    [[nodiscard]] int rate() const override;
    void unplug() override;
    void plugIn() override;
    void refuse() override { m_adapter->refuse(); }
    [[nodiscard]] QString path() const override { return m_adapter->terminalPath(); }

private:
    void prepare();
    int rateOfInput(int rateNow);

    std::unique_ptr<PluggedAdapter> m_adapter;
    int m_rate = PluggedAdapter::kIdleBaudRate; // that the program had set at the last read
};

/// A board on a serial port of this computer, for two computers and a cable.
class CablePort : public BoardPort
{
public:
    /// Opens the device at `path`; throws std::runtime_error when that fails.
    explicit CablePort(const QString& path);
    ~CablePort() override;

    [[nodiscard]] int descriptor() const override { return m_descriptor; }
    [[nodiscard]] Input read() override;
    void write(const std::string& bytes, int baudRate) override;
    void follow(int baudRate) override;
    void unplug() override;
    void plugIn() override;
    [[nodiscard]] QString path() const override { return m_path; }

private:
    void open();

    QString m_path;
    int m_descriptor = -1;
    int m_rate = 0;
};

} // namespace vboard
