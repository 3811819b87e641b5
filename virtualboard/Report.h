#pragma once

#include "virtualboard/Board.h"
#include "virtualboard/Verdict.h"

#include <QJsonObject>
#include <QString>

namespace vboard {

/// How far the job on `board` has come, in a few words.
[[nodiscard]] QString progressText(const Board& board, const ExpectedSet& set);

/// The verdict and what the board received, as a block of lines that starts with `title`.
[[nodiscard]] QString verdictText(const QString& title, const Verdict& verdict, const Board& board);

/// The same figures of one board, and those of its turnarounds, for a file.
[[nodiscard]] QJsonObject boardReport(
    const QString& name, const Verdict& verdict, const Board& board);

} // namespace vboard
