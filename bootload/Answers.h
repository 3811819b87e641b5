#pragma once

#include <QDeadlineTimer>

#include <chrono>

/// The kinds of lines whose answer a session waits for.
enum class LineKind {
    None,
    ErasePage,
    Data,
    ProgramPage,
    ImageHeader,
    ImageBlock,
};

/// The answers that a session has to expect: to which line, how often it was sent, how long no
/// answer can have come yet, and which answers are surplus. A board may answer a line as often as
/// it was sent; nothing in a surplus answer shows that it does not belong to the next line.
class Answers
{
public:
    /// Notes that the line of `kind` for `number` (an address, an image's index or a block's
    /// number) was sent, for the first time or again.
    void noteSent(LineKind kind, qint32 number)
    {
        const bool again = m_kind == kind && m_number == number;
        m_times = again ? qMin(m_times + 1, kMostTimes) : 1;
        m_kind = kind;
        m_number = number;
        if (kind == LineKind::ErasePage)
            m_dataWasRepeated = false;
        if (kind == LineKind::Data && again)
            m_dataWasRepeated = true;
    }

    /// Notes an answer to a line of `kind` that counts. If it was awaited and its line was sent n
    /// times, n - 1 more answers may still come.
    void noteAnswered(LineKind kind)
    {
        const bool awaitedIt = m_kind == kind;
        if (kind == LineKind::ImageHeader)
            m_surplusHeaders = awaitedIt ? m_times - 1 : 0;
        if (kind == LineKind::ImageBlock) {
            m_surplusBlocks = awaitedIt ? m_times - 1 : 0;
            m_surplusBlock = awaitedIt ? m_number : 0;
        }
        if (awaitedIt)
            giveUp();
    }

    /// From now on no answer is awaited.
    void giveUp()
    {
        m_kind = LineKind::None;
        m_number = 0;
        m_times = 0;
    }

    /// The line whose answer is awaited: its kind, its number and how often it was sent; `None`, 0
    /// and 0 when no answer is awaited.
    [[nodiscard]] LineKind awaited() const { return m_kind; }
    [[nodiscard]] qint32 number() const { return m_number; }
    [[nodiscard]] int times() const { return m_times; }

    /// True once a data line was sent more than once since the last erase line.
    [[nodiscard]] bool dataWasRepeated() const { return m_dataWasRepeated; }

    /// True when an answer to a header, or to block `number`, is surplus. Each call that returns
    /// true uses up one surplus answer.
    [[nodiscard]] bool takeSurplus(LineKind kind, qint32 number = 0)
    {
        const bool isBlock = kind == LineKind::ImageBlock;
        int& count = isBlock ? m_surplusBlocks : m_surplusHeaders;
        if (count == 0 || (isBlock && number != m_surplusBlock))
            return false;
        --count;
        return true;
    }

    /// For `time` from now on no answer can come.
    void setUnanswerableFor(std::chrono::milliseconds time)
    {
        m_unanswerable.setRemainingTime(time);
    }

    /// False while an answer is awaited that cannot have come yet: it is too early to resend the
    /// line or to go on without the answer.
    [[nodiscard]] bool mayBeGivenUp() const
    {
        return m_kind == LineKind::None || m_unanswerable.hasExpired();
    }

    /// The surplus answers that may still come: how many to headers, how many to which block.
    [[nodiscard]] int surplusHeaders() const { return m_surplusHeaders; }
    [[nodiscard]] int surplusBlocks() const { return m_surplusBlocks; }
    [[nodiscard]] qint32 surplusBlock() const { return m_surplusBlock; }

private:
    // The count stops here. It covers an answer that is 25 s late with several ports, where a line
    // is resent every half second. After a longer silence a higher count would take as many true
    // answers for surplus.
    static constexpr int kMostTimes = 50;

    LineKind m_kind = LineKind::None;
    qint32 m_number = 0;
    int m_times = 0;
    bool m_dataWasRepeated = false;
    int m_surplusHeaders = 0;
    int m_surplusBlocks = 0;
    qint32 m_surplusBlock = 0;
    QDeadlineTimer m_unanswerable;
};
