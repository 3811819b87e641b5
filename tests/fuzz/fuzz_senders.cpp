// A line into both checksum senders, and into the plain ones.

#include "bootload/DialogBootload.h"
#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/fuzz/Reference.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/support/MemoryPort.h"

#include <vector>

using namespace protocol;

namespace {

using Frame = std::optional<std::string>;

/// The line in a buffer of exactly the size that the dialog's senders are promised.
std::vector<char> lineBuffer(const std::string& line)
{
    std::vector<char> buffer(protocol::kLineCapacity, '\0');
    std::copy_n(line.begin(), std::min(line.size(), buffer.size()), buffer.begin());
    return buffer;
}

std::string textOf(const std::vector<char>& buffer)
{
    return {buffer.begin(), buffer.end()};
}

template <typename Port> void expectSent(MemoryPort<Port>& port, const Frame& frame)
{
    expect(port.written.size() == (frame ? 1 : 0), "sends what may be sent and nothing else");
    if (frame)
        expect(port.written.first().toStdString() == *frame, "the line is framed as it must be");
    port.written.clear();
}

class Senders
{
public:
    Senders() : m_dialog(&m_service, JobUpdate, nullptr)
    {
        m_port.beOpen();
        m_servicePort.beOpen();
        SerialConnectProbe(m_service).sendEnabled = true;
    }

    void tryBuffers(const std::string& line)
    {
        std::vector<char> buffer = lineBuffer(line);
        m_dialog.AddCRC_nSend(&m_port, buffer.data());
        expectSent(m_port, reference::dialogFrame(textOf(lineBuffer(line))));
        buffer = lineBuffer(line);
        m_dialog.nSend(&m_port, buffer.data());
        expectSent(m_port, reference::dialogPlain(textOf(lineBuffer(line))));
    }

    void tryTexts(const QString& text)
    {
        const std::string bytes = text.toUtf8().toStdString();
        const bool fits = bytes.size() < static_cast<std::size_t>(protocol::kLineCapacity);
        const std::string buffer = textOf(lineBuffer(bytes));
        m_dialog.AddCRC_nSend(&m_port, text);
        expectSent(m_port, fits ? reference::dialogFrame(buffer) : Frame());
        m_dialog.nSend(&m_port, text);
        expectSent(m_port, fits ? reference::dialogPlain(buffer) : Frame());
        m_dialog.SendMessage(&m_port, text);
        const std::string end = !bytes.empty() && bytes.back() == '\n' ? "" : "\n";
        expectSent(m_port, bytes.empty() ? Frame() : Frame(bytes + end));
    }

    void tryService(const std::string& line)
    {
        constexpr std::size_t kRoomBehindText = 7; // "*", four digits, line feed, NUL
        const std::string text = line.substr(0, line.find('\0'));
        std::vector<char> buffer(text.size() + kRoomBehindText, '\0');
        std::copy(text.begin(), text.end(), buffer.begin());
        m_service.AddCRC_nSend(buffer.data());
        expectSent(m_servicePort, reference::serviceFrame(text));
    }

private:
    MemoryPort<QSerialPort> m_servicePort;
    Settings m_settings{&m_servicePort, false, {}, {}, false};
    Serial_Connect m_service{&m_settings, {}, {}};
    DialogBootload m_dialog;
    MemoryPort<PortTest> m_port;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    startApplication();
    // Lives until the process ends: a dialog needs the application around it.
    static auto* const senders = new Senders;
    const std::string line(reinterpret_cast<const char*>(data), size);
    senders->tryBuffers(line);
    senders->tryTexts(QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size())));
    senders->tryService(line);
    handleEvents();
    return 0;
}
