#pragma once

#include "virtualboard/Board.h"
#include "virtualboard/BoardServer.h"

#include <QImage>
#include <QTimer>
#include <QWidget>

#include <array>
#include <deque>
#include <mutex>
#include <vector>

class QLabel;
class QPlainTextEdit;

namespace vboard {

/// The board's display: the image that is there or that fills as its blocks arrive.
class DisplayView : public QWidget
{
    Q_OBJECT

public:
    explicit DisplayView(QWidget* parent = nullptr);
    void setImage(const QImage& image);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage m_image;
};

/// The flash as a map: a cell for each page, in the colour of its state.
class FlashMap : public QWidget
{
    Q_OBJECT

public:
    using Pages = std::array<PageState, FlashMemory::kPageCount>;

    explicit FlashMap(QWidget* parent = nullptr);
    void setPages(const Pages& pages);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Pages m_pages{};
};

/// The view of one board.
class BoardView : public QWidget
{
    Q_OBJECT

public:
    explicit BoardView(const QString& name, QWidget* parent = nullptr);
    /// Copies what has changed. The board must not run meanwhile.
    void look(const Board& board);
    /// Remembers a line for the next paintSeen(); from any thread.
    void addLine(const RecordedLine& line);
    /// Shows what the last look() saw.
    void paintSeen();

private:
    void lookAtImage(const ImageStore& store);

    QLabel* m_state;
    QLabel* m_caption;
    DisplayView* m_display;
    FlashMap* m_flash;
    QPlainTextEdit* m_log;

    FlashMap::Pages m_pages{};
    StoredImage m_image;
    std::uint32_t m_imageNumber = 0;
    QString m_stateText;
    std::mutex m_linesMutex;
    std::deque<QString> m_lines;
};

/// A small window that shows every board of a server, a column for each.
class WatchWindow : public QWidget
{
    Q_OBJECT

public:
    /// `names` are the boards' titles, in their order. The server must outlive the window.
    WatchWindow(BoardServer& server, const QStringList& names);
    /// Shows these boards of the server, in the order of the titles.
    void watch(std::vector<const Board*> boards);
    /// From any thread; see BoardView::addLine().
    void addLine(int board, const RecordedLine& line);

private:
    void refresh();

    BoardServer& m_server;
    std::vector<BoardView*> m_views;
    std::vector<const Board*> m_boards;
    QTimer m_timer;
};

} // namespace vboard
