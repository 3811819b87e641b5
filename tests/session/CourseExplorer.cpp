#include "tests/session/CourseExplorer.h"

#include "bootload/CompiledSet.h"
#include "protocol/Commands.h"
#include "protocol/WireText.h"

#include <QHash>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr int kMostLateSteps = 21;
constexpr qint32 kLastLinesOfFirstPage = 4;
/// More than any wait of a session, but for that of an erasing that goes on.
constexpr int kHurriedSteps = 24;

/// A session's numbers that change in a job.
constexpr qint32 PortTest::*kNumbers[]
    = {&PortTest::state, &PortTest::flashAddress, &PortTest::phase, &PortTest::fwStep,
        &PortTest::retries, &PortTest::ticks, &PortTest::imageIndex, &PortTest::imageOffset,
        &PortTest::imageStep, &PortTest::imageWait, &PortTest::blockNumber, &PortTest::pageRefills};

struct Answer
{
    QByteArray text;
    bool fast = true; ///< at the bootloader's speed
};

struct Sent
{
    ShortLine line;
    bool fast = true;
};

/// All that decides how a course goes on.
struct World
{
    std::array<qint32, std::size(kNumbers)> numbers{};
    SentLine awaited;
    SurplusAnswers surplusHeldImages;
    SurplusAnswers surplusStoredBlocks;
    bool pageUncertain = false;
    bool isOpen = true;
    bool fast = true;

    SmallBoard board;
    QList<Sent> toBoard;
    QList<Answer> toSession;
    int late = 0; ///< steps until the first answer arrives
    bool wasLate = false; ///< the first answer has had its fault
    Faults left;
};

struct Fault
{
    enum class What { None, LineLost, AnswerLost, AnswerLate, AnswerDoubled };

    int event = 0; ///< before which it happens
    What what = What::None;
    int steps = 0;
};

using Course = std::vector<Fault>;

/// 128 bits of a world: two of a million are not taken for one.
struct Digest
{
    std::size_t first = 0;
    std::size_t second = 0;
    bool operator==(const Digest&) const = default;
};

struct DigestHash
{
    std::size_t operator()(const Digest& digest) const { return digest.first; }
};

template <typename Value> void appendValue(QByteArray& state, const Value& value)
{
    state.append(reinterpret_cast<const char*>(&value), sizeof value);
}

Digest digestOf(const World& world)
{
    // How often a line was sent matters up to here: no more answers than that are under way.
    constexpr int kMostTimes = 8;
    QByteArray state;
    state.reserve(1024);
    appendValue(state, world.numbers);
    for (const int value : {static_cast<int>(world.awaited.kind()), int{world.awaited.number()},
             qMin(world.awaited.times(), kMostTimes), world.surplusHeldImages.count(),
             world.surplusStoredBlocks.count(), int{world.surplusStoredBlocks.number()}, world.late,
             world.left.faults, world.left.doubled})
        appendValue(state, value);
    for (const bool value : {world.pageUncertain, world.isOpen, world.fast, world.wasLate})
        appendValue(state, value);
    for (const Sent& sent : world.toBoard)
        state += QByteArray(1, sent.line.word) + QByteArray::number(sent.line.number) + ','
            + QByteArray::number(sent.line.content) + (sent.fast ? '\n' : '\r');
    state += '|';
    for (const Answer& answer : world.toSession)
        state += answer.text + (answer.fast ? '\n' : '\r');
    world.board.appendTo(state);
    const auto size = static_cast<std::size_t>(state.size());
    return {qHashBits(state.constData(), size, 1), qHashBits(state.constData(), size, 2)};
}

ShortLine shortLine(QByteArrayView line)
{
    const auto number = [line](int index) {
        return static_cast<qint32>(
            protocol::hexValue(protocol::field(line, index).value_or(QByteArrayView())));
    };
    const char word = line.at(1);
    const bool carriesBytes = word == 'D' || word == 'F';
    return {word, number(1), carriesBytes ? number(2) : 0};
}

QString textOf(const ShortLine& line)
{
    return QStringLiteral("$%1,%2").arg(QLatin1Char(line.word)).arg(line.number, 0, 16).toUpper();
}

