#pragma once

#include "virtualboard/BoardModel.h"
#include "virtualboard/LineReader.h"
#include "virtualboard/RecordedLog.h"

#include <deque>

namespace vboard {

/// How a replay ended.
struct ReplayVerdict
{
    bool asRecorded = false;
    std::size_t linesPlayed = 0; ///< of those that the log shows the program to send
    std::size_t linesRecorded = 0;
    std::string difference; ///< the first, in words with the log's line; empty when as recorded
    std::vector<std::string> notes; ///< what was otherwise, and is no difference
};

/// The board of a log: it answers the lines of one port as the board did whose course was recorded.
///
/// A line of the program is held against the next one of the log: the same text, in the same order.
/// What came from the board after a line in the log comes as long after it now, what came before
/// any line as long after the port was opened, and nothing comes to a port that is closed: it waits
/// then. Each time that the port is opened for a job, the log's next job begins.
///
/// The program sends a line again by a tick of its own that is not the log's. One repeat more or
/// fewer than in the log is therefore noted and no difference, and an answer that came when a
/// repeat could have gone out comes shortly before that (see kLatest in ReplayedBoard.cpp).
///
/// After the first difference, and after the log's end, the board is silent.
class ReplayedBoard : public BoardModel
{
public:
    /// The rate at which the program opens a port for a job; another one within it.
    static constexpr int kJobBaudRate = 19200;

    explicit ReplayedBoard(RecordedPort port);

    void receive(std::string_view bytes, int baudRate, Time now) override;
    void portIsAt(int baudRate, Time now) override;
    [[nodiscard]] std::optional<Time> due() const override;
    [[nodiscard]] std::vector<Emission> takeDue(Time now) override;
    [[nodiscard]] int baudRate() const override { return 0; }
    /// True when the log has nothing more, or the program differs from it.
    [[nodiscard]] bool isFinished() const override;

    /// The first difference, in words with the log's line; empty while there is none.
    [[nodiscard]] const std::string& difference() const { return m_difference; }
    /// How far it came, and what it is worth if nothing more comes.
    [[nodiscard]] ReplayVerdict verdict() const;

private:
    struct Pending
    {
        Time due{};
        Emission::What what = Emission::What::Bytes;
        std::string bytes;
    };

    [[nodiscard]] bool isAnchor(std::size_t index) const;
    [[nodiscard]] bool expectsLine() const;
    void takeLine(const std::string& line, Time at);
    void takeUnexpected(const std::string& line, Time at);
    bool takeAfterMissingRepeat(const std::string& line, Time at);
    void takeAfterJob(const std::string& line, Time at);
    void follow(std::size_t index, Time at);
    void queue(const RecordedEvent& event, Time due);
    void push(Time due, Emission::What what, std::string bytes = {});
    void beginJob(Time now);
    [[nodiscard]] std::string missingLine(std::size_t from, std::size_t to) const;
    void differ(std::string difference);
    [[nodiscard]] std::optional<Time> refusalDue() const;
    [[nodiscard]] bool isHeld(const Pending& pending) const;
    [[nodiscard]] Time dueTime(const Pending& pending) const;

    RecordedPort m_recorded;
    LineReader m_reader;
    std::deque<Pending> m_pending;
    std::size_t m_next = 0; // the event that the program is to bring about next
    std::size_t m_job = 0; // where the job of now begins
    bool m_jobPlayed = false; // something of it has happened
    std::optional<std::size_t> m_lastLine; // the event of the line that came last in this job
    Time m_lineAt{}; // when it came
    bool m_repeatedMore = false; // that line
    std::optional<Time> m_jobEnds; // when the log's dialog was closed, in this job's time

    int m_portRate = 0;
    Time m_openedAt{};
    Time m_lastByte{};
    bool m_refuses;
    Time m_idleSince{};

    std::size_t m_linesPlayed = 0;
    std::string m_difference;
    std::vector<std::string> m_notes;
    std::size_t m_linesAfterJob = 0;
};

} // namespace vboard
