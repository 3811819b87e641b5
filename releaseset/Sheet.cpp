#include "releaseset/Sheet.h"

#include "releaseset/Rgb565.h"

#include <QPainter>

#include <algorithm>

namespace releaseset {

namespace {

// In pixels.
constexpr int kMargin = 20;
constexpr int kTitleHeight = 34;
constexpr int kLabelHeight = 40;
constexpr int kLabelGap = 4;
constexpr QSize kEmptyFrame{220, 60};
constexpr QSize kLargestCell{480, 480};
constexpr int kWidestSheet = 1500;
constexpr int kMostColumns = 3;

constexpr int kTitleSize = 18;
constexpr int kNameSize = 13;
constexpr int kDetailSize = 11;

constexpr QColor kPaper(236, 234, 240);
constexpr QColor kInk(34, 28, 46);
constexpr QColor kFaintInk(112, 104, 126);
constexpr QColor kFrame(190, 184, 200);

QImage pictureOf(const SetImage& image)
{
    const QImage picture
        = fromRgb565(image.content.data, {image.content.width, image.content.height});
    const QSize fitted = picture.size().scaled(kLargestCell, Qt::KeepAspectRatio);
    return fitted.width() < picture.width()
        ? picture.scaled(fitted, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        : picture;
}

void drawText(QPainter& painter, const QRect& area, int size, const QColor& colour,
    const QString& text, Qt::Alignment alignment = Qt::AlignLeft)
{
    QFont font = painter.font();
    font.setPixelSize(size);
    painter.setFont(font);
    painter.setPen(colour);
    painter.drawText(area, static_cast<int>(alignment | Qt::AlignVCenter), text);
}

void drawTitle(QPainter& painter, const QRect& area, const ReleaseSet& set)
{
    drawText(painter, area, kTitleSize, kInk, QStringLiteral("Release set %1").arg(set.version));
    drawText(painter, area, kDetailSize, kFaintInk,
        QStringLiteral("%1 images").arg(set.images.size()), Qt::AlignRight);
}

void drawLabel(QPainter& painter, QRect area, const SetImage& image)
{
    const ImageFile& content = image.content;
    const int half = area.height() / 2;
    drawText(painter, area.adjusted(0, 0, 0, -half), kNameSize, kInk,
        QStringLiteral("Number %1   version %2").arg(content.imageName).arg(content.imageVersion));
    drawText(painter, area.adjusted(0, half, 0, 0), kDetailSize, kFaintInk,
        QStringLiteral("%1 \u00d7 %2   %3").arg(content.width).arg(content.height).arg(image.file));
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
        drawTitle(
            painter, {kMargin, kMargin, width - 2 * kMargin, kTitleHeight - kMargin / 2}, m_set);
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
        painter.setPen(kFrame);
        painter.drawRect(QRect(corner - QPoint(1, 1), size + QSize(1, 1)));
        painter.drawImage(corner, m_pictures.at(i));
        drawLabel(painter,
            {corner + QPoint(0, size.height() + kLabelGap),
                QSize(m_cellWidth, kLabelHeight - kLabelGap)},
            m_set.images.at(i));
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