/// The program's session on a port in memory, taken from world to world.
class Session final : public JobHost
{
public:
    explicit Session(const SmallJob& job)
        : m_small(job),
          m_job(job.begin == SmallJob::Begin::Erase || job.begin == SmallJob::Begin::Probe
                  ? JobEraseImages
                  : JobUpdate,
              m_images, *this)
    {
        for (int index = 0; index < job.images; ++index) {
            const QByteArray data(job.blocks * protocol::kBlockSize, static_cast<char>(index));
            m_images.append({data, 16, 16, index, 1});
        }
        m_port.file.setFileName(kResourcePrefix + kFirmwareFile);
        if (!m_port.file.open(QIODevice::ReadOnly))
            qFatal("no firmware to explore with");
    }

    World firstWorld(Faults faults)
    {
        using Begin = SmallJob::Begin;
        World world;
        load({});
        m_port.close();
        world.left = faults;
        m_port.setBaudRate(protocol::kBootloaderBaudRate);
        m_port.phase = PhaseWriting;
        switch (m_small.begin) {
        case Begin::Probe:
            m_port.setBaudRate(protocol::kApplicationBaudRate);
            m_port.state = StateStart;
            m_port.phase = PhaseNotCaptured;
            world.board.inBootloader = false;
            world.board.captured = false;
            break;
        case Begin::Firmware:
            beginFirmware(world);
            break;
        case Begin::Images:
            m_port.state = StateSendImages;
            m_port.imageStep = ImageRestart;
            break;
        case Begin::Erase:
            m_port.state = StateEraseImages;
            m_port.imageWait = 1;
            break;
        }
        const bool hasImages = m_small.begin == Begin::Erase || m_small.begin == Begin::Probe;
        for (int image = 0; image < (hasImages ? m_small.images : m_small.held); ++image)
            world.board.images.at(static_cast<std::size_t>(image)).blocks
                = static_cast<qint16>(m_small.blocks);
        m_port.beOpen();
        save(world);
        return world;
    }

    /// Each lets `world` go on, and returns whether the job has ended by that.
    bool step(World& world)
    {
        load(world);
        m_job.Step(&m_port);
        return finish(world);
    }
    bool take(World& world, const QByteArray& answer)
    {
        load(world);
        m_job.TakeReply(&m_port, answer);
        return finish(world);
    }

    void Send(PortTest*, protocol::Line line) override { note(line.view()); }
    void SendPlain(PortTest*, QByteArrayView line) override { note(line); }
    void CloseAfterSending(PortTest* port) override { port->close(); }
    void StepAllPorts() override { m_job.Step(&m_port); }
    void Report(const QString& text) override
    {
        m_ended = m_ended || text == QLatin1StringView("Bootload Complete");
    }
    void ShowProgramProgress(int) override { }
    void ShowImageProgress(int) override { }
    void ShowUnitVersion(const QString&) override { }

private:
    /// In the midst of the last page but one.
    void beginFirmware(World& world)
    {
        using protocol::kDataLineSize;
        m_port.state = StateFirmware;
        m_port.fwStep = FirmwareData;
        m_port.ticks = kDataTicks;
        m_port.flashAddress
            = SmallBoard::kFirstPage + protocol::kPageSize - kLastLinesOfFirstPage * kDataLineSize;
        world.board.flash.front().fill(SmallBoard::kErased);
        world.board.buffer.fill(SmallBoard::kErased);
        world.board.openPage = SmallBoard::kFirstPage;
        constexpr auto kPageNumber
            = static_cast<qint16>(SmallBoard::kFirstPage / protocol::kPageSize);
        std::fill_n(
            world.board.buffer.begin(), SmallBoard::kLines - kLastLinesOfFirstPage, kPageNumber);
    }

    void note(QByteArrayView line)
    {
        if (m_port.isOpen())
            m_sent.append({shortLine(line), isFast()});
    }
    [[nodiscard]] bool isFast() const { return m_port.baudRate() == protocol::kBootloaderBaudRate; }

    void load(const World& world)
    {
        for (std::size_t i = 0; i < std::size(kNumbers); ++i)
            m_port.*kNumbers[i] = world.numbers.at(i);
        m_port.awaited = world.awaited;
        m_port.surplusHeldImages = world.surplusHeldImages;
        m_port.surplusStoredBlocks = world.surplusStoredBlocks;
        m_port.pageUncertain = world.pageUncertain;
        m_port.close();
        if (world.fast != isFast())
            m_port.setBaudRate(
                world.fast ? protocol::kBootloaderBaudRate : protocol::kApplicationBaudRate);
        if (world.isOpen)
            m_port.beOpen();
    }
    void save(World& world)
    {
        for (std::size_t i = 0; i < std::size(kNumbers); ++i)
            world.numbers.at(i) = m_port.*kNumbers[i];
        world.awaited = m_port.awaited;
        world.surplusHeldImages = m_port.surplusHeldImages;
        world.surplusStoredBlocks = m_port.surplusStoredBlocks;
        world.pageUncertain = m_port.pageUncertain;
        world.fast = isFast();
        world.isOpen = m_port.isOpen();
        world.toBoard += std::exchange(m_sent, {});
    }
    bool finish(World& world)
    {
        if (m_small.hurried)
            hurry();
        save(world);
        return std::exchange(m_ended, false);
    }
    /// What the answers of boards at other ports do to this session.
    void hurry()
    {
        for (int i = 0; i < kHurriedSteps && !m_ended; ++i) {
            m_port.awaited.setUnanswerableFor(std::chrono::hours(1));
            m_job.Step(&m_port);
        }
        m_port.awaited.setUnanswerableFor({});
    }

