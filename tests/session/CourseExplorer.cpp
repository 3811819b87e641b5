#include "tests/session/ExploredSession.h"

#include "protocol/Commands.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using Begin = SmallJob::Begin;

constexpr int kMostLateSteps = 21;
/// Of a course that fails, so many events after each fault are told.
constexpr int kToldAfterFault = 40;

struct Fault
{
    enum class What { LineLost, AnswerLost, AnswerLate, AnswerDoubled };

    int event = 0; ///< before which it happens
    What what = What::LineLost;
    int steps = 0;
};

using Course = std::vector<Fault>;

struct DigestHash
{
    std::size_t operator()(const World::Digest& digest) const { return digest.first; }
};

QString textOf(const ShortLine& line)
{
    return QStringLiteral("$%1,%2").arg(QLatin1Char(line.word)).arg(line.number, 0, 16).toUpper();
}

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
            m_found.course = describe(m_session.firstWorld(faults), *m_shortest);
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
            const auto [seen, isNew] = m_seen.try_emplace(branch.world.digest(), m_run);
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
        applyFault(next.world, fault);
        m_open.push_back(std::move(next));
    }

    static void applyFault(World& world, const Fault& fault)
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
            world.toSession.insert(1, Answered(world.toSession.first()));
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
            const Answered answer = world.toSession.takeFirst();
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
        if (m_small.erases())
            return board.hasNoImages();
        return board.hasImages(m_small.images, m_small.blocks)
            && (m_small.begin == Begin::Images || board.hasFirmware());
    }

    /// The events of `course`: what goes wrong and what follows from it, the rest by its number.
    QStringList describe(World world, const Course& course)
    {
        QStringList lines;
        int leftOut = 0;
        int toldUntil = 0;
        auto fault = course.begin();
        for (int event = 0; event <= m_shortestEvents; ++event) {
            for (; fault != course.end() && fault->event == event; ++fault) {
                if (leftOut > 0)
                    lines << QStringLiteral("... %1 events").arg(std::exchange(leftOut, 0));
                lines << faultText(world, *fault);
                applyFault(world, *fault);
                toldUntil = event + kToldAfterFault;
            }
            if (event < toldUntil)
                lines << nextEvent(world);
            else
                ++leftOut;
            if (goOn(world) != End::GoesOn)
                break;
        }
        if (leftOut > 0)
            lines << QStringLiteral("... %1 events").arg(leftOut);
        return lines;
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
        }
        return {};
    }

    SmallJob m_small;
    ExploredSession m_session;
    std::vector<Branch> m_open;
    std::unordered_map<World::Digest, int, DigestHash> m_seen;
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
