// Preloaded into a program, this measures its own share of each turnaround: the time from the
// return of the read() that ended the board's reply to the entry of the write() of the next line.
// The times are written when the program ends, to the file that $REPLY_TIMES and the program's name
// give: one line for each, with the sent line's word and the nanoseconds.

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include <dlfcn.h>
#include <sys/types.h>

namespace {

using ReadFunction = ssize_t (*)(int, void*, std::size_t);
using WriteFunction = ssize_t (*)(int, const void*, std::size_t);

template <typename Function> Function next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

std::int64_t now()
{
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

struct OwnShare
{
    char word;
    std::int64_t nanoseconds;
};

// Room for more than three updates.
std::array<OwnShare, 0x10000> shares;
std::size_t count = 0;
// When a reply was read, by file descriptor; 0 where none waits for the next line.
std::array<std::int64_t, 0x400> replyRead{};

std::int64_t* replyOf(int file)
{
    const auto index = static_cast<std::size_t>(file);
    return index < replyRead.size() ? &replyRead.at(index) : nullptr;
}

[[gnu::destructor]] void writeShares()
{
    const char* const path = std::getenv("REPLY_TIMES");
    if (path == nullptr || count == 0)
        return;
    std::FILE* const file
        = std::fopen((path + std::string(program_invocation_short_name)).c_str(), "w");
    if (file == nullptr)
        return;
    for (std::size_t i = 0; i < count; ++i)
        std::fprintf(
            file, "%c %lld\n", shares.at(i).word, static_cast<long long>(shares.at(i).nanoseconds));
    std::fclose(file);
}

} // namespace

extern "C" ssize_t read(int file, void* buffer, std::size_t size)
{
    static const auto nextRead = next<ReadFunction>("read");
    const ssize_t got = nextRead(file, buffer, size);
    if (got > 0 && static_cast<const char*>(buffer)[got - 1] == '\n') {
        if (std::int64_t* const reply = replyOf(file))
            *reply = now();
    }
    return got;
}

extern "C" ssize_t write(int file, const void* buffer, std::size_t size)
{
    static const auto nextWrite = next<WriteFunction>("write");
    const auto* const text = static_cast<const char*>(buffer);
    std::int64_t* const reply = replyOf(file);
    if (reply != nullptr && *reply != 0 && size > 1 && text[0] == '$') {
        if (count < shares.size())
            shares.at(count++) = {text[1], now() - *reply};
        *reply = 0;
    }
    return nextWrite(file, buffer, size);
}
