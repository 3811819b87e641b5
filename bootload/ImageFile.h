#pragma once

#include <QByteArray>
#include <QFile>

/// One display image, ready to be sent.
struct ImageFile
{
    /// The pixel bytes in the order of the file: RGB565, low byte first, 2 bytes a pixel.
    QByteArray data;
    /// Width in pixels; 0 when the file does not name it.
    int width = 0;
    /// Height in pixels; 0 when the file does not name it.
    int height = 0;
    /// The image's number on the display board.
    int imageName = 0;
    /// The image's version.
    int imageVersion = 0;
};

/// Reads a file to its end and keeps nothing of it.
class ReadImageFile
{
public:
    /// Reads all of `file`, which is open for reading and stays the caller's. `image` is not used.
    ReadImageFile(QFile* file, ImageFile* image)
    {
        Q_UNUSED(image)
        file->readAll();
    }
};
