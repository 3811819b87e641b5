#pragma once

#include "protocol/Commands.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>

#include <array>

/// \file
/// What the release set that is compiled in holds, besides the images themselves (ImageParser.h).

/// The names of its files.
inline constexpr QLatin1StringView kManifestFile{"settings.json"};
inline constexpr QLatin1StringView kFirmwareFile{"fw1.bin"};
inline constexpr QLatin1StringView kAddressFile{"Address.bin"};

/// The resource folder of the set.
inline constexpr QLatin1StringView kResourcePrefix{":/res/"};

/// What the manifest says about one display image.
struct ManifestImage
{
    /// Name of the file within the release set; empty when the manifest does not give one.
    QString fileName;
    /// The image's number on the display board; 0 when the manifest does not give one.
    int imageName = 0;
    /// The image's version; 0 when the manifest does not give one.
    int imageVersion = 0;
};

/// What a release set consists of.
struct Manifest
{
    /// The version of the firmware and the images; never empty.
    QString version;
    /// The images in the order in which they are sent.
    QList<ManifestImage> images;
};

/// Reads `text`, the content of the manifest. Nothing is reported: what is missing or of another
/// type takes its default, and a malformed text gives a manifest without images.
[[nodiscard]] Manifest readManifest(const QByteArray& text);

/// The start address of the first 4 of `bytes`; where there are fewer, the rest counts as 0. Each
/// byte is sign-extended first and the fourth is placed where the third is: prescribed so.
[[nodiscard]] qint32 startAddressOf(QByteArrayView bytes);

/// What flash reads as where the firmware image has no byte.
inline constexpr char kErasedByte = '\xFF';

/// The bytes of one data line.
using DataLineBytes = std::array<char, protocol::kDataLineSize>;

/// The firmware bytes for flash address `address`, which is their offset in `file`. Where the file
/// has none, because it ends or is not open, they are those of erased flash.
[[nodiscard]] DataLineBytes readFirmware(QFile& file, qint64 address);
