#include "bootload/DialogBootload.h"

#include "bootload/CompiledSet.h"
#include "bootload/Firmware.h"
#include "bootload/ImageParser.h"
#include "bootload/Log.h"
#include "serial/Serial_Connect.h"
#include "ui_DialogBootload.h"

namespace {

/// A job writes a few. A board that fails for days, or sends garbage, could fill the memory: the
/// oldest are dropped.
constexpr int kMostLogParagraphs = 10'000;

/// Gives `label` a narrower font, and where that is not enough a smaller one, until `text` fits
/// into its place: the geometry is prescribed, the system's font is not.
void fitFont(QLabel& label, const QString& text)
{
    constexpr int kNarrowest = QFont::Condensed; // percent: narrower is hard to read
    constexpr qreal kSmallestPoints = 4;
    constexpr qreal kStepPoints = 0.25;
    QFont font = label.font();
    const auto tooWide = [&] { return QFontMetrics(font).horizontalAdvance(text) > label.width(); };
    for (int stretch = QFont::Unstretched; tooWide() && stretch >= kNarrowest; --stretch)
        font.setStretch(stretch);
    // QFontInfo also knows the points of a font whose size is given in pixels.
    for (qreal points = QFontInfo(font).pointSizeF(); tooWide() && points > kSmallestPoints;
         points -= kStepPoints)
        font.setPointSizeF(points - kStepPoints);
    if (font != label.font())
        label.setFont(font);
}

/// The job of `mode`, for the log.
const char* jobName(int mode)
{
    switch (mode) {
    case JobEraseImages:
        return "erase";
    case JobImagesOnly:
        return "images";
    default:
        return "update";
    }
}

/// The text of the manifest; empty when it cannot be read.
QByteArray manifestText()
{
    const QString path = kResourcePrefix + kManifestFile;
    qCDebug(logJob) << path;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return file.readAll();
}

} // namespace

DialogBootload::DialogBootload(Serial_Connect* serialService, int jobMode, QWidget* parent)
    : QDialog(parent), ui(new Ui_DialogBootload), mode(jobMode), job(mode, images)
{
    ui->setupUi(this);
    qCDebug(logJob) << "Job" << jobName(mode);
    serial = serialService;
    connect(&timer, SIGNAL(timeout()), this, SLOT(Timeout()));
    timer.start(kTickInterval);

    // The only use of the service, and of its header. Qt refuses this connection because the dialog
    // has no such slot, and that is wanted: nothing that the service hears may reach a session.
    connect(serial, SIGNAL(GotMessageNoCRC(QString)), this, SLOT(GotMessage(QString)));

    ui->textEdit->document()->setMaximumBlockCount(kMostLogParagraphs);
    for (QProgressBar* bar : {ui->progressBarLoad, ui->progressBarVerify}) {
        bar->setMaximum(TotalSize());
        bar->setValue(0);
    }
    FindPorts();
    ReadManifest();
    ui->progressBarVerify->setMaximum(job.SentImages().BytesBefore(images.size()));
    ui->progressBarVerify->setMinimum(0);
    // A version that looks like markup is shown as it is.
    for (QLabel* label : {ui->label_UpdateVersion, ui->label_UnitVersion})
        label->setTextFormat(Qt::PlainText);
    connect(this, SIGNAL(finished(int)), this, SLOT(close(int)));
    setWindowTitle(Title());
    ui->label_UpdateVersion->setText(QStringLiteral("Update Version: ") + version);
    for (QLabel* label : {ui->label, ui->label_2, ui->label_Status})
        fitFont(*label, label->text());
    // "-" is the widest activity character.
    fitFont(*ui->labelTX, QStringLiteral("TX: -"));
    fitFont(*ui->labelRX, QStringLiteral("RX: -"));
}

DialogBootload::~DialogBootload()
{
    delete ui;
}

void DialogBootload::ReadManifest()
{
    const Manifest manifest = readManifest(manifestText());
    version = manifest.version;
    for (const ManifestImage& image : manifest.images) {
        const QString path = kResourcePrefix + image.fileName;
        AddImage(path, image.imageName, image.imageVersion);
        qCDebug(logJob) << "file " << path;
    }
    qCDebug(logJob) << "Files " << manifest.images.size();
    qCDebug(logJob).noquote() << "Release set" << version;
}

