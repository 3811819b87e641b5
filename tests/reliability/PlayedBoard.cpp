#include "tests/reliability/PlayedBoard.h"

#include "bootload/Session.h"
#include "protocol/Commands.h"

#include <QTextEdit>

#include <array>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

using namespace protocol;

namespace {

constexpr vboard::Time kTick = kTickInterval;

// Written behind what the program has sent, on the same terminal: reading up to it needs no waiting
// for silence.
constexpr QByteArrayView kFence{"#fence#"};

std::string smallFirmware()
{
    using vboard::Flash;
    std::string flash(Flash::kEndAddress, Flash::kErased);
    const QByteArray file = smallReleaseSet().value(QStringLiteral("fw1.bin"));
    flash.replace(0, static_cast<std::size_t>(file.size()), file.toStdString());
    return flash.substr(Flash::kFirstAddress);
}

QString firmwareDifferences(const vboard::Flash& flash)
{
    const std::string wanted = smallFirmware();
    for (std::size_t page = 0; page < vboard::Flash::kPageCount; ++page) {
        const auto size = vboard::Flash::kPageSize;
        if (flash.state(page) != vboard::PageState::Programmed
            || flash.page(page) != std::string_view(wanted).substr(page * size, size))
            return QStringLiteral("page %1 differs").arg(page);
    }
    return {};
}

QString imageDifferences(const vboard::ImageStore& store)
{
    struct Wanted
    {
        std::uint32_t number, version, width, height;
    };
    constexpr std::array<Wanted, 3> kWanted{{{0, 1, 300, 1}, {3, 2, 16, 8}, {17, 10, 4, 2}}};
    if (store.images().size() != kWanted.size())
        return QStringLiteral("%1 images").arg(store.images().size());
    int index = 0;
    for (const Wanted& wanted : kWanted) {
        const auto found = store.images().find(wanted.number);
        if (found == store.images().end() || !found->second.complete
            || found->second.version != wanted.version || found->second.width != wanted.width
            || found->second.height != wanted.height
            || found->second.data != smallImage(index).toStdString())
            return QStringLiteral("image %1 differs").arg(wanted.number);
        ++index;
    }
    return {};
}

} // namespace

PlayedBoard::PlayedBoard(
    DialogBootload& dialog, PluggedAdapter& adapter, TimedBoard& board, int index)
    : m_dialog(dialog), m_port(*DialogBootloadProbe(dialog).ports().at(index)), m_adapter(adapter),
      m_board(board.board), m_now(board.now),
      m_terminal(
          ::open(adapter.terminalPath().toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    DialogBootloadProbe(dialog).timer().stop();
    // Counted ahead of the dialog's slot, which leaves nothing to count.
    QObject::disconnect(&m_port, SIGNAL(readyRead()), &m_dialog, SLOT(readyRead()));
    m_counting = QObject::connect(
        &m_port, &QSerialPort::readyRead, &m_port, [this] { m_taken += m_port.bytesAvailable(); });
    QObject::connect(&m_port, SIGNAL(readyRead()), &m_dialog, SLOT(readyRead()));
    m_rate = m_adapter.baudRate();
}

PlayedBoard::~PlayedBoard()
{
    QObject::disconnect(m_counting);
    ::close(m_terminal);
}

void PlayedBoard::tick()
{
    // In this time nothing is on its way any more that closing the port would have to wait for.
    m_port.onTheWire = QDeadlineTimer();
    m_dialog.Timeout();
    const vboard::Time end = m_now + kTick;
    settle(end);
    m_now = end;
}

bool PlayedBoard::playToEnd(int mostTicks)
{
    const auto* const log = m_dialog.findChild<QTextEdit*>(QStringLiteral("textEdit"));
    for (int i = 0; i < mostTicks; ++i) {
        tick();
        if (m_port.state == StateFinish && !m_port.isOpen())
            return log->toPlainText().endsWith(QStringLiteral("Bootload Complete"));
    }
    return false;
}

void PlayedBoard::settle(vboard::Time end)
{
    for (;;) {
        const bool heard = toBoard();
        const bool said = fromBoard();
        if (heard || said)
            continue;
        const auto due = m_board.due();
        if (!due || *due >= end)
            return;
        m_now = std::max(m_now, *due);
    }
}

QByteArray PlayedBoard::sent()
{
    if (::write(m_terminal, kFence.data(), kFence.size()) != kFence.size())
        throw std::runtime_error("cannot write to the far end");
    QByteArray bytes;
    std::array<char, 4096> chunk{};
    while (!bytes.endsWith(kFence)) {
        const ssize_t count = ::read(m_adapter.masterFd(), chunk.data(), chunk.size());
        if (count <= 0)
            throw std::runtime_error("the far end has gone");
        bytes.append(chunk.data(), count);
    }
    return bytes.chopped(kFence.size());
}

bool PlayedBoard::toBoard()
{
    const QByteArray bytes = sent();
    // A port that a step has closed shows no rate any more; what it sent went out at the old one.
    const int rate = m_adapter.baudRate();
    if (rate != PluggedAdapter::kIdleBaudRate || bytes.isEmpty())
        m_rate = rate;
    if (bytes.isEmpty())
        return false;
    m_board.receive(bytes.toStdString(), m_rate, m_now);
    return true;
}

bool PlayedBoard::fromBoard()
{
    bool any = false;
    for (const vboard::Emission& emission : m_board.takeDue(m_now)) {
        const bool heard = emission.what == vboard::Emission::What::Bytes && m_port.isOpen()
            && emission.baudRate == m_adapter.baudRate();
        if (heard)
            deliver(emission.bytes);
        any = true;
    }
    return any;
}

void PlayedBoard::deliver(const std::string& bytes)
{
    constexpr int kArrivalTimeout = 5000; // ms
    const qsizetype wanted = m_taken + static_cast<qsizetype>(bytes.size());
    if (::write(m_adapter.masterFd(), bytes.data(), bytes.size())
        != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("cannot write from the far end");
    while (m_taken < wanted && m_port.isOpen()) {
        if (!m_port.waitForReadyRead(kArrivalTimeout))
            throw std::runtime_error("the program did not take what it was sent");
    }
}

vboard::BoardOptions boardFor(int mode)
{
    vboard::BoardOptions options;
    if (mode == JobEraseImages)
        options.held = {{0, 1}, {3, 2}};
    return options;
}

QString differencesFromSmallSet(const vboard::Board& board, int mode)
{
    if (mode == JobEraseImages)
        return board.images().images().empty() ? QString() : QStringLiteral("images are left");
    const QString images = imageDifferences(board.images());
    return mode == JobImagesOnly || !images.isEmpty() ? images : firmwareDifferences(board.flash());
}
