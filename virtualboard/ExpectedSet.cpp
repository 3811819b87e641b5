#include "virtualboard/ExpectedSet.h"

#include "virtualboard/FlashMemory.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <cctype>

namespace vboard {

namespace {

unsigned digitValue(char digit)
{
    const std::string_view digits = "0123456789abcdef";
    const auto lower = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
    const std::size_t value = digits.find(lower);
    return value == std::string_view::npos ? 0 : static_cast<unsigned>(value);
}

/// One item of the array, between two commas: what is neither letter nor digit does not count.
void appendItem(std::string_view item, std::string& data)
{
    std::string token;
    std::copy_if(item.begin(), item.end(), std::back_inserter(token), [](char c) {
        return static_cast<unsigned char>(c) < 0x80 && std::isalnum(static_cast<unsigned char>(c));
    });
    if (token.compare(0, 2, "0x") != 0)
        return;
    token.insert(2, "00"); // so that there always are two last digits
    const unsigned high = digitValue(token[token.size() - 2]);
    data += static_cast<char>(high << 4U | digitValue(token.back()));
}

void readArray(std::string_view text, std::string& data)
{
    const std::size_t begin = text.find('{');
    if (begin == std::string_view::npos)
        return;
    text.remove_prefix(begin + 1);
    const std::size_t end = text.find('}');
    // Without its closing brace the array ends at the last comma.
    text = text.substr(0, end == std::string_view::npos ? text.rfind(',') + 1 : end);
    while (!text.empty()) {
        const std::size_t comma = text.find(',');
        appendItem(text.substr(0, comma), data);
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
}

std::string contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

} // namespace

void readImageText(const std::string& text, ExpectedImage& image)
{
    readArray(text, image.data);
    const std::size_t arrayEnd = text.find('}');
    const std::size_t descriptor
        = arrayEnd == std::string::npos ? arrayEnd : text.find('{', arrayEnd);
    if (descriptor == std::string::npos)
        return;
    const QString rest = QString::fromStdString(
        text.substr(descriptor, text.find('}', descriptor) + 1 - descriptor));
    static const QRegularExpression entry(
        QStringLiteral("\\.header\\.([wh])\\s*=\\s*([0-9]{1,9})\\s*[,}]"));
    for (const QRegularExpressionMatch& match : entry.globalMatch(rest))
        (match.captured(1) == u'w' ? image.width : image.height) = match.captured(2).toUInt();
}

std::optional<ExpectedSet> ExpectedSet::read(const QString& folder, QString& error)
{
    const QDir directory(folder);
    QFile manifest(directory.filePath(QStringLiteral("settings.json")));
    QFile firmware(directory.filePath(QStringLiteral("fw1.bin")));
    for (QFile* file : {&manifest, &firmware}) {
        if (!file->open(QIODevice::ReadOnly)) {
            error = QStringLiteral("%1: %2").arg(file->fileName(), file->errorString());
            return std::nullopt;
        }
    }
    ExpectedSet set;
    std::string flash = firmware.readAll().toStdString();
    flash.resize(FlashMemory::kEndAddress, FlashMemory::kErased);
    set.firmware = flash.substr(FlashMemory::kFirstAddress);

    const QJsonArray images = QJsonDocument::fromJson(manifest.readAll())
                                  .object()
                                  .value(QStringLiteral("Images"))
                                  .toArray();
    for (const auto& value : images) {
        ExpectedImage image;
        image.fileName = value[QStringLiteral("FileName")].toString();
        image.number = static_cast<std::uint32_t>(value[QStringLiteral("ImageName")].toInt());
        image.version = static_cast<std::uint32_t>(value[QStringLiteral("ImageVersion")].toInt());
        readImageText(contentOf(directory.filePath(image.fileName)), image);
        set.images.push_back(std::move(image));
    }
    return set;
}

} // namespace vboard
