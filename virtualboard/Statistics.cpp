#include "virtualboard/Statistics.h"

#include <algorithm>
#include <cmath>

namespace vboard {

const char* phaseName(Phase phase)
{
    switch (phase) {
    case Phase::FirstLine:
        return "first line";
    case Phase::Captured:
        return "captured";
    case Phase::FirmwareBegin:
        return "firmware begins";
    case Phase::FirmwareEnd:
        return "firmware ends";
    case Phase::ImagesBegin:
        return "images begin";
    case Phase::ImagesEnd:
        return "images end";
    case Phase::Finished:
        return "finished";
    }
    return "";
}

void Statistics::reach(Phase phase, Time now)
{
    auto& reached = phases.at(static_cast<std::size_t>(phase));
    if (!reached)
        reached = now;
}

void Statistics::pass(Phase phase, Time now)
{
    phases.at(static_cast<std::size_t>(phase)) = now;
}

void Statistics::count(const std::string& word, const std::string& line, Time now)
{
    Count& counted = received[word];
    ++counted.lines;
    if (line == m_lastLine)
        ++counted.repeated;
    m_lastLine = line;

    reach(Phase::FirstLine, now);
    if (word == "E")
        reach(Phase::FirmwareBegin, now);
    else if (word == "I" || word == "A")
        reach(Phase::ImagesBegin, now);
    else if (word == "X")
        reach(Phase::Finished, now);
}

void Statistics::countReply(const std::string& body, Time now)
{
    const std::string word = body.substr(0, body.find(','));
    ++sent[word];
    if (word == "GACK") {
        reach(Phase::Captured, now);
    } else if (word == "EACK") {
        ++pagesErased;
    } else if (word == "PACK") {
        ++pagesProgrammed;
        pass(Phase::FirmwareEnd, now);
    } else if (word == "FACK") {
        pass(Phase::ImagesEnd, now);
    } else if (body == "IACK,1") {
        ++imagesRefused;
    } else if (body == "AACK,1") {
        ++imageErasures;
        pass(Phase::ImagesEnd, now);
    }
}

std::optional<Time> Statistics::phase(Phase phase) const
{
    return phases.at(static_cast<std::size_t>(phase));
}

std::optional<Time> Statistics::turnaround(double share) const
{
    if (turnarounds.empty())
        return std::nullopt;
    std::vector<Time> sorted = turnarounds;
    const double rank = std::ceil(share * static_cast<double>(sorted.size())) - 1;
    const auto index = static_cast<std::ptrdiff_t>(std::max(rank, 0.0));
    std::nth_element(sorted.begin(), sorted.begin() + index, sorted.end());
    return sorted.at(static_cast<std::size_t>(index));
}

} // namespace vboard
