// Gives bytes to the receive path and the reply handling of a session in any state. An input is the
// numbers of two sessions, then what arrives at the first. Some bytes that no line has stand for
// events, see `Event`.

#include "bootload/Session.h"
#include "protocol/Commands.h"
#include "serial/Serial_Connect.h"
#include "serial/Settings.h"
#include "tests/fuzz/Fuzzing.h"
#include "tests/session/DialogBootloadProbe.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/MemoryPort.h"

#include <QProgressBar>
#include <QTextEdit>

#include <algorithm>
#include <memory>

using namespace protocol;

namespace {

enum Event : char {
    EventTick = '\xFE',
    EventNextRead = '\xFD',
    EventUnplugged = '\xFC',
    EventSwapBoards = '\xFB',
};

bool isEvent(char byte)
{
    return byte >= EventSwapBoards && byte <= EventTick;
}

/// A run begins at this image at most; the set has fewer.
constexpr int kMostImages = 4;

/// A dialog with two boards.
class Dialog
{
public:
    Dialog(Serial_Connect* service, int mode);

    void prepare(Input& input);
    void happen(char event);
    void receive(QByteArrayView bytes);
    void expectSound();

private:
    void prepare(MemoryPort<PortTest>& port, Input& input) const;
    static void prepareAnswers(PortTest& port, int flags);
    void expectSound(const MemoryPort<PortTest>& port) const;

    std::unique_ptr<DialogBootload> m_dialog;
    MemoryPort<PortTest> m_ports[2];
    int m_talking = 0;
    qsizetype m_events = 0; // lines and ticks of this run
    QTextEdit* m_log;
    QList<QProgressBar*> m_bars;
};

Dialog::Dialog(Serial_Connect* service, int mode)
    : m_dialog(std::make_unique<DialogBootload>(service, mode, nullptr)),
      m_log(m_dialog->findChild<QTextEdit*>(QStringLiteral("textEdit"))),
      m_bars(m_dialog->findChildren<QProgressBar*>())
{
    DialogBootloadProbe probe(*m_dialog);
    probe.timer().stop();
    for (MemoryPort<PortTest>& port : m_ports)
        probe.addPort(&port);
}

void Dialog::prepare(Input& input)
{
    m_talking = 0;
    m_events = 0;
    if (!m_log->document()->isEmpty())
        m_log->clear();
    for (MemoryPort<PortTest>& port : m_ports)
        prepare(port, input);
}

void Dialog::prepareAnswers(PortTest& port, int flags)
{
    const int times = (flags & 128) != 0 ? 3 : 1;
    port.answers = {};
    for (int i = 0; i < times && (flags & 8) != 0; ++i)
        port.answers.noteSent(LineKind::Data, port.flashAddress);
    for (int i = 0; i < times && (flags & 32) != 0; ++i)
        port.answers.noteSent(LineKind::ErasePage, port.flashAddress);
    for (int i = 0; i < times && (flags & 64) != 0; ++i)
        port.answers.noteSent(LineKind::ImageBlock, port.blockNumber);
}

void Dialog::prepare(MemoryPort<PortTest>& port, Input& input) const
{
    constexpr int kStates = 16;
    constexpr int kDataLines = (kFirmwareLast + 1 - kFirmwareStart) / kDataLineSize;
    const int flags = input.byte();
    port.close();
    port.setBaudRate(kApplicationBaudRate);
    port.present = (flags & 1) == 0;
    if ((flags & 2) == 0)
        port.beOpen();
    port.state = input.below(kStates);
    port.phase = input.below(PhaseVerified + 1);
    port.fwStep = input.below(FirmwareProgramChecked + 1);
    port.imageStep = input.below(ImageRestart + 1);
    port.retries = input.below(kProbeLines + 1);
    port.ticks = input.below(kProgramTicks + 2);
    port.imageIndex = input.below(kMostImages + 1);
    port.imageWait = input.below(kImageRestartWait + 1);
    port.blockNumber = input.below(4);
    port.imageOffset = input.below(4) * kBlockSize;
    port.flashAddress = kFirmwareStart + input.below(kDataLines + 1) * kDataLineSize;
    port.rxIndex = static_cast<qint16>(input.below(protocol::kLineCapacity));
    std::fill(std::begin(port.rxBuffer), std::end(port.rxBuffer), 'r');
    port.pageRefills = (flags & 16) != 0 ? kMostPageRefills : 0;
    prepareAnswers(port, flags);
    port.startAddress = 0;
    port.onTheWire = QDeadlineTimer();
    port.written.clear();
    port.file.close();
    if ((flags & 4) != 0) {
        port.file.setFileName(QStringLiteral(":/res/fw1.bin"));
        port.file.open(QIODevice::ReadOnly);
    }
}

void Dialog::happen(char event)
{
    if (event == EventTick) {
        ++m_events;
        m_dialog->Timeout();
    } else if (event == EventUnplugged) {
        m_ports[m_talking].close();
    } else if (event == EventSwapBoards) {
        m_talking = 1 - m_talking;
    }
}

void Dialog::receive(QByteArrayView bytes)
{
    m_events += bytes.count('\n');
    m_ports[m_talking].arrive(bytes);
}

void Dialog::expectSound()
{
    // A step of one session writes one paragraph at most.
    constexpr qsizetype kLongestParagraph = 80;
    const qsizetype most = 2 * (m_events + 1) * kLongestParagraph;
    expect(m_log->document()->characterCount() <= most, "the log grows with what happens only");
    for (const QProgressBar* const bar : std::as_const(m_bars)) {
        // Without images the bar has no range: Qt takes any value then.
        const bool within = bar->value() >= bar->minimum() && bar->value() <= bar->maximum();
        expect(within || bar->maximum() == 0, "progress");
    }
    for (const MemoryPort<PortTest>& port : m_ports)
        expectSound(port);
}

void Dialog::expectSound(const MemoryPort<PortTest>& port) const
{
    expect(port.rxIndex >= 0 && port.rxIndex < protocol::kLineCapacity, "write position");
    expect(port.state >= StateLoad && port.state <= StateFinish, "state");
    expect(port.phase >= PhaseNotCaptured && port.phase <= PhaseVerified, "phase");
    const auto images = DialogBootloadProbe(*m_dialog).images().size();
    expect(port.flashAddress >= 0 && port.imageOffset >= 0, "positions");
    // A run may begin past the last image: one answer then counts on, and ends the job.
    expect(port.imageIndex >= 0 && port.imageIndex <= std::max<qsizetype>(images, kMostImages + 1),
        "image");
    expect(port.fwStep >= FirmwareErase && port.fwStep <= FirmwareProgramChecked, "firmware step");
    expect(port.imageStep >= ImageAnnounce && port.imageStep <= ImageRestart, "image step");
    expect(port.ticks >= 0 && port.imageWait >= 0, "waits");
    // Each event sends one line at most, and a reply may send one of its own.
    expect(port.written.size() <= 2 * m_events, "lines sent");
    for (const QByteArray& line : port.written) {
        const bool capture = line == "$G\n";
        const bool framed
            = line.startsWith('$') && line.contains('*') && line.size() < protocol::kLineCapacity;
        expect(capture || framed, "every line is one of the wire");
    }
}

/// A dialog for each job, with images and without.
class Dialogs
{
public:
    Dialogs()
    {
        ReleaseSetFiles files = smallReleaseSet();
        {
            const ReleaseSetFixture withImages(files);
            addDialogs();
        }
        files.insert(QStringLiteral("settings.json"), "{}");
        m_set = std::make_unique<ReleaseSetFixture>(files);
        addDialogs();
    }

