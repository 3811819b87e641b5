#include "tests/session/ExploredSession.h"

#include "bootload/CompiledSet.h"
#include "protocol/Commands.h"
#include "protocol/WireText.h"

#include <QHash>

#include <algorithm>
#include <utility>

namespace {

using Begin = SmallJob::Begin;

constexpr qint32 kLastLinesOfFirstPage = 4;
/// More than any wait of a session, but for that of an erasing that goes on.
constexpr int kHurriedSteps = 24;

/// A session's numbers that change in a job.
constexpr std::array<qint32 PortTest::*, World::kNumbers> kNumbers{&PortTest::state,
    &PortTest::flashAddress, &PortTest::phase, &PortTest::fwStep, &PortTest::retries,
    &PortTest::ticks, &PortTest::imageIndex, &PortTest::imageOffset, &PortTest::imageStep,
    &PortTest::imageWait, &PortTest::blockNumber, &PortTest::pageRefills};

ShortLine shortLine(QByteArrayView line)
{
    const auto number = [line](int index) {
        return static_cast<qint32>(protocol::hexValue(protocol::replyField(line, index)));
    };
    const char word = line.at(1);
    const bool carriesBytes = word == 'D' || word == 'F';
    return {word, number(1), carriesBytes ? number(2) : 0};
}

} // namespace

World::Digest World::digest() const
{
    QByteArray state;
    state.reserve(1024);
    appendTo(state, numbers);
    for (const int value : {static_cast<int>(answers.awaited()), int{answers.number()},
             answers.times(), answers.surplusHeaders(), answers.surplusBlocks(),
             int{answers.surplusBlock()}, late, left.faults, left.doubled})
        appendTo(state, value);
    for (const bool value : {answers.dataWasRepeated(), isOpen, fast, wasLate})
        appendTo(state, value);
    for (const Sent& sent : toBoard)
        state += QByteArray(1, sent.line.word) + QByteArray::number(sent.line.number) + ','
            + QByteArray::number(sent.line.content) + (sent.fast ? '\n' : '\r');
    state += '|';
    for (const Answered& answered : toSession)
        state += answered.text + (answered.fast ? '\n' : '\r');
    board.appendTo(state);
    const auto size = static_cast<std::size_t>(state.size());
    return {qHashBits(state.constData(), size, 1), qHashBits(state.constData(), size, 2)};
}

ExploredSession::ExploredSession(const SmallJob& job)
    : m_small(job), m_mode(job.erases() ? JobEraseImages : JobUpdate), m_job(m_mode, m_images)
{
    for (int index = 0; index < job.images; ++index) {
        const QByteArray data(job.blocks * protocol::kBlockSize, static_cast<char>(index));
        m_images.append({data, 16, 16, index, 1});
    }
    m_port.file.setFileName(kResourcePrefix + kFirmwareFile);
    if (!m_port.file.open(QIODevice::ReadOnly))
        qFatal("no firmware to explore with");
}

World ExploredSession::firstWorld(Faults faults)
{
    World world;
    load(world);
    world.left = faults;
    m_port.phase = PhaseWriting;
    switch (m_small.begin) {
    case Begin::Probe:
        m_isFast = false;
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
    const int held = m_small.erases() ? m_small.images : m_small.held;
    for (int image = 0; image < held; ++image)
        world.board.images.at(static_cast<std::size_t>(image)).blocks
            = static_cast<qint16>(m_small.blocks);
    save(world);
    return world;
}

/// In the midst of the last page but one.
void ExploredSession::beginFirmware(World& world)
{
    m_port.state = StateFirmware;
    m_port.fwStep = FirmwareData;
    m_port.ticks = kDataTicks;
    m_port.flashAddress = SmallBoard::kFirstPage + protocol::kPageSize
        - kLastLinesOfFirstPage * protocol::kDataLineSize;
    world.board.flash.front().fill(SmallBoard::kErased);
    world.board.buffer.fill(SmallBoard::kErased);
    world.board.openPage = SmallBoard::kFirstPage;
    constexpr auto kPageNumber = static_cast<qint16>(SmallBoard::kFirstPage / protocol::kPageSize);
    std::fill_n(
        world.board.buffer.begin(), SmallBoard::kLines - kLastLinesOfFirstPage, kPageNumber);
}

bool ExploredSession::step(World& world)
{
    load(world);
    apply(m_job.Step(m_port));
    return finish(world);
}

bool ExploredSession::take(World& world, const QByteArray& answer)
{
    load(world);
    apply(m_job.TakeReply(m_port, answer));
    return finish(world);
}

void ExploredSession::apply(const Effect& effect)
{
    if (effect.line)
        note(effect.line->view());
    if (!effect.plainLine.isEmpty())
        note(effect.plainLine);
    if (effect.closeAfterSending)
        m_isOpen = false;
    if (effect.reopenAt) {
        m_isOpen = true;
        m_isFast = *effect.reopenAt == protocol::kBootloaderBaudRate;
    }
    if (effect.stepAllPorts)
        apply(m_job.Step(m_port));
    m_ended = m_ended || effect.report == QLatin1StringView("Bootload Complete");
}

void ExploredSession::note(QByteArrayView line)
{
    if (m_isOpen)
        m_sent.append({shortLine(line), m_isFast});
}

void ExploredSession::load(const World& world)
{
    for (std::size_t i = 0; i < kNumbers.size(); ++i)
        m_port.*kNumbers.at(i) = world.numbers.at(i);
    m_port.answers = world.answers;
    m_isFast = world.fast;
    m_isOpen = world.isOpen;
}

void ExploredSession::save(World& world)
{
    for (std::size_t i = 0; i < kNumbers.size(); ++i)
        world.numbers.at(i) = m_port.*kNumbers.at(i);
    world.answers = m_port.answers;
    world.fast = m_isFast;
    world.isOpen = m_isOpen;
    world.toBoard += std::exchange(m_sent, {});
}

bool ExploredSession::finish(World& world)
{
    if (m_small.hurried)
        hurry();
    save(world);
    return std::exchange(m_ended, false);
}

/// What the answers of boards at other ports do to this session.
void ExploredSession::hurry()
{
    for (int i = 0; i < kHurriedSteps && !m_ended; ++i) {
        m_port.answers.setUnanswerableFor(std::chrono::hours(1));
        apply(m_job.Step(m_port));
    }
    m_port.answers.setUnanswerableFor({});
}
