#include "releaseset/Manifest.h"

#include <QDir>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace releaseset {

namespace {

/// Stands for a number that is faulty, so that it is not told a second time as a repeated one.
constexpr int kNoNumber = -1;

const QString kFile = QString::fromUtf16(kManifestFile);

Place placeOf(const QString& key)
{
    return {.file = kFile, .line = 0, .column = 0, .key = key};
}

QString described(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Null:
        return QStringLiteral("is null");
    case QJsonValue::Bool:
        return QStringLiteral("is a truth value");
    case QJsonValue::Double:
        return QStringLiteral("is the number %1").arg(value.toDouble(), 0, 'g', 10);
    case QJsonValue::String:
        return QStringLiteral("is a text");
    case QJsonValue::Array:
        return QStringLiteral("is an array");
    case QJsonValue::Object:
        return QStringLiteral("is an object");
    case QJsonValue::Undefined:
        break;
    }
    return QStringLiteral("is missing");
}

/// The place of byte `offset` of `text`, in lines and characters.
Place placeOfOffset(const QByteArray& text, qsizetype offset)
{
    const QByteArray before = text.first(qBound<qsizetype>(0, offset, text.size()));
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    return {.file = kFile,
        .line = static_cast<int>(before.count('\n')) + 1,
        .column = static_cast<int>(QString::fromUtf8(before.mid(lineStart)).size()) + 1,
        .key = {}};
}

void checkKeys(
    const QJsonObject& object, const QString& prefix, const QStringList& known, Findings& findings)
{
    for (const QString& key : object.keys()) {
        if (!known.contains(key)) {
            findings.error(placeOf(prefix + key),
                QStringLiteral("unknown key; remove it or write one of %1")
                    .arg(known.join(QStringLiteral(", "))));
        }
    }
}

class ManifestReader
{
public:
    explicit ManifestReader(Findings& findings) : m_findings(findings) { }

    Manifest read(const QByteArray& text)
    {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(text, &error);
        if (error.error != QJsonParseError::NoError) {
            m_findings.error(placeOfOffset(text, error.offset),
                QStringLiteral("malformed JSON (%1); correct the text there")
                    .arg(error.errorString()));
        } else if (!document.isObject()) {
            m_findings.error(placeOf({}),
                QStringLiteral(
                    "the manifest is an array; write an object with Images and Version"));
        } else {
            readTop(document.object());
        }
        return m_manifest;
    }

private:
    void readTop(const QJsonObject& top)
    {
        const QString imagesKey = QStringLiteral("Images");
        const QString versionKey = QStringLiteral("Version");
        checkKeys(top, {}, {imagesKey, versionKey}, m_findings);
        readVersion(top.value(versionKey), versionKey);
        const QJsonValue images = top.value(imagesKey);
        if (!images.isArray()) {
            m_findings.error(placeOf(imagesKey),
                described(images)
                    + QStringLiteral("; write an array with an entry for each image"));
            return;
        }
        if (images.toArray().isEmpty())
            m_findings.error(
                placeOf(imagesKey), QStringLiteral("there are no images; add an entry for each"));
        const QJsonArray entries = images.toArray();
        for (const auto& entry : entries)
            readEntry(entry);
        checkNumbersDiffer();
    }

    void readVersion(const QJsonValue& value, const QString& key)
    {
        m_manifest.version = value.toString();
        if (!value.isString()) {
            m_findings.error(placeOf(key),
                described(value) + QStringLiteral("; write the set's version as a text"));
        } else if (m_manifest.version.isEmpty()) {
            m_findings.error(placeOf(key), QStringLiteral("is empty; write the set's version"));
        }
    }

    void readEntry(const QJsonValue& value)
    {
        ManifestEntry entry;
        entry.key = QStringLiteral("Images[%1]").arg(m_manifest.images.size());
        entry.number = kNoNumber;
        if (value.isObject())
            readFields(value.toObject(), entry);
        else
            m_findings.error(placeOf(entry.key),
                described(value)
                    + QStringLiteral(
                        "; write an object with FileName, ImageName and ImageVersion"));
        m_manifest.images.append(entry);
    }

    void readFields(const QJsonObject& object, ManifestEntry& entry)
    {
        const QString fileName = QStringLiteral("FileName");
        const QString number = QStringLiteral("ImageName");
        const QString version = QStringLiteral("ImageVersion");
        const QString prefix = entry.key + QLatin1Char('.');
        checkKeys(object, prefix, {fileName, number, version}, m_findings);
        entry.fileName = readFileName(object.value(fileName), prefix + fileName);
        entry.number = readNumber(object.value(number), prefix + number);
        entry.version = std::max(readNumber(object.value(version), prefix + version), 0);
    }

    QString readFileName(const QJsonValue& value, const QString& key)
    {
        QString name = value.toString();
        if (!value.isString()) {
            m_findings.error(
                placeOf(key), described(value) + QStringLiteral("; write the image's file name"));
        } else if (name.isEmpty()) {
            m_findings.error(placeOf(key), QStringLiteral("is empty; write the image's file name"));
        } else if (name.startsWith(QLatin1Char('/'))
            || name.split(QLatin1Char('/')).contains(QStringLiteral(".."))) {
            m_findings.error(placeOf(key),
                QStringLiteral("\"%1\" leads out of the set; put the file into its folder")
                    .arg(name));
            return {};
        }
        return name;
    }

    int readNumber(const QJsonValue& value, const QString& key)
    {
        const QString advice
            = QStringLiteral("; write a whole number from 0 to %1").arg(kMaxNumber);
        const double number = value.toDouble();
        if (value.isUndefined()) {
            m_findings.warning(placeOf(key), QStringLiteral("is missing and counts as 0") + advice);
        } else if (!value.isDouble() || number < 0 || number > kMaxNumber
            || std::trunc(number) != number) {
            m_findings.error(placeOf(key), described(value) + advice);
            return kNoNumber;
        }
        return value.toInt();
    }

    void checkNumbersDiffer()
    {
        QHash<int, QString> firstWith;
        for (ManifestEntry& entry : m_manifest.images) {
            if (entry.number == kNoNumber) {
                entry.number = 0; // as the program reads it
            } else if (firstWith.contains(entry.number)) {
                m_findings.error(placeOf(entry.key + QStringLiteral(".ImageName")),
                    QStringLiteral("%1 is also the number of %2; give each image its own")
                        .arg(entry.number)
                        .arg(firstWith.value(entry.number)));
            } else {
                firstWith.insert(entry.number, entry.key);
            }
        }
    }

    Findings& m_findings;
    Manifest m_manifest;
};

} // namespace

Manifest readManifest(const QByteArray& text, Findings& findings)
{
    return ManifestReader(findings).read(text);
}

} // namespace releaseset
