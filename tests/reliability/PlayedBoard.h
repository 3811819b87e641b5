#pragma once

#include "tests/session/SessionFixture.h"
#include "virtualboard/Board.h"

/// A board and its time.
struct TimedBoard
{
    explicit TimedBoard(vboard::BoardOptions options = {}) : board(std::move(options)) { }

    vboard::Board board;
    vboard::Time now{};
};

/// Plays a dialog's timer and the board at the other end of its port in memory, in a time of its
/// own: a job waits for nothing, and is the same every time.
///
/// The dialog's own timer is stopped. The board lives on afterwards.
class PlayedBoard
{
public:
    /// At the fixture's port `index`.
    PlayedBoard(SessionFixture& fixture, TimedBoard& board, int index = 0);
    /// At a port that `dialog` gets here, and owns.
    PlayedBoard(DialogBootload& dialog, TimedBoard& board);
    PlayedBoard(const PlayedBoard&) = delete;
    PlayedBoard& operator=(const PlayedBoard&) = delete;

    /// One tick of the dialog, and all that follows from it before the next.
    void tick();

    /// Ticks until the session has ended, `mostTicks` at most. Returns whether it has.
    bool playToEnd(int mostTicks = 400);

private:
    PlayedBoard(DialogBootload& dialog, MemoryPort<PortTest>& port, TimedBoard& board);
    void playUntil(vboard::Time end);
    bool toBoard();
    bool fromBoard();
    void happen(const vboard::Emission& emission);

    DialogBootload& m_dialog;
    MemoryPort<PortTest>& m_port;
    vboard::Board& m_board;
    vboard::Time& m_now;
};

/// A board for a job in `mode`: if its images are to be erased, it has some.
[[nodiscard]] vboard::BoardOptions boardFor(int mode);

/// How `board` differs from the release set in use after a job in `mode`; empty when it holds
/// exactly what it should.
[[nodiscard]] QString differencesFromSet(const vboard::Board& board, int mode);
