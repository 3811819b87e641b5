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

/// How often a session sent the line whose answer it awaits, and from when on it can be answered.
/// Every time it is sent the board may answer it, and nothing tells those answers apart.
class SentLine
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
    }

    /// Notes that an answer to a line of `kind` counts. Returns how many more may still come: one
    /// for each time that the line was sent again; 0 when no line of `kind` is awaited.
    int noteAnswered(LineKind kind)
    {
        if (m_kind != kind)
            return 0;
        const int surplus = m_times - 1;
        giveUp();
        return surplus;
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
    [[nodiscard]] LineKind kind() const { return m_kind; }
    [[nodiscard]] qint32 number() const { return m_number; }
    [[nodiscard]] int times() const { return m_times; }

    /// From now on for `time` no answer can come.
    void setUnanswerableFor(std::chrono::milliseconds time)
    {
        m_unanswerable.setRemainingTime(time);
    }

    /// False while the line is awaited and its answer cannot have come: to send it again, or what
    /// follows when it is given up, would be too early.
    [[nodiscard]] bool mayBeGivenUp() const
    {
        return m_kind == LineKind::None || m_unanswerable.hasExpired();
    }

private:
    // A board that was silent for as many does not answer them all later on.
    static constexpr int kMostTimes = 1000;

    LineKind m_kind = LineKind::None;
    qint32 m_number = 0;
    int m_times = 0;
    QDeadlineTimer m_unanswerable;
};

/// Answers that may still come to a line that was sent more than once, although it has been
/// answered: taken for the next line's answer they would be wrong.
class SurplusAnswers
{
public:
    /// `count` answers may still come to what `number` stands for.
    void expect(int count, qint32 number)
    {
        m_count = count;
        m_number = number;
    }

    /// True, once for each, when the answer to what `number` stands for is one of them.
    [[nodiscard]] bool take(qint32 number)
    {
        if (m_count == 0 || number != m_number)
            return false;
        --m_count;
        return true;
    }

    [[nodiscard]] int count() const { return m_count; }
    [[nodiscard]] qint32 number() const { return m_number; }

private:
    int m_count = 0;
    qint32 m_number = 0;
};
