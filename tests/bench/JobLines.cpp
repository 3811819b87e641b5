#include "tests/bench/JobLines.h"

#include "bootload/ImageParser.h"

#include <QDir>

#include <stdexcept>

using protocol::Line;

namespace {

QByteArray contentOf(const QDir& set, const QString& name)
{
    QFile file(set.filePath(name));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + file.fileName().toStdString());
    return file.readAll();
}

} // namespace

JobLines::JobLines(const QString& releaseSet) : m_firmware(contentOf(releaseSet, kFirmwareFile))
{
    m_firmware.resize(protocol::kFirmwareLast + 1, kErasedByte);
    plan([] { return Line(protocol::kCapture); });
    for (qint32 page = protocol::kFirmwareStart; page < m_firmware.size();
         page += protocol::kPageSize)
        planPage(page);
    const Manifest manifest = readManifest(contentOf(releaseSet, kManifestFile));
    for (const ManifestImage& entry : manifest.images) {
        ImageFile image;
        image.imageName = entry.imageName;
        image.imageVersion = entry.imageVersion;
        parseImage(contentOf(releaseSet, entry.fileName), image);
        planImage(image);
    }
    plan([] { return Line(protocol::kExit); });
}

void JobLines::planPage(qint32 page)
{
    plan([page] { return protocol::erasePageLine(page); });
    for (qint32 at = page; at < page + protocol::kPageSize; at += protocol::kDataLineSize) {
        plan([this, at] {
            return protocol::dataLine(
                at, QByteArrayView(m_firmware).sliced(at, protocol::kDataLineSize));
        });
    }
    plan([page] { return protocol::programPageLine(page); });
}

void JobLines::planImage(const ImageFile& image)
{
    plan([image] {
        return protocol::imageLine(image.imageName, image.imageVersion, image.width, image.height);
    });
    const qsizetype blocks = (image.data.size() + protocol::kBlockSize - 1) / protocol::kBlockSize;
    for (qint32 block = 0; block < blocks; ++block) {
        plan([block, data = image.data] {
            return protocol::blockLine(
                block, data.mid(block * protocol::kBlockSize, protocol::kBlockSize));
        });
    }
}

QByteArrayView JobLines::askForBootloader()
{
    m_line = Line(protocol::kEnterBootloader);
    return framed();
}

QByteArrayView JobLines::answerTo(QByteArrayView reply)
{
    if (finished() || !reply.startsWith(m_awaited))
        throw std::runtime_error("unexpected reply: " + reply.toByteArray().toStdString());
    m_line = m_plan.at(m_next++)();
    m_awaited = m_line.view().first(2).toByteArray() + "ACK"; // "$DACK" answers "$D"
    return framed();
}

QByteArrayView JobLines::framed()
{
    const bool plain = m_line.view() == protocol::kCapture;
    const bool fits = plain ? protocol::appendLineFeed(m_line.buffer())
                            : protocol::appendChecksum(m_line.buffer());
    if (!fits)
        throw std::runtime_error("a line is too long");
    return protocol::textOf(m_line.buffer());
}