    [[nodiscard]] Dialog& dialog(int index)
    {
        return *m_dialogs.at(static_cast<std::size_t>(index));
    }
    [[nodiscard]] int size() const { return static_cast<int>(m_dialogs.size()); }

private:
    void addDialogs()
    {
        for (const int mode : {JobUpdate, JobImagesOnly, JobEraseImages})
            m_dialogs.push_back(std::make_unique<Dialog>(&m_service, mode));
    }

    QSerialPort m_servicePort;
    Settings m_settings{&m_servicePort, false, {}, {}, false};
    Serial_Connect m_service{&m_settings, {}, {}};
    std::unique_ptr<ReleaseSetFixture> m_set; // every data line reads the firmware from it
    std::vector<std::unique_ptr<Dialog>> m_dialogs;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    startApplication();
    static auto* const dialogs = new Dialogs; // lives until the process ends
    Input input(data, size);
    Dialog& dialog = dialogs->dialog(input.below(dialogs->size()));
    dialog.prepare(input);
    const QByteArrayView stream = input.rest();
    const auto* start = stream.begin();
    while (start != stream.end()) {
        const auto* const end = std::find_if(start, stream.end(), isEvent);
        if (end != start)
            dialog.receive({start, end});
        start = end;
        if (start != stream.end())
            dialog.happen(*start++);
    }
    dialog.expectSound();
    handleEvents();
    return 0;
}
