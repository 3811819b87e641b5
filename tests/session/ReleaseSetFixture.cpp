#include "tests/session/ReleaseSetFixture.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QResource>
#include <QTemporaryDir>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace {

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

QByteArray collection(const QStringList& names)
{
    QByteArray text = "<RCC><qresource prefix=\"/res\">";
    for (const QString& name : names)
        text += "<file>" + name.toUtf8() + "</file>";
    return text + "</qresource></RCC>";
}

QByteArray compile(const ReleaseSetFiles& files)
{
    const QTemporaryDir temporary;
    const QDir directory(temporary.path());
    for (auto file = files.begin(); file != files.end(); ++file)
        writeFile(directory.filePath(file.key()), file.value());
    writeFile(directory.filePath(QStringLiteral("set.qrc")), collection(files.keys()));
    const QString output = directory.filePath(QStringLiteral("set.rcc"));
    QProcess rcc;
    rcc.start(QStringLiteral(RCC_PROGRAM),
        {QStringLiteral("--binary"), QStringLiteral("--no-compress"), QStringLiteral("-o"), output,
            directory.filePath(QStringLiteral("set.qrc"))});
    if (!rcc.waitForFinished() || rcc.exitCode() != 0)
        throw std::runtime_error("the resource compiler failed: " + rcc.readAll().toStdString());
    QFile file(output);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("the resource compiler wrote nothing");
    return file.readAll();
}

/// `files` compiled; the same set is compiled once, most tests are on the small one.
QByteArray compiled(const ReleaseSetFiles& files)
{
    struct Set
    {
        ReleaseSetFiles files;
        QByteArray resource;
    };
    static std::vector<Set> known;
    const auto same = std::find_if(
        known.begin(), known.end(), [&files](const Set& set) { return set.files == files; });
    if (same != known.end())
        return same->resource;
    return known.emplace_back(Set{files, compile(files)}).resource;
}

} // namespace

ReleaseSetFixture::ReleaseSetFixture(const ReleaseSetFiles& files)
{
    // An empty collection is no collection for the resource compiler, and needs no resource.
    if (files.isEmpty())
        return;
    m_resource = compiled(files);
    if (!QResource::registerResource(reinterpret_cast<const uchar*>(m_resource.constData())))
        throw std::runtime_error("the release set could not be registered");
}

ReleaseSetFixture::~ReleaseSetFixture()
{
    if (!m_resource.isEmpty())
        QResource::unregisterResource(reinterpret_cast<const uchar*>(m_resource.constData()));
}

QByteArray imageSource(const QByteArray& pixels, int width, int height)
{
    QByteArray text = "Test_map[] = {\n";
    for (const char byte : pixels)
        text += "0x" + QByteArray(1, byte).toHex() + ", ";
    text += "\n};\nconst lv_img_dsc_t Test = {\n  .header.w = " + QByteArray::number(width);
    return text + ",\n  .header.h = " + QByteArray::number(height) + ",\n  .data = Test_map,\n};\n";
}

QByteArray smallImage(int index)
{
    static constexpr int kSizes[] = {600, 256, 16};
    QByteArray bytes;
    for (int i = 0; i < kSizes[index]; ++i)
        bytes.append(static_cast<char>(i * 7 + index));
    return bytes;
}

ReleaseSetFiles smallReleaseSet()
{
    QByteArray firmware(0x1000, '\0');
    for (int address = 0x1000; address < 0x2000 + 100; ++address)
        firmware.append(static_cast<char>(address * 3 + address / 256));
    return {
        {QStringLiteral("settings.json"), R"({"Images": [
            {"FileName": "a.c", "ImageName": 0, "ImageVersion": 1},
            {"FileName": "b.c", "ImageName": 3, "ImageVersion": 2},
            {"FileName": "c.c", "ImageName": 17, "ImageVersion": 10}], "Version": "T.07"})"},
        {QStringLiteral("a.c"), imageSource(smallImage(0), 300, 1)},
        {QStringLiteral("b.c"), imageSource(smallImage(1), 16, 8)},
        {QStringLiteral("c.c"), imageSource(smallImage(2), 4, 2)},
        {QStringLiteral("fw1.bin"), firmware},
        {QStringLiteral("Address.bin"), QByteArray("\x00\x14\x00\x00", 4)},
    };
}
