// Runs a fuzz target once on every file, or file in a folder, that the arguments name: what a
// fuzzer has found stays tested without one.

#include <QByteArray>
#include <QDirIterator>
#include <QFileInfo>
#include <QStringList>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

QStringList filesOf(const QString& path)
{
    if (!QFileInfo(path).isDir())
        return {path};
    QStringList files;
    QDirIterator entries(path, QDir::Files);
    while (entries.hasNext())
        files << entries.next();
    files.sort();
    return files;
}

bool replay(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    // Printed before the run, which may crash.
    std::fprintf(stderr, "%s\n", qPrintable(path));
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
        static_cast<std::size_t>(bytes.size()));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        const QStringList files = filesOf(QString::fromLocal8Bit(argv[i]));
        for (const QString& path : files) {
            if (!replay(path))
                return 1;
            ++count;
        }
    }
    std::printf("%d runs\n", count);
    return count > 0 ? 0 : 1;
}
