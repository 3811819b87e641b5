#pragma once

#include "bootload/ImageFile.h"
#include "bootload/PortTest.h"
#include "bootload/SeldomPaint.h"
#include "bootload/UpdateJob.h"
#include "protocol/WireText.h"

#include <QDialog>
#include <QElapsedTimer>
#include <QList>
#include <QTimer>

class DialogBootloadProbe;
class QLabel;
class QSerialPortInfo;
class Serial_Connect;
class Ui_DialogBootload;

/// The modal dialog that runs one job: it finds every FTDI port, loads the images of the
/// compiled-in release set, and steps the job's session on each port by a timer and by the board's
/// acknowledgements, until the user closes it.
class DialogBootload : public QDialog, public protocol::WireText
{
    Q_OBJECT

public:
    /// Builds the dialog with its ports and images. `serial` stays the caller's and is never
    /// called. `mode` is 0 to update software and images, 1 to update the images, 2 to erase them.
    DialogBootload(Serial_Connect* serial, int mode, QWidget* parent);
    ~DialogBootload() override;

    using QDialog::close;

    /// Opens every serial port whose USB manufacturer contains "FTDI" and appends it to the ports,
    /// opened or not.
    void FindPorts();

    /// Loads the image file `fileName` and appends it to the images under its number and version. A
    /// file that cannot be read gives an image without bytes.
    void AddImage(QString fileName, int imageName, int imageVersion);

    /// Reads a C-source image; see `parseImage`.
    void LoadImage(QByteArray text, ImageFile& image);

    /// Progress steps of a whole firmware transfer.
    int TotalSize();

    /// The progress step, 0 to `TotalSize()` - 1, of the firmware address `address`.
    int CurrentPosition(int address);

    /// Appends "*", the checksum of what follows the first "$" and a line feed to `line`, a buffer
    /// of 1000 bytes, in place and sends it. Without a "$", a NUL after it or room for what is
    /// appended, nothing is changed or sent.
    void AddCRC_nSend(PortTest* port, char* line);
    /// The same on a copy of `line`; a text of 994 bytes or more in UTF-8 is not sent.
    void AddCRC_nSend(PortTest* port, QString line);

    /// Appends a line feed to `line`, a buffer of 1000 bytes, in place and sends it without a
    /// checksum. Without a NUL and room for the line feed nothing is changed or sent.
    void nSend(PortTest* port, char* line);
    /// The same on a copy of `line`; a text of 999 bytes or more in UTF-8 is not sent.
    void nSend(PortTest* port, QString line);

    /// Sends a whole line; only its line feed is added where it is missing. An empty text sends
    /// nothing.
    void SendMessage(PortTest* port, QString line);

    /// One step of the session of `port`.
    void BootloadProcess(PortTest* port);

public slots:
    /// Steps the session of every port, in list order.
    void Timeout();
    /// Reads the port that sent the signal and handles every line that is complete.
    void readyRead();
    /// Handles one line from the board on `port`.
    void GotMessage(PortTest* port, QString Msg);
    /// Closes and frees every port, last to first. `i` is not used.
    void close(int i);

private:
    friend class DialogBootloadProbe;

    // Construction (DialogBootload.cpp)
    void ReadManifest();
    [[nodiscard]] QString Title() const;

    // What the job wants done (DialogBootload.cpp)
    void Apply(PortTest* port, Effect effect);
    void Report(const PortTest& port, const QString& text);
    void ShowProgress(const Effect& effect);
    void StepAllPorts();

    // Ports (Ports.cpp)
    void CapturePort(const QSerialPortInfo& info);
    static bool OpenPort(PortTest& port);
    [[nodiscard]] bool HasSeveralOpenPorts() const;
    static void CloseAfterSending(PortTest* port);

    // Framing (Framing.cpp)
    void Send(PortTest* port, protocol::Line line);
    void Write(PortTest* port, QByteArrayView bytes);

    QTimer timer;
    Ui_DialogBootload* ui;
    Serial_Connect* serial;
    QList<PortTest*> ports;
    QList<ImageFile> images;
    int mode;
    int txSpin = 0;
    int rxSpin = 0;
    // Prescribed: the fourth activity character is "-" again, so this is no turning bar.
    char spinChars[10] = {'-', '|', '/', '-'};
    QString version;

    /// Set once the ports are deleted; the list still holds their addresses.
    bool portsFreed = false;

    SeldomPaint painting{*this};

    UpdateJob job;
};
