// Gives any line to every sender of the dialog and of the service. tst_framing and
// tst_service_sending test how they frame it; here every buffer has exactly the size that the
// sender demands, so that the sanitizers notice a byte beyond it.

#include "bootload/DialogBootload.h"
#include "bootload/Session.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/support/MemoryPort.h"

#include <vector>

namespace {

/// `line` and NULs, `size` bytes on the heap.
std::vector<char> bufferOf(QByteArrayView line, qsizetype size)
{
    std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
    std::copy_n(line.begin(), std::min(line.size(), size), buffer.begin());
    return buffer;
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

    void send(QByteArrayView line)
    {
        m_dialog.AddCRC_nSend(&m_port, bufferOf(line, protocol::kLineCapacity).data());
        m_dialog.nSend(&m_port, bufferOf(line, protocol::kLineCapacity).data());
        const QString text = QString::fromUtf8(line);
        m_dialog.AddCRC_nSend(&m_port, text);
        m_dialog.nSend(&m_port, text);
        m_dialog.SendMessage(&m_port, text);
        constexpr int kSenders = 5;
        expect(m_port.written.size() <= kSenders, "a call sends one line at most");
        m_port.written.clear();
        sendByService(line);
    }

private:
    void sendByService(QByteArrayView line)
    {
        constexpr int kRoomBehindText = 7; // "*", four digits, line feed, NUL
        const auto length = static_cast<qsizetype>(qstrnlen(line.data(), size_t(line.size())));
        m_service.AddCRC_nSend(bufferOf(line.first(length), length + kRoomBehindText).data());
        m_servicePort.written.clear();
    }

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
    senders->send({data, static_cast<qsizetype>(size)});
    handleEvents();
    return 0;
}
