#include "bootload/DialogBootload.h"

#include "bootload/Log.h"
#include "bootload/Manifest.h"
#include "bootload/Wire.h"
#include "serial/Serial_Connect.h"
#include "ui_DialogBootload.h"

namespace {

constexpr QLatin1StringView kResourcePrefix{":/res/"};

/// The text of the manifest; empty when it cannot be read.
QByteArray manifestText()
{
    const QString path = kResourcePrefix + QLatin1StringView("settings.json");
    qCDebug(logJob) << path;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return file.readAll();
}

/// A job writes a few. A board that fails for days, or says nonsense, writes on; the oldest go
/// then.
constexpr int kMostLogParagraphs = 10'000;

} // namespace

DialogBootload::DialogBootload(Serial_Connect* serialService, int jobMode, QWidget* parent)
    : QDialog(parent), ui(new Ui_DialogBootload), mode(jobMode)
{
    ui->setupUi(this);
    serial = serialService;
    connect(&timer, SIGNAL(timeout()), this, SLOT(Timeout()));
    timer.start(kTickInterval);

    // The only use of the service, and why serial/ is included: a request for a connection needs
    // the whole class. Refused by Qt, and wanted so: the dialog has no such slot, all of its
    // traffic runs through its own ports and nothing that the service hears may reach a session.
    connect(serial, SIGNAL(GotMessageNoCRC(QString)), this, SLOT(GotMessage(QString)));

    ui->textEdit->document()->setMaximumBlockCount(kMostLogParagraphs);
    for (QProgressBar* bar : {ui->progressBarLoad, ui->progressBarVerify}) {
        bar->setMaximum(TotalSize());
        bar->setValue(0);
    }
    FindPorts();
    ReadManifest();
    ui->progressBarVerify->setMaximum(BytesBefore(images.size()));
    ui->progressBarVerify->setMinimum(0);
    // Versions are shown as they stand, whatever is in them.
    for (QLabel* label : {ui->label_UpdateVersion, ui->label_UnitVersion})
        label->setTextFormat(Qt::PlainText);
    connect(this, SIGNAL(finished(int)), this, SLOT(close(int)));
    setWindowTitle(Title());
    ui->label_UpdateVersion->setText(QStringLiteral("Update Version: ") + version);
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

void DialogBootload::close(int i)
{
    Q_UNUSED(i)
    // A dialog can be told to finish twice; the ports go once.
    if (portsFreed)
        return;
    // Until the dialog itself is deleted the timer can still tick, over a list of freed ports.
    portsFreed = true;
    for (qsizetype k = ports.size() - 1; k >= 0; --k) {
        ports.at(k)->close();
        delete ports.at(k);
    }
}
