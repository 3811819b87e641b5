#pragma once

#include "virtualboard/ToolRun.h"
#include "virtualboard/Transcript.h"
#include "virtualboard/WatchWindow.h"

namespace vboard {

/// A run with display boards, which are to end with a release set.
class JobRun : public ToolRun
{
    Q_OBJECT

public:
    JobRun(Options options, ExpectedSet set);
    ~JobRun() override;

protected:
    [[nodiscard]] bool addBoards() override;
    [[nodiscard]] QString boardName(int index) const override;
    [[nodiscard]] QStringList progressTexts() override;
    [[nodiscard]] Judgement judgeBoards() override;

private:
    void addBoard(int index, std::unique_ptr<BoardPort> port);
    void show(int index, const Verdict& verdict, const Board& board) const;
    void writeReport(const QJsonObject& report) const;

    ExpectedSet m_set;
    Transcript m_transcript;
    std::unique_ptr<WatchWindow> m_window;
    std::vector<const Board*> m_boards; // the server's, looked at only as its look() allows
};

} // namespace vboard
