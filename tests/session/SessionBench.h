#pragma once

#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/session/DialogBootloadProbe.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/PortNames.h"
#include "tests/support/Reference.h"
#include "virtualboard/UsbBus.h"

#include <QLabel>
#include <QMap>
#include <QProgressBar>
#include <QTextEdit>

#include <memory>
#include <vector>

using namespace protocol;

/// The numbers of a session by name, and what its port and file stand on: "isOpen", "baudRate" and
/// "fileOpen".
using SessionFields = QMap<QByteArray, qint32>;

/// A dialog on a mocked bus of FTDI adapters, with its timer stopped: the test steps the sessions
/// and plays the board at the far end of each port.
class SessionBench
{
public:
    explicit SessionBench(
        int mode = JobUpdate, int adapters = 1, const ReleaseSetFiles& files = smallReleaseSet());
    /// The same on adapters of the test's own.
    SessionBench(int mode, const std::vector<Adapter>& adapters,
        const ReleaseSetFiles& files = smallReleaseSet());
    ~SessionBench();
    SessionBench(const SessionBench&) = delete;
    SessionBench& operator=(const SessionBench&) = delete;

    [[nodiscard]] DialogBootload& dialog() { return *m_dialog; }
    [[nodiscard]] DialogBootloadProbe probe() { return DialogBootloadProbe(*m_dialog); }
    [[nodiscard]] Serial_Connect& service() { return m_service; }
    [[nodiscard]] PortTest& port(int index = 0) { return *probe().ports().at(index); }
    [[nodiscard]] PluggedAdapter& adapter(int index = 0)
    {
        return *m_adapters.at(static_cast<std::size_t>(index));
    }

    /// Deletes the dialog, as the main window does after it has run.
    void closeDialog();
    /// Opens another dialog in `mode` on the same bus.
    void openDialog(int mode);
    /// True when the dialog's timer was running as its constructor left it.
    [[nodiscard]] bool timerWasStarted() const { return m_timerWasStarted; }

    /// Lets the timer tick `count` times.
    void step(int count = 1);
    /// Everything that has come out of the port's far end since the last call.
    [[nodiscard]] QByteArray sent(int index = 0);
    /// Hands `line` to the dialog as a whole line from the board.
    void reply(const QByteArray& line, int index = 0);
    /// Sends `bytes` from the far end and waits until the program has taken them.
    void receive(const QByteArray& bytes, int index = 0);

    /// Takes a session to the step in which it waits for the answer to its first line in the
    /// bootloader (mode 0: the erased page, mode 1: the first header, mode 2: the erased images),
    /// with nothing left unread.
    void enterBootloader(int index = 0);

    /// All fields of a session.
    [[nodiscard]] SessionFields fields(int index = 0);
    /// Gives a session's numbers these values. Throws std::out_of_range for any other name.
    void setFields(const SessionFields& values, int index = 0);

    [[nodiscard]] QLabel& label(const char* name) const;
    [[nodiscard]] QString labelText(const char* name) const;
    [[nodiscard]] QProgressBar& bar(const char* name) const;
    [[nodiscard]] QString log() const;

private:
    ReleaseSetFixture m_set;
    UsbBus m_bus;
    std::vector<std::unique_ptr<PluggedAdapter>> m_adapters;
    QSerialPort m_servicePort;
    Settings m_settings;
    Serial_Connect m_service;
    std::unique_ptr<DialogBootload> m_dialog;
    bool m_timerWasStarted = false;
};

using reference::framed;
using reference::framedAll;

/// `fields` with the values of `changes`. Throws std::out_of_range for an unknown name.
[[nodiscard]] SessionFields with(SessionFields fields, const SessionFields& changes);

/// `fields` in one line, for comparing.
[[nodiscard]] QString toText(const SessionFields& fields);

/// `count` adapters by FTDI under names that no other process uses at this time.
[[nodiscard]] std::vector<Adapter> ftdiAdapters(int count);
