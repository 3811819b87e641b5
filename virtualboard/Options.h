#pragma once

#include "virtualboard/Board.h"
#include "virtualboard/Verdict.h"

#include <QString>
#include <QStringList>

namespace vboard {

/// What the command line asks for.
struct Options
{
    BoardOptions board;
    int boards = 1;
    std::optional<int> firstPort; ///< number of the first one; none: 0, or the names of the log
    QString serialPort; ///< a real port to serve instead of the mocked bus; empty: none
    QString releaseSet;
    std::optional<Job> expected;
    bool progress = false;
    bool window = false;
    QString pictures; ///< folder, empty: none
    QString record; ///< file, empty: none
    QString report; ///< file, empty: none
    QString replay; ///< the log whose boards are played, empty: none
    std::optional<Time> stopWhenDone;
    std::optional<Time> timeout;
    bool help = false;
    QStringList program; ///< with its arguments; empty: none

    /// Reads the arguments (without the program's own name). Throws std::runtime_error with one
    /// line that says why when they are not understood.
    [[nodiscard]] static Options parse(const QStringList& arguments);
    /// All options in a screenful. Needs the application object.
    [[nodiscard]] static QString helpText();
};

} // namespace vboard
