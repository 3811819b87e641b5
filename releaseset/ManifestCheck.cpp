#include "releaseset/ManifestCheck.h"

#include "bootload/CompiledSet.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace releaseset {

namespace {

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
    return {.file = kManifestFile,
        .line = static_cast<int>(before.count('\n')) + 1,
        .column = static_cast<int>(QString::fromUtf8(before.mid(lineStart)).size()) + 1};
}

class ManifestChecker
{
public:
    explicit ManifestChecker(Findings& findings) : m_findings(findings) { }

    void check(const QByteArray& text)
    {
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
        if (parseError.error != QJsonParseError::NoError) {
            m_findings.error(placeOfOffset(text, parseError.offset),
                QStringLiteral("malformed JSON (%1); correct the text there")
                    .arg(parseError.errorString()));
        } else if (!document.isObject()) {
            error({},
                QStringLiteral(
                    "the manifest is an array; write an object with Images and Version"));
        } else {
            checkTop(document.object());
        }
    }

private:
    static Place placeOf(const QString& key) { return {.file = kManifestFile, .key = key}; }

    void error(const QString& key, const QString& text) { m_findings.error(placeOf(key), text); }

    void checkKeys(const QJsonObject& object, const QString& prefix, const QStringList& known)
    {
        const QStringList keys = object.keys();
        for (const QString& key : keys) {
            if (!known.contains(key)) {
                error(prefix + key,
                    QStringLiteral("unknown key; remove it or write one of %1")
                        .arg(known.join(QStringLiteral(", "))));
            }
        }
    }

    void checkTop(const QJsonObject& top)
    {
        const QString imagesKey = QStringLiteral("Images");
        const QString versionKey = QStringLiteral("Version");
        checkKeys(top, {}, {imagesKey, versionKey});
        checkText(top.value(versionKey), versionKey, QStringLiteral("write the set's version"),
            QStringLiteral(" as a text"));
        const QJsonValue images = top.value(imagesKey);
        const QJsonArray entries = images.toArray();
        if (!images.isArray()) {
            error(imagesKey,
                described(images)
                    + QStringLiteral("; write an array with an entry for each image"));
        } else if (entries.isEmpty()) {
            error(imagesKey, QStringLiteral("there are no images; add an entry for each"));
        }
        for (qsizetype i = 0; i < entries.size(); ++i)
            checkEntry(entries.at(i), QStringLiteral("Images[%1]").arg(i));
    }

    void checkEntry(const QJsonValue& value, const QString& key)
    {
        if (!value.isObject()) {
            error(key,
                described(value)
                    + QStringLiteral(
                        "; write an object with FileName, ImageName and ImageVersion"));
            return;
        }
        const QString nameKey = QStringLiteral("FileName");
        const QString numberKey = QStringLiteral("ImageName");
        const QString versionKey = QStringLiteral("ImageVersion");
        const QString prefix = key + QLatin1Char('.');
        const QJsonObject entry = value.toObject();
        checkKeys(entry, prefix, {nameKey, numberKey, versionKey});
        checkText(
            entry.value(nameKey), prefix + nameKey, QStringLiteral("write the image's file name"));
        if (leadsOut(entry.value(nameKey).toString())) {
            error(prefix + nameKey,
                QStringLiteral("\"%1\" leads out of the set; put the file into its folder")
                    .arg(entry.value(nameKey).toString()));
        }
        if (checkNumber(entry.value(numberKey), prefix + numberKey))
            checkOwnNumber(entry.value(numberKey).toInt(), key);
        checkNumber(entry.value(versionKey), prefix + versionKey);
    }

    /// No text is an error with `advice` and `more`, an empty text one with `advice` alone.
    void checkText(const QJsonValue& value, const QString& key, const QString& advice,
        const QString& more = {})
    {
        if (!value.isString())
            error(key, described(value) + QStringLiteral("; ") + advice + more);
        else if (value.toString().isEmpty())
            error(key, QStringLiteral("is empty; ") + advice);
    }

    /// Returns false where the value is faulty.
    bool checkNumber(const QJsonValue& value, const QString& key)
    {
        const QString advice
            = QStringLiteral("; write a whole number from 0 to %1").arg(kMaxNumber);
        const double number = value.toDouble();
        if (value.isUndefined()) {
            m_findings.warning(placeOf(key), QStringLiteral("is missing and counts as 0") + advice);
        } else if (!value.isDouble() || number < 0 || number > kMaxNumber
            || std::trunc(number) != number) {
            error(key, described(value) + advice);
            return false;
        }
        return true;
    }

    void checkOwnNumber(int number, const QString& key)
    {
        const QString first = m_firstWith.value(number);
        if (first.isEmpty()) {
            m_firstWith.insert(number, key);
        } else {
            error(key + QStringLiteral(".ImageName"),
                QStringLiteral("%1 is also the number of %2; give each image its own")
                    .arg(number)
                    .arg(first));
        }
    }

    Findings& m_findings;
    QHash<int, QString> m_firstWith; ///< the keys of the images, by number
};

} // namespace

void checkManifest(const QByteArray& text, Findings& findings)
{
    ManifestChecker(findings).check(text);
}

bool leadsOut(const QString& fileName)
{
    return fileName.startsWith(QLatin1Char('/'))
        || fileName.split(QLatin1Char('/')).contains(QStringLiteral(".."));
}

} // namespace releaseset
