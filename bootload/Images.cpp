#include "bootload/DialogBootload.h"
#include "bootload/ImageParser.h"
#include "bootload/Log.h"
#include "bootload/Wire.h"

void DialogBootload::AddImage(QString fileName, int imageName, int imageVersion)
{
    QFile file(fileName);
    qCDebug(logJob) << file.exists();
    // An image that cannot be read is announced all the same, without bytes.
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
    constexpr int kFirmwareProgressSteps = 913414;
    return kFirmwareProgressSteps;
}

int DialogBootload::CurrentPosition(int address)
{
    // Two address ranges share the scale: the firmware and the seven addresses above it that fill
    // the bar's last steps. What lies between them, and above, shows as the end of the first.
    constexpr int kFirstOfTail = 0xEEFF8;
    constexpr int kLastOfTail = 0xEEFFE;
    constexpr int kTailOffset = 0xFFF9;
    constexpr int kBetween = kFirmwareLast - kFirmwareStart;

    if (address < kFirmwareLast)
        return qMax(address, kFirmwareStart) - kFirmwareStart;
    if (address >= kFirstOfTail && address <= kLastOfTail)
        return address - kTailOffset;
    return kBetween;
}

int DialogBootload::BytesBefore(qsizetype index)
{
    // Asked for at every block: the sums are kept.
    if (imageStarts.isEmpty())
        imageStarts.append(0);
    while (imageStarts.size() <= images.size()) {
        const auto size = images.at(imageStarts.size() - 1).data.size();
        imageStarts.append(imageStarts.last() + static_cast<int>(size));
    }
    return imageStarts.at(qBound<qsizetype>(0, index, images.size()));
}

int DialogBootload::ImageProgress(const PortTest* port)
{
    return BytesBefore(port->imageIndex) + port->imageOffset;
}
