#include "virtualboard/Verdict.h"

#include <algorithm>
#include <array>

namespace vboard {

namespace {

constexpr qsizetype kMostDifferences = 8;

constexpr std::array kJobs{
    std::pair{Job::Update, "update"},
    std::pair{Job::Images, "images"},
    std::pair{Job::Erase, "erase"},
};

std::optional<Job> jobReceived(const Board& board)
{
    const auto& received = board.statistics().received;
    if (received.count("E") + received.count("D") + received.count("P") > 0)
        return Job::Update;
    if (received.count("I") + received.count("F") > 0)
        return Job::Images;
    if (received.count("A") > 0)
        return Job::Erase;
    return std::nullopt;
}

void differ(Verdict& verdict, const QString& text)
{
    if (verdict.differences.size() < kMostDifferences)
        verdict.differences << text;
    else if (verdict.differences.size() == kMostDifferences)
        verdict.differences << QStringLiteral("and more");
}

QString pageAddress(std::size_t page)
{
    const std::size_t address = FlashMemory::kFirstAddress + page * FlashMemory::kPageSize;
    return QStringLiteral("page 0x") + QString::number(address, 16).toUpper();
}

void judgeFirmware(const FlashMemory& flash, const ExpectedSet& set, Verdict& verdict)
{
    for (std::size_t page = 0; page < FlashMemory::kPageCount; ++page) {
        const std::string_view expected
            = std::string_view(set.firmware)
                  .substr(page * FlashMemory::kPageSize, FlashMemory::kPageSize);
        if (flash.state(page) != PageState::Programmed)
            differ(verdict, pageAddress(page) + QStringLiteral(" was not programmed"));
        else if (flash.page(page) != expected)
            differ(verdict, pageAddress(page) + QStringLiteral(" has another content"));
        else
            ++verdict.pagesExact;
    }
}

void judgeUntouched(const FlashMemory& flash, Verdict& verdict)
{
    if (flash.pagesIn(PageState::Untouched) != FlashMemory::kPageCount)
        differ(verdict, QStringLiteral("the firmware was touched"));
}

/// The images that should be in the store in the end, by number; null where a held one stays.
std::map<std::uint32_t, const ExpectedImage*> expectedImages(
    const ExpectedSet& set, const std::vector<std::pair<std::uint32_t, std::uint32_t>>& held)
{
    std::map<std::uint32_t, std::uint32_t> versions(held.begin(), held.end());
    std::map<std::uint32_t, const ExpectedImage*> expected;
    for (const auto& [number, version] : held)
        expected[number] = nullptr;
    for (const ExpectedImage& image : set.images) {
        const auto there = versions.find(image.number);
        if (there != versions.end() && there->second == image.version)
            continue; // the board refuses what it holds
        versions[image.number] = image.version;
        expected[image.number] = &image;
    }
    return expected;
}

QString imageFault(const StoredImage& stored, const ExpectedImage* expected)
{
    if (!expected)
        return stored.heldBefore ? QString() : QStringLiteral("was sent though it was held");
    if (stored.heldBefore || !stored.complete)
        return QStringLiteral("is not complete");
    if (stored.version != expected->version)
        return QStringLiteral("has another version");
    if (stored.width != expected->width || stored.height != expected->height)
        return QStringLiteral("has another size");
    return stored.data == expected->data ? QString() : QStringLiteral("has another content");
}

void judgeImages(const ImageStore& store, const ExpectedSet& set,
    const std::vector<std::pair<std::uint32_t, std::uint32_t>>& held, Verdict& verdict)
{
    auto expected = expectedImages(set, held);
    for (const auto& [number, stored] : store.images()) {
        const QString name = QStringLiteral("image %1 ").arg(number);
        const auto entry = expected.find(number);
        const QString fault = entry == expected.end() ? QStringLiteral("is not in the release set")
                                                      : imageFault(stored, entry->second);
        if (fault.isEmpty())
            ++verdict.imagesExact;
        else
            differ(verdict, name + fault);
        expected.erase(number);
    }
    for (const auto& [number, image] : expected)
        differ(verdict, QStringLiteral("image %1 is missing").arg(number));
}

void judgeErased(const Board& board, Verdict& verdict)
{
    if (board.statistics().imageErasures == 0)
        differ(verdict, QStringLiteral("the images were not erased"));
    for (const auto& [number, stored] : board.images().images())
        differ(verdict, QStringLiteral("image %1 is still there").arg(number));
}

} // namespace

QString jobName(Job job)
{
    return QString::fromLatin1(kJobs.at(static_cast<std::size_t>(job)).second);
}

std::optional<Job> jobOfName(const QString& name)
{
    for (const auto& [job, text] : kJobs) {
        if (name == QLatin1String(text))
            return job;
    }
    return std::nullopt;
}

Verdict judge(const Board& board, const ExpectedSet& set,
    const std::vector<std::pair<std::uint32_t, std::uint32_t>>& held, std::optional<Job> expected)
{
    Verdict verdict;
    verdict.job = expected ? expected : jobReceived(board);
    if (!verdict.job)
        return verdict;
    if (*verdict.job == Job::Update)
        judgeFirmware(board.flash(), set, verdict);
    else
        judgeUntouched(board.flash(), verdict);
    if (*verdict.job == Job::Erase)
        judgeErased(board, verdict);
    else
        judgeImages(board.images(), set, held, verdict);
    verdict.exact = verdict.differences.isEmpty();
    return verdict;
}

} // namespace vboard
