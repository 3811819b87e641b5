// What a fault does to a board.

#include "virtualboard/Board.h"
#include "virtualboard/Command.h"

namespace vboard {

void Board::note(const FaultRule& rule, std::string line, Time now)
{
    m_appliedFaults.push_back({now, rule.text, std::move(line)});
    record(RecordedLine::Way::Note, now, "fault: " + rule.text);
}

bool Board::applyCommandFaults(std::string& line, Time now)
{
    bool heard = true;
    for (const FaultRule& rule : m_faults.atCommand(std::string_view(line).substr(1))) {
        note(rule, line, now);
        heard = apply(rule, line, now) && heard;
    }
    return heard;
}

bool Board::applyReplyFaults(const Reply& reply, std::string& bytes)
{
    bool leaves = true;
    for (const FaultRule& rule : m_faults.atReply(reply.body)) {
        note(rule, '$' + reply.body, reply.at);
        leaves = apply(rule, reply, bytes) && leaves;
    }
    return leaves;
}

void Board::queueLater(Reply reply, Time delay)
{
    reply.at += delay;
    const Time at = reply.at;
    m_replies.emplace(at, Pending{std::move(reply), true});
}

bool Board::apply(const FaultRule& rule, std::string& line, Time now)
{
    switch (rule.kind) {
    case FaultKind::DropCommand:
        return false;
    case FaultKind::CorruptCommand: {
        const std::size_t position = m_faults.randomBelow(line.size());
        line[position] = static_cast<char>(line[position] ^ (1 << m_faults.randomBelow(7)));
        return true;
    }
    case FaultKind::Garbage: {
        std::string garbage;
        while (garbage.size() < rule.size)
            garbage += static_cast<char>(m_faults.randomBelow(256));
        putOnLine(std::move(garbage), now);
        return true;
    }
    case FaultKind::LongLine:
        putOnLine(std::string(rule.size, 'x') + '\n', now);
        return true;
    case FaultKind::Announce:
        queue({now, "Bootloader", false});
        return true;
    case FaultKind::Restart:
        boot(Runs::Application, now);
        return false;
    case FaultKind::Silence:
        m_silentUntil = rule.length ? now + *rule.length : Time::max();
        return false;
    case FaultKind::Unplug:
        push({now, Emission::What::Unplug, {}, 0});
        if (rule.length)
            push({now + *rule.length, Emission::What::PlugIn, {}, 0});
        return false;
    default:
        return true;
    }
}

bool Board::apply(const FaultRule& rule, const Reply& reply, std::string& bytes)
{
    const Time length = rule.length.value_or(Time::zero());
    switch (rule.kind) {
    case FaultKind::DropReply:
        return false;
    case FaultKind::DelayReply:
        queueLater(reply, length);
        return false;
    case FaultKind::DoubleReply:
        queueLater(reply, length);
        return true;
    case FaultKind::SplitReply:
        m_statistics.countReply(reply.body, reply.at);
        for (std::size_t index = 0; index < bytes.size(); ++index)
            push({reply.at + length * static_cast<int>(index), Emission::What::Bytes,
                bytes.substr(index, 1), baudRate()});
        return false;
    case FaultKind::JoinLines:
        for (unsigned long line = 1; line < rule.size; ++line)
            bytes.insert(0, withChecksum("NOTE," + hex(static_cast<std::uint32_t>(line))));
        return true;
    default:
        return true;
    }
}

} // namespace vboard
