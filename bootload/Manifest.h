#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

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

/// Reads `text`, the content of "settings.json". Nothing is reported: what is missing or of another
/// type takes its default, and a malformed text gives a manifest without images.
[[nodiscard]] Manifest readManifest(const QByteArray& text);
