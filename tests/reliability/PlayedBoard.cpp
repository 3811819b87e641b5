#include "tests/reliability/PlayedBoard.h"

#include "bootload/CompiledSet.h"
#include "virtualboard/Verdict.h"

#include <QTextEdit>

#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr vboard::Time kTick = 500ms;
constexpr qint32 kFirstBaudRate = 19200;

/// A port as it is after the program found it; `dialog` owns it.
MemoryPort<PortTest>& addPort(DialogBootload& dialog)
{
    auto port = std::make_unique<MemoryPort<PortTest>>();
    port->setBaudRate(kFirstBaudRate);
    port->portOpen = port->open(QIODevice::ReadWrite);
    port->state = StateStart;
    DialogBootloadProbe(dialog).addPort(port.get());
    return *port.release();
}

vboard::Job jobOf(int mode)
{
    if (mode == JobEraseImages)
        return vboard::Job::Erase;
    return mode == JobImagesOnly ? vboard::Job::Images : vboard::Job::Update;
}

} // namespace

PlayedBoard::PlayedBoard(DialogBootload& dialog, MemoryPort<PortTest>& port, TimedBoard& board)
    : m_dialog(dialog), m_port(port), m_board(board.board), m_now(board.now)
{
    DialogBootloadProbe(dialog).timer().stop();
}

PlayedBoard::PlayedBoard(SessionFixture& fixture, TimedBoard& board, int index)
    : PlayedBoard(fixture.dialog(), fixture.memoryPort(index), board)
{
}

PlayedBoard::PlayedBoard(DialogBootload& dialog, TimedBoard& board)
    : PlayedBoard(dialog, addPort(dialog), board)
{
}

void PlayedBoard::tick()
{
    m_dialog.Timeout();
    const vboard::Time end = m_now + kTick;
    playUntil(end);
    m_now = end;
}

bool PlayedBoard::playToEnd(int mostTicks)
{
    const auto* const log = m_dialog.findChild<QTextEdit*>(QStringLiteral("textEdit"));
    for (int i = 0; i < mostTicks; ++i) {
        tick();
        if (!m_port.isOpen() && log->toPlainText().endsWith(QStringLiteral("Bootload Complete")))
            return true;
    }
    return false;
}

void PlayedBoard::playUntil(vboard::Time end)
{
    for (;;) {
        const bool heard = toBoard();
        const bool said = fromBoard();
        if (heard || said)
            continue;
        const auto due = m_board.due();
        if (!due || *due >= end)
            return;
        m_now = std::max(m_now, *due);
    }
}

bool PlayedBoard::toBoard()
{
    const QByteArray bytes = std::exchange(m_port.written, {}).join();
    if (bytes.isEmpty())
        return false;
    m_board.receive(bytes.toStdString(), m_port.baudRate(), m_now);
    return true;
}

bool PlayedBoard::fromBoard()
{
    const std::vector<vboard::Emission> emissions = m_board.takeDue(m_now);
    for (const vboard::Emission& emission : emissions)
        happen(emission);
    return !emissions.empty();
}

void PlayedBoard::happen(const vboard::Emission& emission)
{
    switch (emission.what) {
    case vboard::Emission::What::Bytes:
        if (m_port.isOpen() && emission.baudRate == m_port.baudRate())
            m_port.arrive(QByteArray::fromStdString(emission.bytes));
        break;
    case vboard::Emission::What::Unplug:
        // As the program closes an unplugged port.
        m_port.present = false;
        m_port.close();
        break;
    case vboard::Emission::What::PlugIn:
        m_port.present = true;
        break;
    case vboard::Emission::What::Refuse: // a replayed log alone
        break;
    }
}

vboard::BoardOptions boardFor(int mode)
{
    vboard::BoardOptions options;
    if (mode == JobEraseImages)
        options.held = {{0, 1}, {3, 2}};
    return options;
}

QString differencesFromSet(const vboard::Board& board, int mode)
{
    QString error;
    const auto set = vboard::ExpectedSet::read(kResourcePrefix, error);
    return set ? judge(board, *set, {}, jobOf(mode)).differences.join(u'\n') : error;
}
