#pragma once

#include "virtualboard/Board.h"
#include "virtualboard/Command.h"

#include <string>

/// What is said to a board, and the words that it answers within a time. Nothing to say: time alone
/// passes.
struct Exchange
{
    std::string says;
    std::string answer;
    vboard::Time within{};
};

/// Plays the computer to a board: says lines, lets time pass, and collects what comes back.
class BoardDriver
{
public:
    using Time = vboard::Time;

    explicit BoardDriver(vboard::BoardOptions options = {}) : board(std::move(options)) { }

    /// Sends bytes as they are.
    void sendRaw(const std::string& bytes)
    {
        board.receive(bytes, baudRate, now);
        collect();
    }
    /// Sends "$`body`*" with its checksum and a line feed.
    void send(const std::string& body) { sendRaw(vboard::withChecksum(body)); }

    /// Lets time pass, in the steps that the board asks for.
    void wait(Time time)
    {
        const Time end = now + time;
        for (auto due = board.due(); due && *due <= end; due = board.due()) {
            now = std::max(now, *due);
            collect();
        }
        now = end;
        collect();
    }

    /// What came since the last call.
    std::string heard() { return std::exchange(m_heard, {}); }
    /// Sends a line and returns the words of what comes within `time`, without checksums.
    std::string ask(const std::string& body, Time time = Time::zero())
    {
        m_heard.clear();
        send(body);
        wait(time);
        return withoutChecksums(heard());
    }

    /// Goes through `dialogue`. Returns the first exchange that went otherwise; empty when none
    /// did.
    std::string converse(const std::vector<Exchange>& dialogue)
    {
        for (const auto& [says, answer, within] : dialogue) {
            m_heard.clear();
            if (!says.empty())
                send(says);
            wait(within);
            const std::string got = withoutChecksums(heard());
            if (got != answer)
                return says.substr(0, 20) + ": \"" + got + "\" instead of \"" + answer + '"';
        }
        return {};
    }

    static std::string withoutChecksums(const std::string& lines)
    {
        std::string result;
        bool inChecksum = false;
        for (const char byte : lines) {
            inChecksum = (inChecksum || byte == '*') && byte != '\n';
            if (!inChecksum)
                result += byte == '\n' ? ' ' : byte;
        }
        return result.empty() ? result : result.substr(0, result.size() - 1);
    }

    /// From the application into the captured bootloader.
    void capture()
    {
        send("BOOTLOADM");
        wait(vboard::OwnTimes().boot);
        baudRate = board.baudRate();
        sendRaw("$G\n");
        heard();
    }

    /// Erases, fills and programs the page at `address`; returns the answer to "$P".
    std::string programPage(std::uint32_t address)
    {
        ask("E," + vboard::hex(address) + ",1");
        for (const Exchange& line : dataFrom(0))
            ask(line.says);
        return ask("P," + vboard::hex(address) + ",1000");
    }

    /// The data lines of a page from `offset` on, each of which is acknowledged.
    static std::vector<Exchange> dataFrom(std::uint32_t offset)
    {
        std::vector<Exchange> lines;
        for (; offset < vboard::FlashMemory::kPageSize; offset += 64)
            lines.push_back({dataLine(offset, 1), "$DACK"});
        return lines;
    }

    static std::string dataLine(std::uint32_t offset, unsigned char byte)
    {
        return "D," + vboard::hex(offset) + bytes(64, byte);
    }
    static std::string block(std::uint32_t number, int size, unsigned char byte = 0xAB)
    {
        return "F," + vboard::hex(number) + bytes(size, byte);
    }
    static std::string bytes(int count, unsigned char byte)
    {
        std::string fields;
        for (int index = 0; index < count; ++index)
            fields += ',' + vboard::hex(byte);
        return fields;
    }

    vboard::Board board;
    int baudRate = 19200;
    Time now{};
    std::vector<vboard::Emission> others; // what came that was not bytes
    std::vector<Time> times; // of each piece that came

private:
    void collect()
    {
        for (vboard::Emission& emission : board.takeDue(now)) {
            if (emission.what != vboard::Emission::What::Bytes) {
                others.push_back(emission);
                continue;
            }
            times.push_back(emission.due);
            if (emission.baudRate == baudRate)
                m_heard += emission.bytes;
        }
    }

    std::string m_heard;
};
