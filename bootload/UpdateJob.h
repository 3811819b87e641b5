#pragma once

#include "bootload/ImageFile.h"
#include "bootload/PortTest.h"
#include "bootload/Session.h"
#include "protocol/Line.h"

#include <QList>

#include <optional>

/// What a job needs of the world around it. The update dialog gives it.
class JobHost
{
public:
    JobHost() = default;
    virtual ~JobHost() = default;
    Q_DISABLE_COPY_MOVE(JobHost)

    /// Sends `line` on `port` with its checksum.
    virtual void Send(PortTest* port, protocol::Line line) = 0;
    /// Sends `line` on `port` as it is, with a line feed.
    virtual void SendPlain(PortTest* port, QByteArrayView line) = 0;
    /// Closes `port` once what was sent on it has left.
    virtual void CloseAfterSending(PortTest* port) = 0;
    /// Lets the session of every port take a step, in the order of the ports.
    virtual void StepAllPorts() = 0;

    /// Appends `text` to the log that the person sees.
    virtual void Report(const QString& text) = 0;
    /// `step` is 0 to `firmwareProgressSteps()`.
    virtual void ShowProgramProgress(int step) = 0;
    /// `bytes` of all images that are through; on the scale of the firmware while it is checked.
    virtual void ShowImageProgress(int bytes) = 0;
    /// `version` is the text that the board's application gives.
    virtual void ShowUnitVersion(const QString& version) = 0;
};

/// Progress steps of a whole firmware transfer.
[[nodiscard]] constexpr int firmwareProgressSteps()
{
    return 913414;
}

/// The progress step, 0 to `firmwareProgressSteps()` - 1, at which the firmware address `address`
/// stands.
[[nodiscard]] int firmwareProgress(int address);

/// What has to follow once a reply has been handled: the step of all ports, which sends the next
/// line, and after it the progress to show.
struct ReplyEffect
{
    bool acts = true; ///< false where the session is not where the reply acts
    bool stepAllPorts = false;
    std::optional<int> programProgress = {};
    std::optional<int> imageProgress = {};
};

/// One job: what each session does in its next step, and what the board's replies make of it. All
/// state is in the sessions' ports. Knows no window and no event loop: whoever owns it steps every
/// session each `kTickInterval` and hands it the lines that arrive.
class UpdateJob
{
public:
    /// A job of `mode` (`JobMode`) that sends `images`. Both `images` and `host` stay the caller's
    /// and outlive the job.
    UpdateJob(int mode, const QList<ImageFile>& images, JobHost& host);

    /// One step of the session of `port`: at most one line is sent.
    void Step(PortTest* port);

    /// Handles `line`, a whole and NUL-terminated one from the board on `port`.
    void TakeReply(PortTest* port, QByteArrayView line);

    /// The bytes of all images before the one at `index`; of all for an index past the last.
    [[nodiscard]] int BytesBefore(qsizetype index) const;

private:
    // One function a state, in the order of the states (UpdateJob.cpp)
    void StepLoad(PortTest* port);
    void StepStart(PortTest* port);
    void StepProbe(PortTest* port);
    void StepWaitForBootloader(PortTest* port);
    void StepEraseImages(PortTest* port); // Images.cpp
    void StepSendImages(PortTest* port); // Images.cpp
    void StepReopenFast(PortTest* port);
    void StepAskMainVersion(PortTest* port);
    void StepAskSecondVersion(PortTest* port);
    void StepAskForBootloader(PortTest* port);
    void StepEraseFromStart(PortTest* port);
    void StepFirmware(PortTest* port); // Firmware.cpp
    void StepFinish(PortTest* port);
    void FinishSession(PortTest* port);

    // One function a reply
    [[nodiscard]] ReplyEffect GotBootloader(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotGACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotMVERR(PortTest* port, QByteArrayView line);

    // The firmware (Firmware.cpp)
    static void LoadStartAddress(PortTest* port);
    static void OpenFirmware(PortTest* port);
    void ErasePage(PortTest* port);
    void SendDataLine(PortTest* port);
    void CheckFirmware(PortTest* port);
    void ProgramOrRefillPage(PortTest* port);
    void ProgramPage(PortTest* port);
    static void EndPage(PortTest* port);
    static void RefillPage(PortTest* port);
    [[nodiscard]] ReplyEffect GotEACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotDACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotPACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotCACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotVACK(PortTest* port, QByteArrayView line);

    // The images (Images.cpp)
    static void StartImages(PortTest* port);
    static void StartErasingImages(PortTest* port);
    void SendEraseImages(PortTest* port);
    void SendImageHeader(PortTest* port);
    void SendImageBlock(PortTest* port);
    void BlockStored(PortTest* port);
    void NextImage(PortTest* port);
    [[nodiscard]] int ImageProgress(const PortTest* port) const;
    [[nodiscard]] ReplyEffect GotIACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotFACK(PortTest* port, QByteArrayView line);
    [[nodiscard]] ReplyEffect GotAACK(PortTest* port, QByteArrayView line);

    int m_mode;
    const QList<ImageFile>& m_images;
    JobHost& m_host;
};

/// Field `index` of the reply `line`, cut at 64 characters; empty when it is absent. The result
/// points into `line`.
[[nodiscard]] QByteArrayView replyField(QByteArrayView line, int index);
