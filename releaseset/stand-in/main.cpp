// Writes what the stand-in release set is made from into a folder: the manifest, the firmware, the
// start address and each screen as a PNG, which "release-set convert --dither" turns into its C
// source.

#include "releaseset/stand-in/Firmware.h"
#include "releaseset/stand-in/Screens.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

constexpr char kVersion[] = "D.02n";

bool save(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
}

QByteArray manifestOf(const QList<standin::Screen>& screens)
{
    QByteArrayList entries;
    for (const standin::Screen& screen : screens) {
        entries.append("        {\"FileName\": \"" + screen.fileName.toUtf8()
            + "\", \"ImageName\": " + QByteArray::number(screen.number)
            + ", \"ImageVersion\": " + QByteArray::number(screen.version) + "}");
    }
    return "{\n    \"Images\": [\n" + entries.join(",\n") + "\n    ],\n    \"Version\": \""
        + kVersion + "\"\n}\n";
}

bool makeParts(const QDir& directory)
{
    const QList<standin::Screen> screens = standin::allScreens();
    bool good = save(directory.filePath(QStringLiteral("settings.json")), manifestOf(screens))
        && save(directory.filePath(QStringLiteral("fw1.bin")), standin::makeFirmware())
        && save(
            directory.filePath(QStringLiteral("Address.bin")), QByteArray("\x00\x14\x00\x00", 4));
    for (const standin::Screen& screen : screens)
        good = good
            && screen.picture.save(directory.filePath(screen.title + QStringLiteral(".png")));
    return good;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: stand-in-parts DIR\n", stderr);
        return 2;
    }
    const QDir directory(QString::fromLocal8Bit(argv[1]));
    if (!directory.mkpath(QStringLiteral(".")) || !makeParts(directory)) {
        std::fprintf(stderr, "stand-in-parts: cannot write into %s\n", argv[1]);
        return 1;
    }
    return 0;
}
