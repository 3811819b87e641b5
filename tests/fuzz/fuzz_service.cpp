// Gives bytes to the service's receive path at any point of its hunt. An input is the numbers of
// the service, then what arrives. Some bytes that no line has stand for events, see `Event`.

#include "protocol/WireText.h"
#include "serial/Settings.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/serial/SerialConnectProbe.h"
#include "tests/support/MemoryPort.h"
#include "tests/support/Reference.h"

namespace {

enum Event : char {
    EventTick = '\xFE',
    EventNextRead = '\xFD',
    EventAccept = '\xFC',
    EventReject = '\xFB',
};

bool isEvent(char byte)
{
    return byte >= EventReject && byte <= EventTick;
}

class Service : public QObject
{
public:
    Service() : m_probe(m_service)
    {
        connect(&m_port, &QSerialPort::readyRead, &m_service, &Serial_Connect::SerialGotData);
        connect(&m_service, &Serial_Connect::GotMessage, this, &Service::takeLine);
        connect(&m_service, &Serial_Connect::GotMessageNoCRC, this, [this] { ++m_unchecked; });
    }

    void prepare(Input& input);
    void happen(char event);
    void receive(QByteArrayView bytes) { m_port.arrive(bytes); }
    void expectSound() const;

private:
    void takeLine();

    MemoryPort<QSerialPort> m_port;
    Settings m_settings{&m_port, false, {}, {}, false};
    Serial_Connect m_service{&m_settings, {}, {}};
    SerialConnectProbe m_probe;
    int m_unchecked = 0;
};

void Service::prepare(Input& input)
{
    const int flags = input.byte();
    m_probe.ignoreInput = (flags & 1) != 0 && (flags & 2) != 0;
    m_probe.sendEnabled = (flags & 4) != 0;
    m_probe.holdChecking = (flags & 8) != 0 && (flags & 2) != 0;
    m_probe.checkingEnabled = (flags & 16) == 0;
    m_probe.portFound = (flags & 32) != 0;
    m_probe.advancePending = (flags & 64) != 0;
    m_settings.deviceReady = (flags & 128) != 0;
    const int more = input.byte();
    m_probe.statusAnswered = (more & 1) != 0;
    m_port.present = (more & 2) == 0;
    m_probe.candidatePorts
        = QStringList{QStringLiteral("a"), QStringLiteral("b")}.mid(more / 4 % 3);
    m_probe.triedPorts.clear();
    m_probe.portIndex = input.below(5) - 1;
    m_probe.waitTicks = input.below(4);
    m_probe.crcLineCount = input.below(7);
    m_probe.rxIndex = static_cast<qint16>(input.below(protocol::kLineCapacity));
    std::fill(std::begin(m_probe.rxBuffer), std::end(m_probe.rxBuffer),
        'r'); // no NUL: what is left over must not be read as part of a line
    m_port.close();
    m_port.written.clear();
    m_unchecked = 0;
    m_port.setBaudRate(QSerialPort::Baud19200);
    m_port.beOpen();
}

void Service::happen(char event)
{
    if (event == EventTick)
        m_service.OnTimeout();
    else if (event == EventAccept)
        m_service.Accept();
    else if (event == EventReject)
        m_service.Reject();
}

// The signal for lines without a checksum comes first: a line without that signal had one.
void Service::takeLine()
{
    if (m_unchecked > 0) {
        --m_unchecked;
        return;
    }
    // A NUL before the "$" ends the text that the signal carries, but not the line that is checked.
    const QByteArray line(m_probe.rxBuffer, m_probe.rxIndex);
    const qsizetype dollar = line.indexOf('$');
    const qsizetype star = dollar < 0 ? dollar : line.indexOf('*', dollar);
    expect(star >= 0, "a checked line has a checksum");
    constexpr qsizetype kMostDigits = 5;
    const QByteArrayView stated = *protocol::field(line.constData() + star + 1, 0);
    const QByteArrayView digits = stated.first(std::min(stated.size(), kMostDigits));
    expect(protocol::hexValue(digits) % 0x10000
            == reference::crc(line.mid(dollar + 1, star - dollar - 1)),
        "a checked line has the right checksum");
}

void Service::expectSound() const
{
    expect(m_probe.rxIndex >= 0 && m_probe.rxIndex < protocol::kLineCapacity, "write position");
    expect(m_probe.candidatePorts.size() <= 2 && m_probe.triedPorts.size() <= 3, "list of ports");
    for (const QByteArray& line : m_port.written)
        expect(line == "$V" || line.startsWith("$BOOTLOADM*"), "sends nothing but its two lines");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    startApplication();
    static auto* const service = new Service; // lives until the process ends
    Input input(data, size);
    service->prepare(input);
    const QByteArrayView stream = input.rest();
    const auto* start = stream.begin();
    while (start != stream.end()) {
        const auto* const end = std::find_if(start, stream.end(), isEvent);
        if (end != start)
            service->receive({start, end});
        start = end;
        if (start != stream.end())
            service->happen(*start++);
    }
    service->expectSound();
    handleEvents();
    return 0;
}
