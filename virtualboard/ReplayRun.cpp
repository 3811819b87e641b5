#include "virtualboard/ReplayRun.h"

#include "virtualboard/Console.h"
#include "virtualboard/Transcript.h"

#include <QFile>

#include <fstream>
#include <stdexcept>

namespace vboard {

namespace {

/// What a person can read, whatever was on the line.
QString readable(const std::string& text)
{
    return QString::fromLatin1(printable(text));
}

RecordedLog readLog(const QString& path)
{
    QFile file(path); // knows why
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error((path + QStringLiteral(": ") + file.errorString()).toStdString());
    std::ifstream stream(QFile::encodeName(path).constData(), std::ios::binary);
    auto log = RecordedLog::read(stream);
    if (!log)
        throw std::runtime_error(path.toStdString() + ": this is no log of the updater");
    return std::move(*log);
}

QStringList introduction(const RecordedPort& port)
{
    QStringList texts;
    for (const RecordedEvent& event : port.events) {
        if (event.what == RecordedEvent::What::Opened && !event.text.empty())
            texts << QStringLiteral("log line %1: %2").arg(event.logLine).arg(readable(event.text));
    }
    for (const std::size_t line : port.leftOut)
        texts << QStringLiteral("log line %1: did not open; this job is left out").arg(line);
    if (port.refused)
        texts << QStringLiteral("its port does not open %1")
                     .arg(port.events.empty() ? "" : "after that")
                     .trimmed();
    return texts;
}

QString headline(const ReplayVerdict& verdict)
{
    return QStringLiteral("%1, %2 of %3 lines")
        .arg(verdict.asRecorded ? QStringLiteral("AS RECORDED") : QStringLiteral("DIFFERS"))
        .arg(verdict.linesPlayed)
        .arg(verdict.linesRecorded);
}

} // namespace

ReplayRun::ReplayRun(Options options)
    : ToolRun(std::move(options)), m_log(readLog(this->options().replay))
{
    m_saidDifference.resize(m_log.ports.size());
}

QString ReplayRun::portName(int index) const
{
    if (const auto first = options().firstPort)
        return QStringLiteral("ttyUSB%1").arg(*first + index);
    return QString::fromStdString(m_log.ports.at(static_cast<std::size_t>(index)).name);
}

QString ReplayRun::boardName(int index) const
{
    return QStringLiteral("board %1 (%2)").arg(index).arg(portName(index));
}

bool ReplayRun::addBoards()
{
    for (const RecordedPort& port : m_log.ports) {
        const int index = static_cast<int>(m_boards.size());
        print(boardName(index) + QStringLiteral(" replays ") + QString::fromStdString(port.name)
            + u'\n');
        const QStringList texts = introduction(port);
        for (const QString& text : texts)
            print(QStringLiteral("  %1\n").arg(text));
        m_boards.push_back(
            &server().add(std::make_unique<ReplayedBoard>(port), plug(index, portName(index))));
    }
    if (m_log.ports.empty())
        print(QStringLiteral("The log has no port: no adapter is plugged in.\n"));
    return true;
}

std::vector<ReplayVerdict> ReplayRun::verdicts()
{
    return server().look([this](const auto&) {
        std::vector<ReplayVerdict> all;
        for (const ReplayedBoard* const board : m_boards)
            all.push_back(board->verdict());
        return all;
    });
}

QStringList ReplayRun::progressTexts()
{
    QStringList texts;
    for (const ReplayVerdict& verdict : verdicts())
        texts << QStringLiteral("line %1/%2").arg(verdict.linesPlayed).arg(verdict.linesRecorded);
    return texts;
}

void ReplayRun::look()
{
    for (std::size_t index = 0; index < m_boards.size(); ++index) {
        const std::string difference
            = server().look([board = m_boards[index]](const auto&) { return board->difference(); });
        if (difference.empty() || m_saidDifference[index])
            continue;
        m_saidDifference[index] = true;
        print(QStringLiteral("%1 differs: %2\n")
                  .arg(boardName(static_cast<int>(index)), readable(difference)));
    }
}

ToolRun::Judgement ReplayRun::judgeBoards()
{
    int index = 0;
    int same = 0;
    for (const ReplayVerdict& verdict : verdicts()) {
        print(QStringLiteral("%1: %2\n").arg(boardName(index++), headline(verdict)));
        if (!verdict.asRecorded)
            print(QStringLiteral("  difference     %1\n").arg(readable(verdict.difference)));
        for (const std::string& note : verdict.notes)
            print(QStringLiteral("  note           %1\n").arg(readable(note)));
        same += verdict.asRecorded ? 1 : 0;
    }
    return {same == index,
        QStringLiteral("%1 (%2 of %3 boards)")
            .arg(same == index ? QStringLiteral("AS RECORDED") : QStringLiteral("DIFFERS"))
            .arg(same)
            .arg(index)};
}

} // namespace vboard
