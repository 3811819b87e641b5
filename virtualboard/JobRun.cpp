#include "virtualboard/JobRun.h"

#include "virtualboard/Console.h"
#include "virtualboard/Picture.h"
#include "virtualboard/Report.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace vboard {

JobRun::JobRun(Options options, ExpectedSet set)
    : ToolRun(std::move(options)), m_set(std::move(set))
{
}

JobRun::~JobRun()
{
    // Until then its thread writes to the transcript and the window.
    server().stop();
}

QString JobRun::boardName(int index) const
{
    const QString port = options().serialPort.isEmpty()
        ? QStringLiteral("ttyUSB%1").arg(options().firstPort.value_or(0) + index)
        : options().serialPort;
    return QStringLiteral("board %1 (%2)").arg(index).arg(port);
}

bool JobRun::addBoards()
{
    if (!options().record.isEmpty() && !m_transcript.open(options().record)) {
        complain(QStringLiteral("%1: %2").arg(options().record, m_transcript.errorString()));
        return false;
    }
    if (options().window) {
        QStringList names;
        for (int index = 0; index < options().boards; ++index)
            names << boardName(index);
        m_window = std::make_unique<WatchWindow>(server(), names);
    }
    const int firstPort = options().firstPort.value_or(0);
    for (int index = 0; index < options().boards; ++index)
        addBoard(index,
            options().serialPort.isEmpty()
                ? plug(index, QStringLiteral("ttyUSB%1").arg(firstPort + index))
                : std::make_unique<CablePort>(options().serialPort));
    if (m_window)
        m_window->watch(m_boards);
    return true;
}

void JobRun::addBoard(int index, std::unique_ptr<BoardPort> port)
{
    BoardOptions its = options().board;
    its.seed += static_cast<std::uint64_t>(index);
    std::erase_if(its.faults, [index](const FaultRule& rule) {
        return rule.board && *rule.board != static_cast<unsigned long>(index);
    });
    Board& board = server().add(std::make_unique<Board>(std::move(its)), std::move(port));
    m_boards.push_back(&board);
    if (options().record.isEmpty() && !m_window)
        return;
    board.setObserver([this, index](const RecordedLine& line) {
        if (!options().record.isEmpty())
            m_transcript.write(index, line);
        if (m_window)
            m_window->addLine(index, line);
    });
}

QStringList JobRun::progressTexts()
{
    return server().look([this](const auto&) {
        QStringList list;
        for (const Board* const board : m_boards)
            list << progressText(*board, m_set);
        return list;
    });
}

ToolRun::Judgement JobRun::judgeBoards()
{
    int exact = 0;
    int count = 0;
    QJsonArray reports;
    for (const Board* const board : m_boards) {
        const Verdict verdict = judge(*board, m_set, options().board.held, options().expected);
        exact += verdict.exact ? 1 : 0;
        show(count, verdict, *board);
        reports.append(boardReport(boardName(count), verdict, *board));
        ++count;
    }
    writeReport({{"boards", reports}});
    return {exact == count,
        QStringLiteral("%1 (%2 of %3 boards exact)")
            .arg(exact == count ? QStringLiteral("EXACT") : QStringLiteral("NOT EXACT"))
            .arg(exact)
            .arg(count)};
}

void JobRun::show(int index, const Verdict& verdict, const Board& board) const
{
    print(verdictText(boardName(index), verdict, board));
    if (options().pictures.isEmpty())
        return;
    const QString prefix = options().boards > 1 ? QStringLiteral("board%1-").arg(index) : QString();
    const QStringList failed = writePictures(board.images(), options().pictures, prefix);
    for (const QString& path : failed)
        complain(QStringLiteral("%1 could not be written").arg(path));
}

void JobRun::writeReport(const QJsonObject& report) const
{
    if (options().report.isEmpty())
        return;
    QFile file(options().report);
    const QByteArray json = QJsonDocument(report).toJson(QJsonDocument::Indented);
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size())
        complain(QStringLiteral("%1: %2").arg(options().report, file.errorString()));
}

} // namespace vboard