QString DialogBootload::Title() const
{
    switch (mode) {
    case JobEraseImages:
        return QStringLiteral("BRIVAN ANNEALING DB Firmware Update - Delete Images");
    case JobImagesOnly:
        return QStringLiteral("BRIVAN ANNEALING DB Firmware Update - Update Images");
    default:
        return QStringLiteral("BRIVAN ANNEALING DB Firmware Update ") + version;
    }
}

void DialogBootload::AddImage(QString fileName, int imageName, int imageVersion)
{
    QFile file(fileName);
    qCDebug(logJob) << file.exists();
    // An image that cannot be read is still announced, without bytes.
    const bool opened = file.open(QIODevice::ReadOnly);
    qCDebug(logJob) << file.size();

    ImageFile image;
    const QByteArray content = opened ? file.readAll() : QByteArray();
    file.close();
    LoadImage(content, image);
    image.imageName = imageName;
    image.imageVersion = imageVersion;
    images.append(image);
}

void DialogBootload::LoadImage(QByteArray text, ImageFile& image)
{
    parseImage(text, image);
}

int DialogBootload::TotalSize()
{
    return firmwareProgressSteps();
}

int DialogBootload::CurrentPosition(int address)
{
    return firmwareProgress(address);
}

void DialogBootload::Timeout()
{
    StepAllPorts();
}

void DialogBootload::StepAllPorts()
{
    if (portsFreed)
        return;
    for (PortTest* const port : std::as_const(ports))
        BootloadProcess(port);
}

void DialogBootload::BootloadProcess(PortTest* port)
{
    Apply(port, job.Step(*port));
}

void DialogBootload::Apply(PortTest* port, Effect effect)
{
    // The order matters. The line leaves first, and the other ports' lines leave before progress is
    // shown, which takes longer than a line. A port closes after its last line and opens after it
    // was closed. The log has things in the order in which they happen.
    if (effect.line)
        Send(port, *effect.line);
    if (!effect.plainLine.isEmpty())
        SendMessage(port, QString::fromUtf8(effect.plainLine));
    if (effect.closeAfterSending)
        CloseAfterSending(port);
    if (effect.reopenAt) {
        port->setBaudRate(*effect.reopenAt, QSerialPort::AllDirections);
        OpenPort(*port);
    }
    if (!effect.report.isEmpty())
        Report(*port, effect.report);
    if (effect.stepAllPorts)
        StepAllPorts();
    ShowProgress(effect);
}

void DialogBootload::Report(const PortTest& port, const QString& text)
{
    ui->textEdit->append(text);
    qCDebug(logJob).noquote() << port.portName() << text;
}

void DialogBootload::ShowProgress(const Effect& effect)
{
    // All boards share the bars: they jump from one board's progress to another's.
    if (effect.programProgress)
        ui->progressBarLoad->setValue(*effect.programProgress);
    if (effect.imageProgress)
        ui->progressBarVerify->setValue(*effect.imageProgress);
    if (effect.unitVersion)
        ui->label_UnitVersion->setText(QStringLiteral("Unit Version: ") + *effect.unitVersion);
}

void DialogBootload::GotMessage(PortTest* port, QString Msg)
{
    protocol::ReceiveBuffer received = port->received();
    received.terminateAt(port->rxIndex);
    received.replace(Msg.toUtf8());
    const QByteArrayView line = received.text();
    if (line.isEmpty())
        return;
    qCDebug(logWire).noquote().nospace()
        << port->portName() << " RX " << QString::fromUtf8(line.trimmed());
    Effect effect = job.TakeReply(*port, line);
    if (!effect.passedOver.isEmpty())
        qCDebug(logJob).noquote().nospace()
            << port->portName() << " passed over (" << effect.passedOver << ") "
            << QString::fromUtf8(line.trimmed());
    Apply(port, std::move(effect));
}

void DialogBootload::close(int i)
{
    Q_UNUSED(i)
    // Called twice, it deletes the ports once.
    if (portsFreed)
        return;
    // Until the dialog itself is deleted the timer can still tick, with deleted ports in the list.
    portsFreed = true;
    qCDebug(logJob) << "Dialog closed";
    for (qsizetype k = ports.size() - 1; k >= 0; --k) {
        ports.at(k)->close();
        delete ports.at(k);
    }
}
