#pragma once

#include "virtualboard/Board.h"
#include "virtualboard/ExpectedSet.h"

#include <QString>
#include <QStringList>

namespace vboard {

enum class Job { Update, Images, Erase };

/// "update", "images" or "erase".
[[nodiscard]] QString jobName(Job job);
[[nodiscard]] std::optional<Job> jobOfName(const QString& name);

/// Whether a board ended as a job should leave it.
struct Verdict
{
    bool exact = false;
    std::optional<Job> job; ///< none when no line was received that shows it
    std::size_t pagesExact = 0;
    std::size_t imagesExact = 0;
    QStringList differences; ///< in words, the first ones of them; empty when exact
};

/// Judges `board`, which held the images `held` (number and version) before. Without `expected` the
/// job is the one that was received.
[[nodiscard]] Verdict judge(const Board& board, const ExpectedSet& set,
    const std::vector<std::pair<std::uint32_t, std::uint32_t>>& held, std::optional<Job> expected);

} // namespace vboard
