#pragma once

#include "bootload/Images.h"

/// One job: what each session does in its next step and on the board's replies. All state is in the
/// sessions' ports. Knows no window, no event loop and no operation of a port: its owner steps
/// every session each `kTickInterval`, passes it the lines that arrive, and does what it returns.
class UpdateJob
{
public:
    /// A job of `mode` (`JobMode`) that sends `images`. Both stay the caller's, outlive the job and
    /// are read when they are needed.
    UpdateJob(const int& mode, const QList<ImageFile>& images);
    UpdateJob(int&& mode, const QList<ImageFile>& images) = delete;

    /// One step of the session of `port`: at most one line is sent.
    [[nodiscard]] Effect Step(PortTest& port) const;

    /// Handles `line`, a complete, NUL-terminated line from the board on `port`.
    [[nodiscard]] Effect TakeReply(PortTest& port, QByteArrayView line) const;

    /// The images of this job.
    [[nodiscard]] const Images& SentImages() const { return m_images; }

private:
    // One function for each state, in the order of the states (UpdateJob.cpp)
    [[nodiscard]] Effect StepLoad(PortTest& port) const;
    [[nodiscard]] static Effect StepStart(PortTest& port);
    [[nodiscard]] static Effect StepProbe(PortTest& port);
    [[nodiscard]] static Effect StepWaitForBootloader(PortTest& port);
    [[nodiscard]] static Effect StepReopenFast(PortTest& port);
    [[nodiscard]] static Effect StepAskMainVersion(PortTest& port);
    [[nodiscard]] static Effect StepAskSecondVersion(PortTest& port);
    [[nodiscard]] static Effect StepAskForBootloader(PortTest& port);
    [[nodiscard]] static Effect StepEraseFromStart(PortTest& port);
    [[nodiscard]] static Effect StepFinish(PortTest& port);

    // One function for each reply that belongs to no transfer
    [[nodiscard]] static Outcome GotBootloader(PortTest& port, QByteArrayView line);
    [[nodiscard]] static Outcome GotGACK(PortTest& port, QByteArrayView line);
    [[nodiscard]] static Outcome GotMVERR(PortTest& port, QByteArrayView line);

    /// Changes the state when a transfer is complete, and returns what is to be done.
    [[nodiscard]] static Effect GoOn(PortTest& port, Outcome outcome);

    const int& m_mode;
    Images m_images;
};
