#include "releaseset/Sheet.h"

#include "releaseset/Canvas.h"
#include "releaseset/Rgb565.h"
#include "releaseset/StrokeFont.h"

#include <QPainter>

#include <algorithm>

namespace releaseset {

namespace {

// In pixels.
constexpr int kMargin = 20;
constexpr int kTitleHeight = 34;
constexpr int kLabelHeight = 40;
constexpr QSize kSmallestCell{220, 60};
constexpr QSize kLargestCell{480, 480};
constexpr int kWidestSheet = 1500;

constexpr QRgb kPaper = qRgb(236, 234, 240);
constexpr QRgb kInk = qRgb(34, 28, 46);
constexpr QRgb kFaintInk = qRgb(112, 104, 126);
constexpr QRgb kFrame = qRgb(190, 184, 200);

const TextStyle kTitleStyle{.capHeight = px(13), .penWidth = px(2), .colour = kInk, .tracking = 0};
const TextStyle kNameStyle{.capHeight = px(9), .penWidth = px(1.5), .colour = kInk, .tracking = 0};
const TextStyle kDetailStyle{
    .capHeight = px(7.5), .penWidth = px(1.125), .colour = kFaintInk, .tracking = 0};

QImage pictureOf(const SetImage& image)
{
    const QImage picture
        = fromRgb565(image.content.data, {image.content.width, image.content.height});
    const QSize fitted = picture.size().scaled(kLargestCell, Qt::KeepAspectRatio);
    return fitted.width() < picture.width()
        ? picture.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        : picture;
}

QImage titleOf(const ReleaseSet& set, int width)
{
    Canvas canvas({width, kTitleHeight}, kPaper);
    const QString title = QStringLiteral("Release set %1").arg(set.version);
    drawText(canvas, {px(1), px(20)}, title, kTitleStyle);
    drawTextRight(canvas, {width * kSubpixels - px(2), px(20)},
        QStringLiteral("%1 images").arg(set.images.size()), kDetailStyle);
    return canvas.picture();
}

QImage labelOf(const SetImage& image, int width)
{
    const ImageFile& content = image.content;
    Canvas canvas({width, kLabelHeight}, kPaper);
    drawText(canvas, {px(1), px(18)},
        QStringLiteral("Number %1   version %2").arg(content.imageName).arg(content.imageVersion),
        kNameStyle);
    drawText(canvas, {px(1), px(33)},
        QStringLiteral("%1 \u00d7 %2   %3").arg(content.width).arg(content.height).arg(image.file),
        kDetailStyle);
    return canvas.picture();
}

class Sheet
{
public:
    explicit Sheet(const ReleaseSet& set) : m_set(set)
    {
        for (const SetImage& image : set.images) {
            m_pictures.append(pictureOf(image));
            m_cell = m_cell.expandedTo(m_pictures.last().size());
        }
        const auto count = static_cast<int>(std::max<qsizetype>(m_pictures.size(), 1));
        m_columns = std::clamp((kWidestSheet - kMargin) / (m_cell.width() + kMargin), 1, 3);
        m_columns = std::min(m_columns, count);
        m_rows = (count + m_columns - 1) / m_columns;
    }

    QImage draw()
    {
        const int width = kMargin + m_columns * (m_cell.width() + kMargin);
        const int height = kMargin + kTitleHeight + m_rows * rowHeight();
        QImage sheet(width, height, QImage::Format_RGB32);
        sheet.fill(kPaper);
        QPainter painter(&sheet);
        painter.drawImage(kMargin, kMargin, titleOf(m_set, width - 2 * kMargin));
        for (qsizetype i = 0; i < m_pictures.size(); ++i)
            drawCell(painter, i);
        return sheet;
    }

private:
    [[nodiscard]] int rowHeight() const { return m_cell.height() + kLabelHeight + kMargin; }

    void drawCell(QPainter& painter, qsizetype i) const
    {
        const auto index = static_cast<int>(i);
        const QPoint corner(kMargin + index % m_columns * (m_cell.width() + kMargin),
            kMargin + kTitleHeight + index / m_columns * rowHeight());
        const QImage& picture = m_pictures.at(i);
        const QSize size = picture.isNull() ? m_cell : picture.size();
        painter.setPen(QColor::fromRgb(kFrame));
        painter.drawRect(QRect(corner - QPoint(1, 1), size + QSize(1, 1)));
        painter.drawImage(corner, picture);
        painter.drawImage(
            corner + QPoint(0, size.height()), labelOf(m_set.images.at(i), m_cell.width()));
    }

    const ReleaseSet& m_set;
    QList<QImage> m_pictures;
    QSize m_cell = kSmallestCell;
    int m_columns = 1;
    int m_rows = 1;
};

} // namespace

QImage contactSheetOf(const ReleaseSet& set)
{
    return Sheet(set).draw();
}

} // namespace releaseset
