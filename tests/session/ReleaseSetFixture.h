#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// Files by name, as they stand in a release set.
using ReleaseSetFiles = QMap<QString, QByteArray>;

/// A release set under ":/res/" for as long as this object lives, for tests that are not about the
/// set that ships. One at a time.
class ReleaseSetFixture
{
public:
    /// Compiles `files` with Qt's resource compiler and registers them. Throws std::runtime_error
    /// when that fails.
    explicit ReleaseSetFixture(const ReleaseSetFiles& files);
    ~ReleaseSetFixture();
    ReleaseSetFixture(const ReleaseSetFixture&) = delete;
    ReleaseSetFixture& operator=(const ReleaseSetFixture&) = delete;

private:
    QByteArray m_resource;
};

/// An image as C source, `width` by `height`, with the bytes of `pixels`.
[[nodiscard]] QByteArray imageSource(const QByteArray& pixels, int width, int height);

/// A set of three small images (600, 256 and 16 bytes; numbers 0, 3 and 17, versions 1, 2 and 10),
/// version "T.07", a start address of 0x1400 and a firmware image that ends 100 bytes into the page
/// 0x2000.
[[nodiscard]] ReleaseSetFiles smallReleaseSet();

/// The pixel bytes of image `index` of the small set.
[[nodiscard]] QByteArray smallImage(int index);
