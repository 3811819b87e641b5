#pragma once

#include "tests/session/SmallBoard.h"

#include <QStringList>

/// A job that is small enough to go through all of its courses.
struct SmallJob
{
    /// Where its session begins: at the first probing line, at the firmware's last pages, or in the
    /// step that begins the images or the erasing.
    enum class Begin { Probe, Firmware, Images, Erase };

    Begin begin = Begin::Images;
    SmallBoardKind board;
    int images = 1;
    qint32 blocks = 2; ///< of each image
    int held = 0; ///< images that the board has already
    /// True when boards at other ports hurry this one: between any two events more steps are taken
    /// than any wait lasts.
    bool hurried = false;

    /// Those that begin at the probe go on with the erasing.
    [[nodiscard]] bool erases() const { return begin == Begin::Erase || begin == Begin::Probe; }
};

/// What may go wrong on the line in one course.
struct Faults
{
    int faults = 0; ///< lines lost, answers lost, answers late by 1 to 21 steps
    int doubled = 0; ///< answers that arrive twice
};

/// What has been found by going through all courses of a small job.
struct Exploration
{
    std::size_t worlds = 0; ///< that were gone through, each once
    int wrong = 0; ///< courses that say "Bootload Complete" over a board that is not exact
    int endless = 0; ///< courses that come back to where they were
    QStringList course; ///< the shortest of those, event by event
};

/// Goes through every course of `job` with at most `faults`: the program's own session against a
/// small board. A course ends with "Bootload Complete", or it is endless.
[[nodiscard]] Exploration explore(const SmallJob& job, Faults faults);

/// The release set that is explored, for a `ReleaseSetFixture`: every byte of the firmware is the
/// number of its page.
[[nodiscard]] QByteArray exploredFirmware();
