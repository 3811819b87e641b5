#pragma once

#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/session/DialogBootloadProbe.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/Reference.h"

#include <QLabel>
#include <QMap>
#include <QProgressBar>
#include <QTextEdit>

#include <memory>

using reference::framed;
using reference::framedAll;

/// The numbers of a session by name, and what else its port shows: "isOpen", "baudRate" and
/// "fileOpen".
using SessionFields = QMap<QByteArray, qint32>;

/// A dialog with its timer stopped: the test steps the sessions and plays the board. A derived
/// class gives it ports: in memory (`SessionFixture`) or on a mocked USB bus (`BusFixture`).
class DialogFixture
{
public:
    virtual ~DialogFixture() { closeDialog(); }
    DialogFixture(const DialogFixture&) = delete;
    DialogFixture& operator=(const DialogFixture&) = delete;

    [[nodiscard]] DialogBootload& dialog() { return *m_dialog; }
    [[nodiscard]] DialogBootloadProbe probe() { return DialogBootloadProbe(*m_dialog); }
    [[nodiscard]] Serial_Connect& service() { return m_service; }
    [[nodiscard]] PortTest& port(int index = 0) { return *probe().ports().at(index); }

    /// Deletes the dialog, as the main window does after it has run.
    void closeDialog();
    /// Opens another dialog in `mode`, with ports of its own.
    void openDialog(int mode);
    /// True when the dialog's timer was running as its constructor left it.
    [[nodiscard]] bool timerWasStarted() const { return m_timerWasStarted; }

    /// Lets the timer tick `count` times.
    void step(int count = 1);
    /// Everything that the port has sent since the last call.
    [[nodiscard]] QByteArray sent(int index = 0) { return takeSent(index); }
    /// Hands `line` to the dialog as a whole line from the board.
    void reply(const QByteArray& line, int index = 0);
    /// Lets `bytes` arrive at the port; the program has taken them when this returns.
    void receive(const QByteArray& bytes, int index = 0) { arrive(bytes, index); }

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

protected:
    explicit DialogFixture(const ReleaseSetFiles& files);

private:
    /// Gives a dialog that has just been made the ports that it did not find itself.
    virtual void addPorts() { }
    virtual QByteArray takeSent(int index) = 0;
    virtual void arrive(const QByteArray& bytes, int index) = 0;

    ReleaseSetFixture m_set;
    QSerialPort m_servicePort;
    Settings m_settings;
    Serial_Connect m_service;
    std::unique_ptr<DialogBootload> m_dialog;
    bool m_timerWasStarted = false;
};

/// `fields` with the values of `changes`. Throws std::out_of_range for an unknown name.
[[nodiscard]] SessionFields with(SessionFields fields, const SessionFields& changes);

/// `fields` in one line, for comparing.
[[nodiscard]] QString toText(const SessionFields& fields);
