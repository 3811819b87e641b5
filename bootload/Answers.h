#pragma once

#include <QDeadlineTimer>

#include <chrono>

/// What a line of which a session awaits the answer is about.
enum class LineKind {
    None,
    ErasePage,
    Data,
    ProgramPage,
    ImageHeader,
    ImageBlock,
};

/// What a session knows of the answers that may come: to which line, how often that was sent, from
/// when on it can be answered, and which answers are surplus. A board may answer a line as often as
/// it was sent, and nothing tells those answers apart; taken for the next line's they would be
/// wrong.
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

    /// Notes that an answer to a line of `kind` counts. Where one is awaited that was sent n times,
    /// n - 1 more may still come.
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

    /// From now on nothing is awaited.
    void giveUp()
    {
        m_kind = LineKind::None;
        m_number = 0;
        m_times = 0;
    }

    /// What is awaited an answer, for which number, and how often it was sent; `None`, 0 and 0 when
    /// nothing is.
    [[nodiscard]] LineKind awaited() const { return m_kind; }
    [[nodiscard]] qint32 number() const { return m_number; }
    [[nodiscard]] int times() const { return m_times; }

    /// True once a data line was sent more than once since the last erase line.
    [[nodiscard]] bool dataWasRepeated() const { return m_dataWasRepeated; }

    /// True, once for each, when an answer to a header, or to block `number`, is surplus.
    [[nodiscard]] bool takeSurplus(LineKind kind, qint32 number = 0)
    {
        const bool isBlock = kind == LineKind::ImageBlock;
        int& count = isBlock ? m_surplusBlocks : m_surplusHeaders;
        if (count == 0 || (isBlock && number != m_surplusBlock))
            return false;
        --count;
        return true;
    }

    /// From now on for `time` no answer can come.
    void setUnanswerableFor(std::chrono::milliseconds time)
    {
        m_unanswerable.setRemainingTime(time);
    }

    /// False while a line is awaited and its answer cannot have come: to send it again, or what
    /// follows when it is given up, would be too early.
    [[nodiscard]] bool mayBeGivenUp() const
    {
        return m_kind == LineKind::None || m_unanswerable.hasExpired();
    }

    /// Answers that may still come to headers, and to which block how many.
    [[nodiscard]] int surplusHeaders() const { return m_surplusHeaders; }
    [[nodiscard]] int surplusBlocks() const { return m_surplusBlocks; }
    [[nodiscard]] qint32 surplusBlock() const { return m_surplusBlock; }

private:
    // Counted no further. An answer that is 25 s late is still known by it, with several ports too,
    // where a line is sent again each half second; after a longer silence every image that the
    // board has would wait for as many answers in vain.
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
