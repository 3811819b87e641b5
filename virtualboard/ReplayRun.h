#pragma once

#include "virtualboard/ReplayedBoard.h"
#include "virtualboard/ToolRun.h"

namespace vboard {

/// A run with the boards of a log, on which the program is to do what it did then.
class ReplayRun : public ToolRun
{
    Q_OBJECT

public:
    /// Reads the log at options.replay. Throws std::runtime_error with one line that says why when
    /// there is nothing to play in it.
    explicit ReplayRun(Options options);

protected:
    [[nodiscard]] bool addBoards() override;
    [[nodiscard]] QString boardName(int index) const override;
    [[nodiscard]] QStringList progressTexts() override;
    void look() override;
    [[nodiscard]] Judgement judgeBoards() override;

private:
    [[nodiscard]] std::vector<ReplayVerdict> verdicts();
    [[nodiscard]] QString portName(int index) const;

    RecordedLog m_log;
    std::vector<const ReplayedBoard*> m_boards; // the server's, looked at as its look() allows
    std::vector<bool> m_saidDifference;
};

} // namespace vboard