    SmallJob m_small;
    QList<ImageFile> m_images;
    MemoryPort<PortTest> m_port;
    UpdateJob m_job;
    QList<Sent> m_sent;
    bool m_ended = false;
};

class Explorer
{
public:
    explicit Explorer(const SmallJob& job) : m_small(job), m_session(job) { }

    Exploration explore(Faults faults)
    {
        const World first = m_session.firstWorld(faults);
        m_open.push_back({first, {}, 0});
        while (!m_open.empty()) {
            Branch branch = std::move(m_open.back());
            m_open.pop_back();
            follow(std::move(branch));
        }
        m_found.worlds = m_seen.size();
        if (m_shortest)
            m_found.course = tell(m_session.firstWorld(faults), *m_shortest);
        return m_found;
    }

private:
    enum class End { GoesOn, Exact, Wrong };

    struct Branch
    {
        World world;
        Course course;
        int event = 0;
    };

    /// Follows a course on which nothing more goes wrong, leaving a branch for all that may.
    void follow(Branch branch)
    {
        ++m_run;
        for (;;) {
            const auto [seen, isNew] = m_seen.try_emplace(digestOf(branch.world), m_run);
            if (!isNew) {
                if (seen->second == m_run)
                    note(m_found.endless, branch);
                return;
            }
            branchOff(branch);
            const End end = goOn(branch.world);
            ++branch.event;
            if (end == End::Wrong)
                note(m_found.wrong, branch);
            if (end != End::GoesOn)
                return;
        }
    }

    void note(int& count, const Branch& branch)
    {
        ++count;
        if (!m_shortest || branch.course.size() < m_shortest->size()
            || (branch.course.size() == m_shortest->size() && branch.event < m_shortestEvents)) {
            m_shortest = branch.course;
            m_shortestEvents = branch.event;
        }
    }

    void branchOff(const Branch& branch)
    {
        using What = Fault::What;
        const World& world = branch.world;
        const bool faulty = world.left.faults > 0;
        if (!world.toBoard.isEmpty()) {
            if (faulty)
                open(branch, {branch.event, What::LineLost});
        } else if (!world.toSession.isEmpty() && !world.wasLate) {
            if (world.left.doubled > 0)
                open(branch, {branch.event, What::AnswerDoubled});
            if (!faulty)
                return;
            open(branch, {branch.event, What::AnswerLost});
            for (int steps = 1; steps <= kMostLateSteps; ++steps)
                open(branch, {branch.event, What::AnswerLate, steps});
        }
    }

    void open(const Branch& branch, const Fault& fault)
    {
        Branch next = branch;
        next.course.push_back(fault);
        strike(next.world, fault);
        m_open.push_back(std::move(next));
    }

    static void strike(World& world, const Fault& fault)
    {
        --(fault.what == Fault::What::AnswerDoubled ? world.left.doubled : world.left.faults);
        switch (fault.what) {
        case Fault::What::LineLost:
            world.toBoard.removeFirst();
            break;
        case Fault::What::AnswerLost:
            world.toSession.removeFirst();
            break;
        case Fault::What::AnswerLate:
            world.late = fault.steps;
            world.wasLate = true;
            break;
        case Fault::What::AnswerDoubled:
            world.toSession.insert(1, Answer(world.toSession.first()));
            break;
        case Fault::What::None:
            break;
        }
    }

