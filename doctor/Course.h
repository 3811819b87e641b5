#pragma once

#include "protocol/Commands.h"

#include <QList>
#include <QMap>
#include <QString>

#include <array>
#include <optional>

/// \file
/// What a log tells, as plain values. Everything here is bounded, however long the log is.

namespace doctor {

/// A time of day with its date, in milliseconds, by the clock of the computer that wrote the log;
/// nothing where the log has no times.
using Moment = std::optional<qint64>;

/// Pages of firmware, all of which every update writes.
inline constexpr int kPages
    = (protocol::kFirmwareLast + 1 - protocol::kFirmwareStart) / protocol::kPageSize;

/// The kinds of line that a board answers.
enum class LineKind {
    AskVersion,
    EraseImages,
    ErasePage,
    Data,
    ProgramPage,
    ImageHeader,
    ImageBlock,
};

struct LineKindRow
{
    LineKind kind;
    QByteArrayView command;
    QByteArrayView reply;
    const char* name; ///< in the plural
};

/// A row each, in the order of the kinds.
inline constexpr auto kLineKinds = std::to_array<LineKindRow>({
    {LineKind::AskVersion, "$MVER", "$MVERR", "version requests"},
    {LineKind::EraseImages, "$A", "$AACK", "commands to erase the images"},
    {LineKind::ErasePage, "$E", "$EACK", "page erases"},
    {LineKind::Data, "$D", "$DACK", "data lines"},
    {LineKind::ProgramPage, "$P", "$PACK", "page programs"},
    {LineKind::ImageHeader, "$I", "$IACK", "image headers"},
    {LineKind::ImageBlock, "$F", "$FACK", "image blocks"},
});

/// How long a board took to answer, in milliseconds: exact to 100, then to two digits.
class AnswerTimes
{
public:
    void note(qint64 milliseconds);

    [[nodiscard]] qint64 count() const { return m_count; }
    /// Half of them came within this time; 0 when there are none.
    [[nodiscard]] qint64 median() const { return within(2); }
    /// A tenth of them came within this time; 0 when there are none.
    [[nodiscard]] qint64 quick() const { return within(10); }
    /// Exact; 0 when there are none.
    [[nodiscard]] qint64 slowest() const { return m_slowest; }

private:
    /// One in `parts` came within this time.
    [[nodiscard]] qint64 within(qint64 parts) const;

    QMap<qint64, qint64> m_counts; ///< how many, by the rounded time
    qint64 m_count = 0;
    qint64 m_slowest = 0;
};

/// Of the places where lines were sent again.
inline constexpr qsizetype kMostPlacesTold = 4;

/// The lines of one kind.
struct LineTally
{
    qint64 sent = 0;
    qint64 sentAgain = 0;
    /// Of the lines that were sent once: nothing tells which sending another's answer was for.
    AnswerTimes answers;
    /// Where lines were sent again, by page or image, each once: as many places as are told, and
    /// another one where there are more.
    QList<int> placesSentAgain;
};

/// A point of the course: when, or without times after how many lines, and how far: the page or the
/// image, from 0, with what is done of it as a fraction.
struct CoursePoint
{
    double at = 0;
    double place = 0;
};

/// The points of a course, thinned: of a long one every second, fourth, ... and the last.
class Track
{
public:
    void add(CoursePoint point);

    /// In the order of `at`.
    [[nodiscard]] QList<CoursePoint> points() const;

    /// How far; 0 when there is none.
    [[nodiscard]] double lastPlace() const { return m_last.place; }

private:
    QList<CoursePoint> m_kept;
    CoursePoint m_last;
    qint64 m_count = 0;
    qint64 m_stride = 1;
};

/// How far a session came.
enum class Stage {
    Probe, ///< the version is asked for, and then the bootloader awaited
    Captured,
    EraseImages,
    Firmware,
    Images,
    Finish, ///< all is sent
    Complete,
};

/// What the log tells of a port and its board.
struct PortCourse
{
    QString name;
    QString boardVersion; ///< empty: it did not say
    Stage stage = Stage::Probe;

    QString openError; ///< why it did not open; empty: it did
    bool gone = false; ///< unplugged, and not there again
    bool restarted = false; ///< the bootloader announced itself in the midst of the job

    int page = 0; ///< 1 to `kPages`; 0: none yet
    int image = 0; ///< by its place in the set, from 1; 0: none yet
    int imageNumber = 0; ///< as the board is told
    int block = 0; ///< of this image, from 1; 0: none yet
    int blocks = 0;

    qint64 sent = 0;
    qint64 replies = 0;
    qint64 unanswered
        = 0; ///< lines sent that want an answer, since the last reply that had an effect
    qint64 unusable = 0; ///< replies since then that had none
    int pageRestarts
        = 0; ///< pages that were filled again, and images sent again, from their beginning
    int imageRestarts = 0;

    Moment lastReply; ///< the last that had an effect
    Moment firstUnanswered; ///< of the lines since then
    Moment ended; ///< complete, or gone

    std::array<LineTally, kLineKinds.size()> lines;
    QMap<QString, qint64> passedOver; ///< replies without an effect, by the reason
    QString lastPassedOver; ///< such a reply

    Track pages;
    Track images;
    Track pagesAgain; ///< where lines were sent again
    Track imagesAgain;

    [[nodiscard]] LineTally& tally(LineKind kind)
    {
        return lines.at(static_cast<std::size_t>(kind));
    }
    [[nodiscard]] const LineTally& tally(LineKind kind) const
    {
        return lines.at(static_cast<std::size_t>(kind));
    }
    [[nodiscard]] qint64 sentAgain() const;
};

/// What a log tells of its last job.
struct Course
{
    QString program; ///< its version; empty: the log's beginning is missing
    int jobs = 0; ///< in this log
    QString job; ///< update, images or erase; empty: the job's beginning is missing
    QString releaseSet;
    std::optional<int> images; ///< in the release set
    int adapters = 0; ///< ports found that the updater takes
    QStringList otherPorts; ///< found, and not taken: the first few that say what they are

    Moment begin;
    Moment end; ///< of the last line
    bool hasTimes = false;
    bool closed = false; ///< the dialog was closed
    bool cut = false; ///< the log ends in the midst of a line

    QList<PortCourse> ports;
    bool hasMorePorts = false; ///< than are told
};

} // namespace doctor
