#pragma once

class QFile;
struct ImageFile;

/// Reads a file through to its end and keeps nothing of it.
class ReadImageFile
{
public:
    /// Reads all of `file`, which is open for reading and stays the caller's. `image` is not used.
    ReadImageFile(QFile* file, ImageFile* image);
};