    /// The next event: a line reaches the board, an answer the session, or time passes.
    End goOn(World& world)
    {
        bool ended = false;
        if (!world.toBoard.isEmpty()) {
            const Sent sent = world.toBoard.takeFirst();
            if (sent.fast == world.board.inBootloader)
                answer(world, sent.line);
        } else if (!world.toSession.isEmpty() && world.late == 0) {
            const Answer answer = world.toSession.takeFirst();
            world.wasLate = false;
            if (world.isOpen && answer.fast == world.fast)
                ended = m_session.take(world, answer.text);
        } else {
            ended = m_session.step(world);
            world.late = qMax(world.late - 1, 0);
            QByteArrayList answers;
            world.board.tick(m_small.board, answers);
            append(world, answers);
        }
        if (!ended)
            return End::GoesOn;
        return isExact(world.board) ? End::Exact : End::Wrong;
    }

    void answer(World& world, const ShortLine& line) const
    {
        QByteArrayList answers;
        world.board.take(line, m_small.board, m_small.blocks, answers);
        append(world, answers);
    }

    void append(World& world, const QByteArrayList& answers) const
    {
        for (const QByteArray& answer : answers) {
            const bool atAnySpeed = m_small.board.announcesEarly && answer == "$Bootloader";
            const bool fast = atAnySpeed ? world.fast : world.board.inBootloader;
            if (world.isOpen && fast == world.fast)
                world.toSession.append({answer, fast});
        }
    }

    [[nodiscard]] bool isExact(const SmallBoard& board) const
    {
        using Begin = SmallJob::Begin;
        if (m_small.begin == Begin::Erase || m_small.begin == Begin::Probe)
            return board.hasNoImages();
        return board.hasImages(m_small.images, m_small.blocks)
            && (m_small.begin == Begin::Images || board.hasFirmware());
    }

    /// The events of `course`. Lines that were answered at once are left out while nothing goes
    /// wrong around them.
    QStringList tell(World world, const Course& course)
    {
        QStringList told;
        int quiet = 0;
        const auto say = [&](const QString& text) {
            if (quiet > 0)
                told << QStringLiteral("... %1 events").arg(quiet);
            quiet = 0;
            told << text;
        };
        auto fault = course.begin();
        const int lastFault = course.empty() ? 0 : course.back().event;
        constexpr int kTail = 60;
        for (int event = 0; event <= m_shortestEvents && event < lastFault + kTail; ++event) {
            bool struck = false;
            for (; fault != course.end() && fault->event == event; ++fault) {
                say(faultText(world, *fault));
                strike(world, *fault);
                struck = true;
            }
            const QString text = nextEvent(world);
            const bool near = struck
                || std::any_of(course.begin(), course.end(),
                    [event](const Fault& f) { return event > f.event && event < f.event + 40; });
            if (near)
                say(text);
            else
                ++quiet;
            if (goOn(world) != End::GoesOn)
                break;
        }
        if (quiet > 0)
            told << QStringLiteral("... %1 events").arg(quiet);
        return told;
    }

    static QString nextEvent(const World& world)
    {
        if (!world.toBoard.isEmpty())
            return QStringLiteral("to the board: ") + textOf(world.toBoard.first().line);
        if (!world.toSession.isEmpty() && world.late == 0)
            return QStringLiteral("to the session: ")
                + QString::fromLatin1(world.toSession.first().text);
        return QStringLiteral("a step");
    }

    static QString faultText(const World& world, const Fault& fault)
    {
        const QString line
            = world.toBoard.isEmpty() ? QString() : textOf(world.toBoard.first().line);
        const QString answer = world.toSession.isEmpty()
            ? QString()
            : QString::fromLatin1(world.toSession.first().text);
        switch (fault.what) {
        case Fault::What::LineLost:
            return QStringLiteral("LOST: ") + line;
        case Fault::What::AnswerLost:
            return QStringLiteral("LOST: ") + answer;
        case Fault::What::AnswerLate:
            return QStringLiteral("LATE by %1 steps: %2").arg(fault.steps).arg(answer);
        case Fault::What::AnswerDoubled:
            return QStringLiteral("DOUBLED: ") + answer;
        case Fault::What::None:
            break;
        }
        return {};
    }

    SmallJob m_small;
    Session m_session;
    std::vector<Branch> m_open;
    std::unordered_map<Digest, int, DigestHash> m_seen;
    int m_run = 0;
    Exploration m_found;
    std::optional<Course> m_shortest;
    int m_shortestEvents = 0;
};

} // namespace

Exploration explore(const SmallJob& job, Faults faults)
{
    return Explorer(job).explore(faults);
}

QByteArray exploredFirmware()
{
    QByteArray firmware;
    for (int address = 0; address <= protocol::kFirmwareLast; address += protocol::kPageSize)
        firmware.append(protocol::kPageSize, static_cast<char>(address / protocol::kPageSize));
    return firmware;
}
