#pragma once

#include "bootload/UpdateJob.h"
#include "tests/session/CourseExplorer.h"

#include <array>

/// A line or an answer under way, and at which of the two speeds it was sent.
struct Sent
{
    ShortLine line;
    bool fast = true;
};
struct Answered
{
    QByteArray text;
    bool fast = true;
};

/// All that decides how a course goes on.
struct World
{
    static constexpr std::size_t kNumbers = 12;

    std::array<qint32, kNumbers> numbers{}; ///< of the session
    Answers answers;
    bool isOpen = true;
    bool fast = true;

    SmallBoard board;
    QList<Sent> toBoard;
    QList<Answered> toSession;
    int late = 0; ///< steps until the first answer arrives
    bool wasLate = false; ///< the first answer has had its fault
    Faults left;

    /// 128 bits of it: two of a million worlds are not taken for one.
    struct Digest
    {
        std::size_t first = 0;
        std::size_t second = 0;
        bool operator==(const Digest&) const = default;
    };
    [[nodiscard]] Digest digest() const;
};

/// The program's session, taken from world to world: it does what the job returns as the dialog
/// does.
class ExploredSession
{
public:
    explicit ExploredSession(const SmallJob& job);

    [[nodiscard]] World firstWorld(Faults faults);
    /// Each lets `world` go on, and returns whether the job has ended by that.
    [[nodiscard]] bool step(World& world);
    [[nodiscard]] bool take(World& world, const QByteArray& answer);

private:
    void beginFirmware(World& world);
    void load(const World& world);
    void save(World& world);
    bool finish(World& world);
    void hurry();
    void apply(const Effect& effect);
    void note(QByteArrayView line);

    SmallJob m_small;
    int m_mode;
    QList<ImageFile> m_images;
    UpdateJob m_job;
    PortTest m_port;
    bool m_isOpen = true;
    bool m_isFast = true;
    QList<Sent> m_sent;
    bool m_ended = false;
};
