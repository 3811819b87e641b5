#include "doctor/CoursePicture.h"

#include "doctor/LogText.h"

#include <QPainter>

#include <algorithm>
#include <array>
#include <cmath>

namespace doctor {

namespace {

constexpr QColor kInk(0x22, 0x22, 0x22);
constexpr QColor kGrid(0xdd, 0xdd, 0xdd);
constexpr QColor kAgain(0xcc, 0x00, 0x00);
/// Told apart by those who do not see red and green, too.
constexpr auto kPortColours = std::to_array<QColor>({
    QColor(0x00, 0x5a, 0xa0),
    QColor(0xd5, 0x8a, 0x00),
    QColor(0x00, 0x85, 0x65),
    QColor(0x8b, 0x3f, 0x96),
    QColor(0x55, 0x55, 0x55),
});
// In pixels.
constexpr int kGap = 8;
constexpr int kTickGap = 4;

/// A scale: what is at its beginning and its end.
struct Range
{
    double from = 0;
    double to = 1;
};

/// A step of `steps` that divides `length` into about `parts`.
double stepFor(double length, double parts, std::span<const double> steps)
{
    const auto fits
        = std::ranges::find_if(steps, [&](double step) { return length / step <= parts; });
    return fits == steps.end() ? std::ceil(length / parts / steps.back()) * steps.back() : *fits;
}

double stepOfTime(double milliseconds, double parts)
{
    static constexpr auto kSteps = std::to_array<double>({1, 2, 5, 10, 20, 50, 100, 200, 500, 1e3,
        2e3, 5e3, 10e3, 15e3, 30e3, 60e3, 120e3, 300e3, 600e3, 900e3, 1800e3, 3600e3});
    return stepFor(milliseconds, parts, kSteps);
}

double stepOfCount(double count, double parts)
{
    static constexpr auto kSteps
        = std::to_array<double>({1, 2, 5, 10, 20, 25, 50, 100, 200, 500, 1e3, 1e4, 1e5, 1e6, 1e7});
    return stepFor(count, parts, kSteps);
}

/// "2:05" in minutes and seconds, with what is below a second where the step is.
QString sinceStart(double milliseconds, double step)
{
    const auto whole = static_cast<qint64>(milliseconds);
    QString text = QStringLiteral("%1:%2")
                       .arg(whole / 60'000)
                       .arg(whole / 1000 % 60, 2, 10, QLatin1Char('0'));
    if (step < 1000)
        text += QStringLiteral(".%1").arg(whole % 1000, 3, 10, QLatin1Char('0'));
    return text;
}

/// What a panel shows of each port, and against what.
struct Panel
{
    QString title;
    Track PortCourse::*track;
    Track PortCourse::*again;
    double most; ///< of the scale
};

class Painting
{
public:
    Painting(const Course& course, QImage& image)
        : m_course(course), m_painter(&image), m_size(image.size())
    {
        m_painter.setRenderHint(QPainter::Antialiasing);
        QFont font = m_painter.font();
        font.setPixelSize(13);
        m_painter.setFont(font);
        m_letter = QFontMetrics(font).height();
    }

    void paint()
    {
        const QList<Panel> panels = panelsOf();
        int top = paintHead() + kGap;
        const int bottom = m_size.height() - 2 * m_letter - 2 * kGap;
        if (panels.isEmpty()) {
            m_painter.drawText(QRect(0, top, m_size.width(), bottom - top), Qt::AlignCenter,
                QStringLiteral("No page of the software and no image was reached."));
            return;
        }
        m_times = timesOf(panels);
        const int height = (bottom - top) / static_cast<int>(panels.size());
        for (const Panel& panel : panels) {
            m_plot = QRect(QPoint(kLeft, top + m_letter + kGap),
                QPoint(m_size.width() - 3 * kGap, top + height - kGap));
            paintPanel(panel);
            top += height;
        }
        paintTimes();
    }

private:
    static constexpr int kLeft = 56;

    [[nodiscard]] QList<Panel> panelsOf() const
    {
        QList<Panel> panels;
        const auto has = [this](Track PortCourse::*track) {
            return std::ranges::any_of(m_course.ports,
                [&](const PortCourse& port) { return !(port.*track).points().isEmpty(); });
        };
        if (has(&PortCourse::pages))
            panels.append({QStringLiteral("page of the software, of %1").arg(kPages),
                &PortCourse::pages, &PortCourse::pagesAgain, kPages});
        if (has(&PortCourse::images))
            panels.append({m_course.images ? QStringLiteral("image, of %1").arg(*m_course.images)
                                           : QStringLiteral("image"),
                &PortCourse::images, &PortCourse::imagesAgain, mostImages()});
        return panels;
    }

    [[nodiscard]] double mostImages() const
    {
        int most = std::max(1, m_course.images.value_or(1));
        for (const PortCourse& port : m_course.ports)
            most = std::max(most, port.image);
        return most;
    }

    [[nodiscard]] Range timesOf(const QList<Panel>& panels) const
    {
        std::optional<Range> times;
        const auto reach = [&times](double at) {
            if (!times)
                times = Range{at, at};
            times = Range{std::min(times->from, at), std::max(times->to, at)};
        };
        if (m_course.begin && m_course.end) {
            reach(static_cast<double>(*m_course.begin));
            reach(static_cast<double>(endOfCourse()));
        }
        for (const Panel& panel : panels) {
            for (const PortCourse& port : m_course.ports) {
                const QList<CoursePoint> points = (port.*panel.track).points();
                if (!points.isEmpty())
                    reach(points.last().at);
                // With times, a job begins before its first page.
                if (!points.isEmpty() && !m_course.begin)
                    reach(points.first().at);
            }
        }
        Range range = times.value_or(Range{});
        range.to = std::max(range.to, range.from + 1);
        return range;
    }

    /// Of all ports: how long the dialog stays open after that is not the job's.
    [[nodiscard]] qint64 endOfCourse() const
    {
        qint64 end = *m_course.begin;
        for (const PortCourse& port : m_course.ports)
            end = std::max(
                end, port.stage == Stage::Complete ? port.ended.value_or(end) : *m_course.end);
        return end;
    }

    /// What it is, and the ports; gives where it ends.
    int paintHead()
    {
        m_painter.setPen(kInk);
        int baseline = kGap + m_letter;
        const QString job = m_course.job.isEmpty() ? QStringLiteral("job") : "job " + m_course.job;
        m_painter.drawText(
            kLeft, baseline, m_course.hasTimes ? job + ", " + dayText(m_course.begin) : job);
        const qsizetype named = std::min<qsizetype>(m_course.ports.size(), kPortColours.size());
        for (qsizetype i = 0; i < named; ++i) {
            baseline += m_letter;
            const PortCourse& port = m_course.ports.at(i);
            const int middle = baseline - m_letter / 3;
            m_painter.setPen(QPen(colourOf(i), 3));
            m_painter.drawLine(kLeft, middle, kLeft + 3 * kGap, middle);
            m_painter.setPen(kInk);
            m_painter.drawText(kLeft + 4 * kGap, baseline, legendText(port));
        }
        return baseline;
    }

    [[nodiscard]] QString legendText(const PortCourse& port) const
    {
        QString text = port.name
            + (port.stage == Stage::Complete ? QStringLiteral(": complete")
                                             : ": " + placeText(m_course, port));
        if (port.gone)
            text += QStringLiteral(", unplugged");
        const qint64 again = port.sentAgain();
        if (again > 0)
            text += QStringLiteral("; %1 lines sent again (red)").arg(again);
        return text;
    }

    void paintPanel(const Panel& panel)
    {
        m_painter.setPen(kInk);
        m_painter.drawText(kLeft, m_plot.top() - kTickGap, panel.title);
        paintGrid(panel);
        for (qsizetype i = 0; i < m_course.ports.size(); ++i)
            paintTrack(panel, m_course.ports.at(i), colourOf(i));
        for (const PortCourse& port : m_course.ports)
            paintAgain(panel, port);
    }

    void paintGrid(const Panel& panel)
    {
        const double step = stepOfCount(panel.most, std::max(2, m_plot.height() / (2 * m_letter)));
        for (int tick = 0; tick * step <= panel.most; ++tick) {
            const double value = tick * step;
            const double y = place({m_times.from, value}, panel).y();
            m_painter.setPen(kGrid);
            m_painter.drawLine(QPointF(m_plot.left(), y), QPointF(m_plot.right(), y));
            m_painter.setPen(kInk);
            m_painter.drawText(QRectF(0, y - m_letter / 2.0, kLeft - kGap, m_letter),
                Qt::AlignRight | Qt::AlignVCenter, QString::number(value));
        }
        const QList<double> ticks = timeTicks();
        for (const double at : ticks) {
            const double x = place({at, 0}, panel).x();
            m_painter.setPen(kGrid);
            m_painter.drawLine(QPointF(x, m_plot.top()), QPointF(x, m_plot.bottom()));
        }
        m_painter.setPen(kInk);
        m_painter.drawRect(m_plot);
    }

    void paintTrack(const Panel& panel, const PortCourse& port, QColor colour)
    {
        const QList<CoursePoint> points = (port.*panel.track).points();
        if (points.isEmpty())
            return;
        // Steps: it stood where it was until the next answer.
        QPolygonF line;
        for (const CoursePoint& point : points) {
            const QPointF at = place(point, panel);
            if (!line.isEmpty())
                line << QPointF(at.x(), line.last().y());
            line << at;
        }
        m_painter.setPen(QPen(colour, 2));
        m_painter.drawPolyline(line);
        m_painter.setBrush(colour);
        m_painter.drawEllipse(line.last(), 3, 3);
        m_painter.setBrush(Qt::NoBrush);
        if (port.stage != Stage::Complete && isAt(port, panel)) {
            m_painter.setPen(QPen(colour, 2, Qt::DotLine));
            m_painter.drawLine(line.last(), QPointF(m_plot.right(), line.last().y()));
        }
    }

    /// True when `port` stands in what `panel` shows.
    [[nodiscard]] static bool isAt(const PortCourse& port, const Panel& panel)
    {
        return panel.track == &PortCourse::pages ? port.stage == Stage::Firmware
                                                 : port.stage == Stage::Images;
    }

    void paintAgain(const Panel& panel, const PortCourse& port)
    {
        constexpr double kHalf = 4; // pixels
        m_painter.setPen(QPen(kAgain, 1.5));
        const QList<CoursePoint> points = (port.*panel.again).points();
        for (const CoursePoint& point : points) {
            const QPointF at = place(point, panel);
            m_painter.drawLine(at - QPointF(kHalf, kHalf), at + QPointF(kHalf, kHalf));
            m_painter.drawLine(at - QPointF(kHalf, -kHalf), at + QPointF(kHalf, -kHalf));
        }
    }

    /// Below the last panel.
    void paintTimes()
    {
        m_painter.setPen(kInk);
        const double step = timeStep();
        const Panel any{{}, nullptr, nullptr, 1};
        const int width = kTimeWidth;
        const QList<double> ticks = timeTicks();
        for (const double at : ticks) {
            const double x = place({at, 0}, any).x();
            const double since = at - m_times.from;
            m_painter.drawText(QRectF(x - width / 2.0, m_plot.bottom() + kTickGap, width, m_letter),
                Qt::AlignHCenter,
                m_course.hasTimes ? sinceStart(since, step) : QString::number(since));
        }
        m_painter.drawText(
            QRect(m_plot.left(), m_plot.bottom() + kTickGap + m_letter, m_plot.width(), m_letter),
            Qt::AlignHCenter,
            m_course.hasTimes ? QStringLiteral("minutes and seconds since the beginning")
                              : QStringLiteral("lines of the log, which has no times"));
    }

    [[nodiscard]] double timeStep() const
    {
        const double parts = std::max(2, m_plot.width() / kTimeWidth);
        const double length = m_times.to - m_times.from;
        return m_course.hasTimes ? stepOfTime(length, parts) : stepOfCount(length, parts);
    }

    [[nodiscard]] QList<double> timeTicks() const
    {
        QList<double> ticks;
        const double step = timeStep();
        for (int tick = 0; m_times.from + tick * step <= m_times.to; ++tick)
            ticks.append(m_times.from + tick * step);
        return ticks;
    }

    [[nodiscard]] QPointF place(CoursePoint point, const Panel& panel) const
    {
        const double x = (point.at - m_times.from) / (m_times.to - m_times.from);
        return {m_plot.left() + std::clamp(x, 0.0, 1.0) * m_plot.width(),
            m_plot.bottom() - std::clamp(point.place / panel.most, 0.0, 1.0) * m_plot.height()};
    }

    [[nodiscard]] static QColor colourOf(qsizetype port)
    {
        return kPortColours.at(static_cast<std::size_t>(port) % kPortColours.size());
    }

    static constexpr int kTimeWidth = 72; // pixels of a label

    const Course& m_course;
    QPainter m_painter;
    const QSize m_size;
    int m_letter = 0; ///< height of a line of text
    Range m_times;
    QRect m_plot;
};

} // namespace

QImage pictureOf(const Course& course, QSize size)
{
    // Room for two panels and the times, and for a line for each port that is named.
    constexpr int kLeastForPanels = 240;
    constexpr int kForAPort = 20;
    const auto lines
        = static_cast<int>(std::min<qsizetype>(course.ports.size(), kPortColours.size() + 1));
    const QSize smallest(320, kLeastForPanels + kForAPort * lines);
    QImage image(size.expandedTo(smallest), QImage::Format_RGB32);
    image.fill(Qt::white);
    Painting(course, image).paint();
    return image;
}

} // namespace doctor
