#include "virtualboard/WatchWindow.h"

#include "virtualboard/Picture.h"
#include "virtualboard/Transcript.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScreen>
#include <QVBoxLayout>

namespace vboard {

namespace {

constexpr std::chrono::milliseconds kRefreshInterval{40};
constexpr QSize kDisplaySize{340, 230};
constexpr int kMapColumns = 32;
constexpr int kMapRows
    = (static_cast<int>(FlashMemory::kPageCount) + kMapColumns - 1) / kMapColumns;
constexpr int kCellSize = 10;
// A longer line is shown only up to here: of a data line its start is enough.
constexpr std::size_t kLongestLine = 48;
constexpr std::size_t kLinesKept = 10;

QColor colourOf(PageState state)
{
    switch (state) {
    case PageState::Erased:
        return {0xF2, 0xE2, 0xB0};
    case PageState::Filling:
        return {0xF0, 0x8A, 0x24};
    case PageState::Programmed:
        return {0x3A, 0x9D, 0x5D};
    case PageState::Untouched:
        break;
    }
    return {0x6B, 0x72, 0x80};
}

QString stateOf(const Board& board)
{
    switch (board.runs()) {
    case Runs::Application:
        return QStringLiteral("application, %1 baud").arg(board.baudRate());
    case Runs::Bootloader:
        return QStringLiteral("bootloader, %1 baud").arg(board.baudRate());
    case Runs::Nothing:
        break;
    }
    return QStringLiteral("boots");
}

} // namespace

DisplayView::DisplayView(QWidget* parent) : QWidget(parent)
{
    setFixedSize(kDisplaySize);
}

void DisplayView::setImage(const QImage& image)
{
    m_image = image;
    update();
}

void DisplayView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    if (m_image.isNull())
        return;
    const QSize size
        = m_image.size().boundedTo(m_image.size().scaled(this->size(), Qt::KeepAspectRatio));
    QRect target({}, size);
    target.moveCenter(rect().center());
    painter.drawImage(target, m_image);
}

FlashMap::FlashMap(QWidget* parent) : QWidget(parent)
{
    setFixedSize(kMapColumns * kCellSize, kMapRows * kCellSize);
    setToolTip(
        tr("Flash pages: grey untouched, yellow erased, orange being filled, green programmed"));
}

void FlashMap::setPages(const Pages& pages)
{
    if (pages == m_pages)
        return;
    m_pages = pages;
    update();
}

void FlashMap::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    for (std::size_t page = 0; page < m_pages.size(); ++page) {
        const int column = static_cast<int>(page) % kMapColumns;
        const int row = static_cast<int>(page) / kMapColumns;
        painter.fillRect(column * kCellSize, row * kCellSize, kCellSize - 1, kCellSize - 1,
            colourOf(m_pages.at(page)));
    }
}

BoardView::BoardView(const QString& name, QWidget* parent)
    : QWidget(parent), m_state(new QLabel), m_caption(new QLabel), m_display(new DisplayView),
      m_flash(new FlashMap), m_log(new QPlainTextEdit)
{
    auto* const title = new QLabel(QStringLiteral("<b>%1</b>").arg(name.toHtmlEscaped()));
    m_log->setReadOnly(true);
    m_log->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_log->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_log->setMaximumBlockCount(static_cast<int>(kLinesKept));
    m_log->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_log->setFixedHeight(m_log->fontMetrics().lineSpacing() * (static_cast<int>(kLinesKept) + 2));

    auto* const layout = new QVBoxLayout(this);
    for (QWidget* const widget : {static_cast<QWidget*>(title), static_cast<QWidget*>(m_state),
             static_cast<QWidget*>(m_display), static_cast<QWidget*>(m_caption),
             static_cast<QWidget*>(m_flash), static_cast<QWidget*>(m_log)})
        layout->addWidget(widget);
}

void BoardView::addLine(const RecordedLine& line)
{
    static constexpr const char* kWays[] = {"> ", "< ", "  "};
    std::string text = line.text.substr(0, kLongestLine);
    if (text.size() < line.text.size())
        text += "...";
    const std::lock_guard lock(m_linesMutex);
    m_lines.push_back(QLatin1String(kWays[static_cast<std::size_t>(line.way)])
        + QString::fromLatin1(printable(text)));
    if (m_lines.size() > kLinesKept)
        m_lines.pop_front();
}

void BoardView::look(const Board& board)
{
    m_stateText = stateOf(board);
    for (std::size_t page = 0; page < m_pages.size(); ++page)
        m_pages.at(page) = board.flash().state(page);
    lookAtImage(board.images());
}

void BoardView::lookAtImage(const ImageStore& store)
{
    if (!store.current()) {
        if (store.images().empty())
            m_image = {};
        return;
    }
    const StoredImage& image = store.images().at(*store.current());
    if (m_imageNumber == *store.current() && image.data.size() == m_image.data.size())
        return;
    m_imageNumber = *store.current();
    m_image = image;
}

void BoardView::paintSeen()
{
    m_state->setText(m_stateText);
    m_flash->setPages(m_pages);
    m_display->setImage(pictureOf(m_image));
    m_caption->setText(m_image.width == 0 ? tr("no image")
                                          : tr("image %1, version %2, %3 x %4, %5 KB")
                                                .arg(m_imageNumber)
                                                .arg(m_image.version)
                                                .arg(m_image.width)
                                                .arg(m_image.height)
                                                .arg(m_image.data.size() / 1024));
    const std::lock_guard lock(m_linesMutex);
    for (const QString& line : m_lines)
        m_log->appendPlainText(line);
    m_lines.clear();
}

WatchWindow::WatchWindow(BoardServer& server, const QStringList& names) : m_server(server)
{
    setWindowTitle(names.size() == 1 ? tr("Virtual board") : tr("Virtual boards"));
    auto* const layout = new QHBoxLayout(this);
    for (const QString& name : names) {
        m_views.push_back(new BoardView(name));
        layout->addWidget(m_views.back());
    }
    connect(&m_timer, &QTimer::timeout, this, &WatchWindow::refresh);
    // At the right edge: the updater's windows come up in the middle.
    adjustSize();
    const QRect screenArea = screen()->availableGeometry();
    move(screenArea.right() - width(), screenArea.top());
}

void WatchWindow::watch(std::vector<const Board*> boards)
{
    m_boards = std::move(boards);
    m_timer.start(kRefreshInterval);
    show();
}

void WatchWindow::addLine(int board, const RecordedLine& line)
{
    m_views.at(static_cast<std::size_t>(board))->addLine(line);
}

void WatchWindow::refresh()
{
    m_server.look([this](const auto&) {
        for (std::size_t index = 0; index < m_views.size(); ++index)
            m_views[index]->look(*m_boards.at(index));
    });
    for (BoardView* const view : m_views)
        view->paintSeen();
}

} // namespace vboard
