#include "releaseset/ReleaseSet.h"

#include "releaseset/ImageCheck.h"
#include "releaseset/ManifestCheck.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <optional>

namespace releaseset {

namespace {

void checkFirmware(const QByteArray& firmware, Findings& findings)
{
    const Place place{.file = kFirmwareFile};
    if (firmware.size() <= protocol::kFirmwareStart) {
        findings.error(place,
            QStringLiteral(
                "%1 bytes do not reach past the first page, so nothing of it would be sent; "
                "write the whole flash image from address 0")
                .arg(firmware.size()));
        return;
    }
    const qint64 past = firmware.size() - (protocol::kFirmwareLast + 1);
    if (past > 0) {
        findings.error(place,
            QStringLiteral(
                "%1 bytes lie past %2, the end of the firmware's flash, and would not be "
                "sent; shorten the image")
                .arg(past)
                .arg(addressText(protocol::kFirmwareLast)));
    }
    const QByteArray first = firmware.first(protocol::kFirmwareStart);
    if (first.count('\0') != first.size() && first.count(kErasedByte) != first.size()) {
        findings.error(place,
            QStringLiteral(
                "the first page is not empty, but it belongs to the bootloader and is not "
                "sent; write an image whose offset is the flash address"));
    }
}

void checkStartAddress(const QByteArray& bytes, Findings& findings)
{
    const Place place{.file = kAddressFile};
    if (bytes.size() != sizeof(quint32)) {
        findings.error(place,
            QStringLiteral("%1 bytes; write the start address as 4 bytes, the low one first")
                .arg(bytes.size()));
        return;
    }
    const auto written = qFromLittleEndian<quint32>(bytes.constData());
    const auto built = static_cast<quint32>(startAddressOf(bytes));
    if (built != written) {
        findings.error(place,
            QStringLiteral(
                "the updater builds %2 from the bytes of %1; the fourth byte must be 00 and each "
                "other below 80")
                .arg(addressText(written), addressText(built)));
    }
}

class SetReader
{
public:
    SetReader(const QString& directory, Findings& findings)
        : m_directory(directory), m_findings(findings)
    {
    }

    ReleaseSet read()
    {
        if (const auto text = content(kManifestFile, QStringLiteral("write the manifest there"))) {
            checkManifest(*text, m_findings);
            readImages(readManifest(*text));
        }
        const QString put = QStringLiteral("put it into the set");
        if (const auto bytes = content(kFirmwareFile, put)) {
            m_set.firmware = *bytes;
            checkFirmware(*bytes, m_findings);
        }
        if (const auto bytes = content(kAddressFile, put)) {
            m_set.startAddress = static_cast<quint32>(startAddressOf(*bytes));
            checkStartAddress(*bytes, m_findings);
        }
        noteUnusedSources();
        return m_set;
    }

private:
    std::optional<QByteArray> content(const QString& name, const QString& advice)
    {
        const QString path = m_directory.filePath(name);
        QFile file(path);
        if (!file.exists()) {
            m_findings.error({.file = name}, QStringLiteral("there is no such file; ") + advice);
        } else if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
            m_findings.error({.file = name}, QStringLiteral("the file cannot be read; ") + advice);
        } else {
            return file.readAll();
        }
        return std::nullopt;
    }

    void readImages(const Manifest& manifest)
    {
        m_set.version = manifest.version;
        for (const ManifestImage& entry : manifest.images) {
            SetImage image{.file = entry.fileName, .content = {}};
            if (!entry.fileName.isEmpty() && !leadsOut(entry.fileName))
                image.content = readContent(entry.fileName);
            image.content.imageName = entry.imageName;
            image.content.imageVersion = entry.imageVersion;
            m_set.images.append(image);
        }
    }

    ImageFile readContent(const QString& name)
    {
        const QString key = QStringLiteral("Images[%1]").arg(m_set.images.size());
        const auto text
            = content(name, QStringLiteral("put it into the set or correct %1.FileName").arg(key));
        if (isKnown(name)) {
            m_findings.warning({.file = name},
                QStringLiteral("%1 names the file a second time; is another one meant?").arg(key));
        }
        return text ? readImage(name, m_directory.filePath(name), *text, m_findings) : ImageFile();
    }

    [[nodiscard]] bool isKnown(const QString& file) const
    {
        return std::any_of(m_set.images.cbegin(), m_set.images.cend(),
            [&file](const SetImage& image) { return image.file == file; });
    }

    void noteUnusedSources()
    {
        if (m_set.images.isEmpty())
            return; // the fault is the manifest's
        const QStringList sources
            = m_directory.entryList({QStringLiteral("*.c")}, QDir::Files, QDir::Name);
        for (const QString& source : sources) {
            if (!isKnown(source)) {
                m_findings.warning({.file = source},
                    QStringLiteral(
                        "no entry of the manifest names it, so it is not sent; add one or "
                        "remove the file"));
            }
        }
    }

    QDir m_directory;
    Findings& m_findings;
    ReleaseSet m_set;
};

} // namespace

QString addressText(qint64 address)
{
    constexpr int kHexBase = 16;
    return QStringLiteral("0x") + QString::number(address, kHexBase).toUpper();
}

ReleaseSet readReleaseSet(const QString& directory, Findings& findings)
{
    return SetReader(directory, findings).read();
}

} // namespace releaseset
