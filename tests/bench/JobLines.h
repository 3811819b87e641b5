#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// The work of an update job for a peer of the program, without a toolkit: understands each reply
/// and builds the line that answers it.
class JobLines
{
public:
    /// Reads the job from the file `path`: in its first line the path of the firmware, in each
    /// further line an image as "NUMBER VERSION WIDTH HEIGHT PATH", where PATH holds its bytes.
    /// Throws std::runtime_error when a file cannot be read.
    explicit JobLines(const std::string& path);

    /// Sent to the board's application, which answers in its bootloader's speed.
    static constexpr std::string_view kAskForBootloader{"$BOOTLOADM*9FEC\n"};

    /// The line that answers `reply`, a whole line from the bootloader; valid until the next call.
    /// Throws std::runtime_error when this reply should not come now.
    [[nodiscard]] std::string_view answerTo(std::string_view reply);

    /// True once the job's last line, which is not answered, has been built.
    [[nodiscard]] bool finished() const { return m_step == Step::Exit; }

private:
    /// What was sent last; its reply is waited for.
    enum class Step { AskForBootloader, Capture, Erase, Data, Program, Header, Block, Exit };

    struct Image
    {
        std::array<std::size_t, 4> fields{}; // number, version, width, height
        std::string bytes;
    };

    void understand(std::string_view reply) const;
    void advance();
    void build();
    void append(std::string_view text);
    void appendHex(std::size_t value, int minDigits = 1);
    void appendBytes(std::string_view bytes);
    void appendChecksum();

    std::string m_firmware; // from address 0 on, filled up with erased bytes
    std::vector<Image> m_images;
    Step m_step = Step::AskForBootloader;
    std::size_t m_address = 0;
    std::size_t m_image = 0;
    std::size_t m_block = 0;
    std::array<char, 1000> m_line{};
    std::size_t m_size = 0;
};
