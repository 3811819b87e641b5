#pragma once

#include "virtualboard/BoardModel.h"
#include "virtualboard/Bootloader.h"
#include "virtualboard/FaultPlan.h"
#include "virtualboard/LineReader.h"
#include "virtualboard/SerialLine.h"
#include "virtualboard/Statistics.h"

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace vboard {

/// The firmware that a board has.
enum class Kind {
    Display, ///< answers "$MVER"; its bootloader talks at 921600 baud
    Service, ///< reports "$STATUS"; its bootloader talks at 115200 baud
};

struct BoardOptions
{
    Kind kind = Kind::Display;
    std::string version = "D.01a"; ///< the version that the application reports
    OwnTimes times;
    bool lineRate = false; ///< every byte takes its bit times, both ways
    Time adapterLatency{}; ///< of the USB adapter's timer; 0: none
    std::vector<FaultRule> faults;
    std::uint64_t seed = 1; ///< of the faults' random numbers
    std::vector<std::pair<std::uint32_t, std::uint32_t>> held; ///< images: number, version
};

/// A fault that took place.
struct AppliedFault
{
    Time at{};
    std::string rule;
    std::string line; ///< the line at which it applied
};

/// A line that was received or sent, or a note, for a transcript.
struct RecordedLine
{
    enum class Way { ToBoard, FromBoard, Note };

    Time at{};
    Way way = Way::Note;
    std::string text; ///< without line feed
};

/// A display board.
class Board : public BoardModel
{
public:
    explicit Board(BoardOptions options);

    void receive(std::string_view bytes, int baudRate, Time now) override;
    /// Lets the board do everything that is due until `now`.
    void advance(Time now);
    [[nodiscard]] std::optional<Time> due() const override;
    [[nodiscard]] std::vector<Emission> takeDue(Time now) override;

    /// `observer` is called with every line that is received or sent.
    void setObserver(std::function<void(const RecordedLine&)> observer)
    {
        m_observer = std::move(observer);
    }

    [[nodiscard]] Runs runs() const { return m_runs; }
    /// The rate that the running program talks at; 0 while the board boots.
    [[nodiscard]] int baudRate() const override;
    [[nodiscard]] const FlashMemory& flash() const { return m_flash; }
    [[nodiscard]] const ImageStore& images() const { return m_images; }
    [[nodiscard]] const Statistics& statistics() const { return m_statistics; }
    [[nodiscard]] const std::vector<AppliedFault>& appliedFaults() const { return m_appliedFaults; }
    /// True once the computer has ended the job, even if the board did not hear it.
    [[nodiscard]] bool isFinished() const override { return m_finished; }

private:
    struct Pending
    {
        Reply reply;
        bool faultsApplied = false;
    };

    void arrive(const Passed& arrival);
    void takeLine(std::string line, Time now);
    void execute(const Command& command, Time now);
    /// Applies the faults; returns false when the command is not to be heard.
    bool applyCommandFaults(std::string& line, Time now);
    bool apply(const FaultRule& rule, std::string& line, Time now);
    void carryOut(Outcome outcome, Time now);
    void sendReply(const Pending& pending);
    /// Applies the faults; returns false when the reply does not leave now.
    bool applyReplyFaults(const Reply& reply, std::string& bytes);
    bool apply(const FaultRule& rule, const Reply& reply, std::string& bytes);
    void note(const FaultRule& rule, std::string line, Time now);
    void queueLater(Reply reply, Time delay);
    void putOnLine(std::string bytes, Time now);
    void push(Emission emission);
    void queue(Reply reply);
    void boot(Runs program, Time now);
    void startProgram(Time now);
    /// The program that runs; null while the board boots.
    [[nodiscard]] BoardProgram* runningProgram() const;
    [[nodiscard]] bool isSilent(Time now) const { return m_silentUntil && now < *m_silentUntil; }
    [[nodiscard]] std::optional<Time> nextStep() const;
    void step(Time now);
    void record(RecordedLine::Way way, Time at, std::string_view text) const;

    BoardOptions m_options;
    FlashMemory m_flash;
    ImageStore m_images;
    std::unique_ptr<BoardProgram> m_application;
    std::unique_ptr<BoardProgram> m_bootloader;
    FaultPlan m_faults;
    Statistics m_statistics;
    std::vector<AppliedFault> m_appliedFaults;
    std::function<void(const RecordedLine&)> m_observer;

    LineReader m_reader;
    SerialLine m_line;
    std::multimap<Time, Pending> m_replies;
    std::multimap<Time, Emission> m_emissions;

    Runs m_runs = Runs::Nothing;
    Runs m_starts = Runs::Application; // what runs when the board has booted
    std::optional<Time> m_bootedAt;
    std::optional<Time> m_silentUntil;
    std::optional<Time> m_replyDelivered;
    bool m_finished = false;
};

} // namespace vboard
