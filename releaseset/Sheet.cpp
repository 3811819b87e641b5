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
constexpr QSize kEmptyFrame{220, 60};
constexpr QSize kLargestCell{480, 480};
constexpr int kWidestSheet = 1500;
constexpr int kMostColumns = 3;

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
            m_cellWidth = std::max(m_cellWidth, m_pictures.last().width());
        }
        m_columns = std::clamp<qsizetype>((kWidestSheet - kMargin) / (m_cellWidth + kMargin), 1,
            std::min(kMostColumns, countOrOne()));
        m_rowTops.append(kMargin + kTitleHeight);
        for (qsizetype i = 0; i < m_pictures.size(); i += m_columns)
            m_rowTops.append(m_rowTops.last() + rowHeight(i));
    }

    QImage draw()
    {
        const int width = kMargin + static_cast<int>(m_columns) * (m_cellWidth + kMargin);
        QImage sheet(width, m_rowTops.last(), QImage::Format_RGB32);
        sheet.fill(kPaper);
        QPainter painter(&sheet);
        painter.drawImage(kMargin, kMargin, titleOf(m_set, width - 2 * kMargin));
        for (qsizetype i = 0; i < m_pictures.size(); ++i)
            drawCell(painter, i);
        return sheet;
    }

private:
    [[nodiscard]] int countOrOne() const
    {
        return static_cast<int>(std::max<qsizetype>(m_pictures.size(), 1));
    }

    [[nodiscard]] QSize frameOf(qsizetype i) const
    {
        return m_pictures.at(i).isNull() ? kEmptyFrame : m_pictures.at(i).size();
    }

    /// The height of the row that begins with picture `first`.
    [[nodiscard]] int rowHeight(qsizetype first) const
    {
        int height = 0;
        for (qsizetype i = first; i < std::min(first + m_columns, m_pictures.size()); ++i)
            height = std::max(height, frameOf(i).height());
        return height + kLabelHeight + kMargin;
    }

    void drawCell(QPainter& painter, qsizetype i) const
    {
        const auto column = static_cast<int>(i % m_columns);
        const QPoint corner(
            kMargin + column * (m_cellWidth + kMargin), m_rowTops.at(i / m_columns));
        const QSize size = frameOf(i);
        painter.setPen(QColor::fromRgb(kFrame));
        painter.drawRect(QRect(corner - QPoint(1, 1), size + QSize(1, 1)));
        painter.drawImage(corner, m_pictures.at(i));
        painter.drawImage(
            corner + QPoint(0, size.height()), labelOf(m_set.images.at(i), m_cellWidth));
    }

    const ReleaseSet& m_set;
    QList<QImage> m_pictures;
    QList<int> m_rowTops; ///< and, last, the sheet's bottom
    int m_cellWidth = kEmptyFrame.width();
    qsizetype m_columns = 1;
};

} // namespace

QImage contactSheetOf(const ReleaseSet& set)
{
    return Sheet(set).draw();
}

} // namespace releaseset
