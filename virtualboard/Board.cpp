#include "virtualboard/Board.h"

#include <algorithm>

namespace vboard {

namespace {

std::unique_ptr<BoardProgram> makeApplication(const BoardOptions& options)
{
    if (options.kind == Kind::Service)
        return std::make_unique<ServiceApplication>();
    return std::make_unique<DisplayApplication>(options.version);
}

int bootloaderRate(Kind kind)
{
    return kind == Kind::Service ? Bootloader::kSlowBaudRate : Bootloader::kBaudRate;
}

std::string wordOf(std::string_view line)
{
    return std::string(line.substr(1, line.find_first_of(",*", 1) - 1));
}

} // namespace

Board::Board(BoardOptions options)
    : m_options(std::move(options)), m_application(makeApplication(m_options)),
      m_bootloader(std::make_unique<Bootloader>(
          bootloaderRate(m_options.kind), m_options.times, m_flash, m_images)),
      m_faults(m_options.faults, m_options.seed),
      m_line(m_options.lineRate, m_options.adapterLatency)
{
    for (const auto& [number, version] : m_options.held)
        m_images.hold(number, version);
    // Switched on before the computer looks.
    m_bootedAt = Time::zero();
    advance(Time::zero());
}

int Board::baudRate() const
{
    const BoardProgram* const running = runningProgram();
    return running ? running->baudRate() : 0;
}

BoardProgram* Board::runningProgram() const
{
    switch (m_runs) {
    case Runs::Application:
        return m_application.get();
    case Runs::Bootloader:
        return m_bootloader.get();
    case Runs::Nothing:
        break;
    }
    return nullptr;
}

void Board::record(RecordedLine::Way way, Time at, std::string_view text) const
{
    if (m_observer)
        m_observer({at, way, std::string(text)});
}

void Board::receive(std::string_view bytes, int baudRate, Time now)
{
    if (m_replyDelivered && !bytes.empty()) {
        m_statistics.turnarounds.push_back(now - *m_replyDelivered);
        m_replyDelivered.reset();
    }
    m_statistics.bytesReceived += bytes.size();
    m_line.sendToBoard(bytes, baudRate, now);
    advance(now);
}

std::optional<Time> Board::nextStep() const
{
    std::optional<Time> next = m_line.due();
    takeEarlier(next, m_reader.due());
    takeEarlier(next, m_bootedAt);
    if (const BoardProgram* const running = runningProgram())
        takeEarlier(next, running->due());
    if (!m_replies.empty())
        takeEarlier(next, m_replies.begin()->first);
    return next;
}

std::optional<Time> Board::due() const
{
    std::optional<Time> next = nextStep();
    if (!m_emissions.empty())
        takeEarlier(next, m_emissions.begin()->first);
    return next;
}

void Board::advance(Time now)
{
    for (auto next = nextStep(); next && *next <= now; next = nextStep())
        step(*next);
}

void Board::step(Time now)
{
    if (const auto arrival = m_line.takeArrival(now)) {
        arrive(*arrival);
    } else if (auto line = m_reader.endBySilence(now)) {
        takeLine(std::move(*line), now);
    } else if (m_bootedAt && *m_bootedAt <= now) {
        startProgram(now);
    } else if (!m_replies.empty() && m_replies.begin()->first <= now) {
        const auto first = m_replies.extract(m_replies.begin());
        sendReply(first.mapped());
    } else if (auto departure = m_line.takeDeparture(now)) {
        push({departure->at, Emission::What::Bytes, std::move(departure->bytes),
            departure->baudRate});
    } else if (BoardProgram* const running = runningProgram();
               running && running->due() && *running->due() <= now) {
        carryOut(running->wake(now), now);
    }
}

void Board::arrive(const Passed& arrival)
{
    if (m_runs == Runs::Nothing || isSilent(arrival.at))
        return;
    if (arrival.baudRate != baudRate()) {
        m_statistics.bytesAtWrongRate += arrival.bytes.size();
        return;
    }
    for (std::string& line : m_reader.take(arrival.bytes, arrival.at))
        takeLine(std::move(line), arrival.at);
    m_statistics.strayInput = m_reader.strayInput();
}

void Board::takeLine(std::string line, Time now)
{
    record(RecordedLine::Way::ToBoard, now, line);
    m_finished = m_finished || wordOf(line) == "X";
    const bool heard = applyCommandFaults(line, now);
    // A fault may have changed the "$" itself: then this is no line any more.
    if (heard && line.front() == '$')
        execute(Command(std::move(line)), now);
}

void Board::execute(const Command& command, Time now)
{
    BoardProgram* const running = runningProgram();
    if (!running)
        return;
    if (command.check() == Check::Wrong) {
        ++m_statistics.badChecksums;
        record(RecordedLine::Way::Note, now, "wrong checksum");
        return;
    }
    m_statistics.count(command.word(), command.line(), now);
    carryOut(running->take(command, now), now);
}

void Board::carryOut(Outcome outcome, Time now)
{
    for (Reply& reply : outcome.replies)
        queue(std::move(reply));
    if (!outcome.ruleBroken.empty()) {
        ++m_statistics.rulesBroken[outcome.ruleBroken];
        record(RecordedLine::Way::Note, now, "not obeyed: " + outcome.ruleBroken);
    }
    if (outcome.next != Runs::Nothing)
        boot(outcome.next, now);
}

void Board::queue(Reply reply)
{
    const Time at = reply.at;
    m_replies.emplace(at, Pending{std::move(reply)});
}

void Board::sendReply(const Pending& pending)
{
    const Reply& reply = pending.reply;
    if (isSilent(reply.at) || m_runs == Runs::Nothing)
        return;
    std::string bytes = reply.checksum ? withChecksum(reply.body) : withoutChecksum(reply.body);
    if (!pending.faultsApplied) {
        record(RecordedLine::Way::FromBoard, reply.at,
            std::string_view(bytes).substr(0, bytes.size() - 1));
        if (!applyReplyFaults(reply, bytes))
            return;
    }
    m_statistics.countReply(reply.body, reply.at);
    putOnLine(std::move(bytes), reply.at);
}

void Board::putOnLine(std::string bytes, Time now)
{
    if (const int rate = baudRate(); rate > 0)
        m_line.sendToComputer(std::move(bytes), rate, now);
}

void Board::push(Emission emission)
{
    const Time due = emission.due;
    m_emissions.emplace(due, std::move(emission));
}

std::vector<Emission> Board::takeDue(Time now)
{
    advance(now);
    std::vector<Emission> due;
    while (!m_emissions.empty() && m_emissions.begin()->first <= now) {
        due.push_back(std::move(m_emissions.begin()->second));
        m_emissions.erase(m_emissions.begin());
        const std::string& bytes = due.back().bytes;
        m_statistics.bytesSent += bytes.size();
        if (!bytes.empty() && bytes.back() == '\n')
            m_replyDelivered = now;
    }
    return due;
}

void Board::boot(Runs program, Time now)
{
    m_runs = Runs::Nothing;
    m_starts = program;
    m_bootedAt = now + m_options.times.boot;
    m_replies.clear();
    m_reader.reset();
    m_flash.losePower();
    m_images.losePower();
    record(RecordedLine::Way::Note, now, "restarts");
}

void Board::startProgram(Time now)
{
    m_bootedAt.reset();
    // An incomplete firmware cannot be started: the bootloader runs and announces itself.
    const bool canStart = m_starts == Runs::Application && !m_flash.isIncomplete();
    m_runs = canStart ? Runs::Application : Runs::Bootloader;
    runningProgram()->start(now);
    record(RecordedLine::Way::Note, now, canStart ? "application runs" : "bootloader runs");
}

} // namespace vboard
