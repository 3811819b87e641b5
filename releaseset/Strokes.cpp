#include "releaseset/Strokes.h"

#include <array>
#include <charconv>
#include <optional>

namespace releaseset {

namespace {

constexpr int kCurveSteps = 16;
/// The distance of a quarter ellipse's control points from its ends, in ten-thousandths of the
/// axis.
constexpr int kQuarterControl = 5523;
constexpr int kQuarterControlWhole = 10000;

class Pen
{
public:
    Pen(std::string_view drawing, QPoint origin, int unit, int perUnits)
        : m_rest(drawing), m_origin(origin), m_unit(unit), m_perUnits(perUnits)
    {
    }

    QList<QPolygon> draw()
    {
        while (const std::optional<char> command = nextLetter()) {
            const std::optional<QPoint> point = nextPoint();
            if (!point || !obey(*command, *point))
                break;
        }
        return m_lines;
    }

private:
    std::optional<char> nextLetter()
    {
        skipBlanks();
        if (m_rest.empty())
            return std::nullopt;
        const char letter = m_rest.front();
        m_rest.remove_prefix(1);
        return letter;
    }

    std::optional<int> nextNumber()
    {
        skipBlanks();
        int number = 0;
        const auto [end, error]
            = std::from_chars(m_rest.data(), m_rest.data() + m_rest.size(), number);
        if (error != std::errc{})
            return std::nullopt;
        m_rest.remove_prefix(static_cast<std::size_t>(end - m_rest.data()));
        return number;
    }

    std::optional<QPoint> nextPoint()
    {
        const std::optional<int> x = nextNumber();
        const std::optional<int> y = nextNumber();
        if (!x || !y)
            return std::nullopt;
        return m_origin + QPoint(*x * m_unit / m_perUnits, *y * m_unit / m_perUnits);
    }

    void skipBlanks()
    {
        while (!m_rest.empty() && m_rest.front() == ' ')
            m_rest.remove_prefix(1);
    }

    bool obey(char command, QPoint point)
    {
        if (command == 'M') {
            m_lines.append(QPolygon{point});
            return true;
        }
        if (m_lines.isEmpty())
            return false;
        switch (command) {
        case 'L':
            m_lines.last().append(point);
            return true;
        case 'h':
            quarter(point, {point.x(), here().y()});
            return true;
        case 'v':
            quarter(point, {here().x(), point.y()});
            return true;
        case 'q':
            return bend(point);
        default:
            return false;
        }
    }

    [[nodiscard]] QPoint here() const { return m_lines.last().last(); }

    void quarter(QPoint end, QPoint corner)
    {
        const QPoint start = here();
        const auto control = [corner](QPoint from) {
            return from + (corner - from) * kQuarterControl / kQuarterControlWhole;
        };
        curve({start, control(start), control(end), end});
    }

    bool bend(QPoint control)
    {
        const std::optional<QPoint> end = nextPoint();
        if (!end)
            return false;
        const QPoint start = here();
        curve({start, (start + control * 2) / 3, (*end + control * 2) / 3, *end});
        return true;
    }

    void curve(const std::array<QPoint, 4>& points)
    {
        constexpr int kWhole = kCurveSteps * kCurveSteps * kCurveSteps;
        for (int step = 1; step <= kCurveSteps; ++step) {
            const int back = kCurveSteps - step;
            m_lines.last().append(
                (points[0] * (back * back * back) + points[1] * (3 * back * back * step)
                    + points[2] * (3 * back * step * step) + points[3] * (step * step * step))
                / kWhole);
        }
    }

    std::string_view m_rest;
    QPoint m_origin;
    int m_unit;
    int m_perUnits;
    QList<QPolygon> m_lines;
};

} // namespace

QList<QPolygon> strokesOf(std::string_view drawing, QPoint origin, int unit, int perUnits)
{
    return Pen(drawing, origin, unit, perUnits).draw();
}

} // namespace releaseset
