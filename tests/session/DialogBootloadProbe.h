#pragma once

#include "bootload/DialogBootload.h"

/// What the tests look at inside a dialog.
class DialogBootloadProbe
{
public:
    explicit DialogBootloadProbe(DialogBootload& dialog) : m_dialog(dialog) { }

    [[nodiscard]] QTimer& timer() { return m_dialog.timer; }
    [[nodiscard]] const QList<PortTest*>& ports() const { return m_dialog.ports; }
    [[nodiscard]] const QList<ImageFile>& images() const { return m_dialog.images; }
    [[nodiscard]] QString version() const { return m_dialog.version; }
    [[nodiscard]] int mode() const { return m_dialog.mode; }
    [[nodiscard]] int txSpin() const { return m_dialog.txSpin; }
    [[nodiscard]] int rxSpin() const { return m_dialog.rxSpin; }

    /// Adds `port` as if it had been found: the dialog frees it when it is closed.
    void addPort(PortTest* port)
    {
        QObject::connect(port, SIGNAL(readyRead()), &m_dialog, SLOT(readyRead()));
        m_dialog.ports.append(port);
    }

private:
    DialogBootload& m_dialog;
};
