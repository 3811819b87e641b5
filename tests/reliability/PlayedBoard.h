#pragma once

#include "bootload/DialogBootload.h"
#include "tests/session/DialogBootloadProbe.h"
#include "tests/session/ReleaseSetFixture.h"
#include "virtualboard/Board.h"
#include "virtualboard/UsbBus.h"

/// A board and how long it has lived.
struct TimedBoard
{
    explicit TimedBoard(vboard::BoardOptions options = {}) : board(std::move(options)) { }

    vboard::Board board;
    vboard::Time now{};
};

/// Plays a dialog's timer and the board at the far end of its port, in a time of its own: a job
/// takes as long as its lines take to be handled, and goes the same way every time.
///
/// The dialog's own timer is stopped. The board lives on afterwards.
class PlayedBoard
{
public:
    PlayedBoard(DialogBootload& dialog, PluggedAdapter& adapter, TimedBoard& board, int index = 0);
    ~PlayedBoard();
    PlayedBoard(const PlayedBoard&) = delete;
    PlayedBoard& operator=(const PlayedBoard&) = delete;

    /// One tick of the dialog, and all that follows from it before the next.
    void tick();

    /// Ticks until the session has ended, `mostTicks` at most. Returns whether it has.
    bool playToEnd(int mostTicks = 400);

private:
    void settle(vboard::Time end);
    QByteArray sent();
    bool toBoard();
    bool fromBoard();
    void deliver(const std::string& bytes);

    DialogBootload& m_dialog;
    PortTest& m_port;
    PluggedAdapter& m_adapter;
    vboard::Board& m_board;
    vboard::Time& m_now;
    int m_terminal;
    int m_rate = 0;
    qsizetype m_taken = 0; // bytes that the dialog was told of
    QMetaObject::Connection m_counting;
};

/// A board that needs a job in `mode`: one whose images are to be erased has some.
[[nodiscard]] vboard::BoardOptions boardFor(int mode);

/// What `board` holds instead of the small release set after `mode` has ended; empty when it holds
/// exactly what it should.
[[nodiscard]] QString differencesFromSmallSet(const vboard::Board& board, int mode);
