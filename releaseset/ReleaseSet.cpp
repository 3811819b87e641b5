#include "releaseset/ReleaseSet.h"

#include "releaseset/Flash.h"
#include "releaseset/ImageCheck.h"
#include "releaseset/Manifest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <optional>

namespace releaseset {

namespace {

class SetReader
{
public:
    SetReader(const QString& directory, Findings& findings)
        : m_directory(directory), m_findings(findings)
    {
    }

    ReleaseSet read()
    {
        if (const auto text = content(
                QString::fromUtf16(kManifestFile), QStringLiteral("write the manifest there")))
            readImages(readManifest(*text, m_findings));
        const QString put = QStringLiteral("put it into the set");
        if (const auto bytes = content(QString::fromUtf16(kFirmwareFile), put)) {
            m_set.firmware = *bytes;
            checkFirmware(*bytes, m_findings);
        }
        if (const auto bytes = content(QString::fromUtf16(kAddressFile), put)) {
            m_set.startAddress = *bytes;
            checkStartAddress(*bytes, m_findings);
        }
        noteUnusedSources();
        return m_set;
    }

private:
    std::optional<QByteArray> content(const QString& name, const QString& advice)
    {
        const QString path = m_directory.filePath(name);
        const Place place{.file = name, .line = 0, .column = 0, .key = {}};
        QFile file(path);
        if (!file.exists()) {
            m_findings.error(place, QStringLiteral("there is no such file; ") + advice);
        } else if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
            m_findings.error(place, QStringLiteral("the file cannot be read; ") + advice);
        } else {
            return file.readAll();
        }
        return std::nullopt;
    }

    void readImages(const Manifest& manifest)
    {
        m_set.version = manifest.version;
        for (const ManifestEntry& entry : manifest.images) {
            SetImage image{.file = entry.fileName, .content = {}};
            if (!entry.fileName.isEmpty())
                image.content = readContent(entry);
            image.content.imageName = entry.number;
            image.content.imageVersion = entry.version;
            m_set.images.append(image);
        }
    }

    ImageFile readContent(const ManifestEntry& entry)
    {
        const auto text = content(entry.fileName,
            QStringLiteral("put it into the set or correct %1.FileName").arg(entry.key));
        if (isKnown(entry.fileName)) {
            m_findings.warning({.file = entry.fileName, .line = 0, .column = 0, .key = {}},
                QStringLiteral("%1 names the file a second time; is another one meant?")
                    .arg(entry.key));
        }
        return text
            ? readImage(entry.fileName, m_directory.filePath(entry.fileName), *text, m_findings)
            : ImageFile();
    }

    [[nodiscard]] bool isKnown(const QString& file) const
    {
        return std::any_of(m_set.images.cbegin(), m_set.images.cend(),
            [&file](const SetImage& image) { return image.file == file; });
    }

    void noteUnusedSources()
    {
        if (m_set.images.isEmpty())
            return; // the manifest is what is wrong
        const QStringList sources
            = m_directory.entryList({QStringLiteral("*.c")}, QDir::Files, QDir::Name);
        for (const QString& source : sources) {
            if (!isKnown(source)) {
                m_findings.warning({.file = source, .line = 0, .column = 0, .key = {}},
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

ReleaseSet readReleaseSet(const QString& directory, Findings& findings)
{
    return SetReader(directory, findings).read();
}

} // namespace releaseset
