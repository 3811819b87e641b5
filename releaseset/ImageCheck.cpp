#include "releaseset/ImageCheck.h"

#include "bootload/ImageParser.h"
#include "releaseset/ImageSource.h"

#include <QRegularExpression>

namespace releaseset {

namespace {

/// Why the updater reads something else than the source says.
struct Difference
{
    int line = 0; ///< from 1, or 0 for the whole file
    QString text;
};

/// Literals are only taken with this prefix.
constexpr QByteArrayView kPrefix("0x");

const SourceWord* firstDropped(const SourceText& source)
{
    for (const SourceBranch& branch : source.branches) {
        for (const SourceWord& word : branch.words) {
            if (!source.at(word).startsWith(kPrefix))
                return &word;
        }
    }
    return nullptr;
}

Difference differenceOf(const SourceText& source, const SourceImage& meant, const ImageFile& image)
{
    if (source.conditions > 0) {
        return {source.firstDirective,
            QStringLiteral("%1 conditional branches in the array, of which every literal would be "
                           "sent (%2 instead of %3 bytes)")
                .arg(source.conditions)
                .arg(image.data.size())
                .arg(meant.pixels.size())};
    }
    const qsizetype brace = source.text.indexOf('{');
    if (brace != source.arrayBrace) {
        return {static_cast<int>(source.text.first(brace).count('\n')) + 1,
            QStringLiteral("a \"{\" before the array is taken for its start")};
    }
    if (source.firstComment > 0 && image.data != meant.pixels) {
        return {source.firstComment,
            QStringLiteral("a comment inside the array merges with the literals beside it")};
    }
    if (source.firstDirective > 0 && image.data != meant.pixels) {
        return {source.firstDirective,
            QStringLiteral(
                "a preprocessor line inside the array merges with the literals beside it")};
    }
    if (const SourceWord* const word = firstDropped(source)) {
        return {word->line,
            QStringLiteral("\"%1\" is dropped, because it does not begin with 0x")
                .arg(QString::fromUtf8(source.at(*word)))};
    }
    if (source.nested > 0) {
        return {source.nested,
            QStringLiteral("the descriptor nests its header, and width and height are not read "
                           "from there")};
    }
    if (source.entries.contains(".header.stride") && image.data != meant.pixels) {
        return {source.entries.value(".header.stride").line,
            QStringLiteral("the rows are padded to a stride, and the padding would be sent")};
    }
    return {source.entries.value(".header.w").line,
        QStringLiteral("the updater reads %1 bytes for %2 x %3 pixels instead of %4 for %5 x %6")
            .arg(image.data.size())
            .arg(image.width)
            .arg(image.height)
            .arg(meant.pixels.size())
            .arg(meant.size.width())
            .arg(meant.size.height())};
}

/// `path` as a word of a shell's command line.
QString shellWord(QString path)
{
    static const QRegularExpression unsafe(QStringLiteral("[^A-Za-z0-9_%+=:,./@-]"));
    if (path.startsWith(QLatin1Char('-')))
        path.prepend(QStringLiteral("./"));
    if (!path.contains(unsafe))
        return path;
    return QLatin1Char('\'') + path.replace(QLatin1Char('\''), QStringLiteral("'\\''"))
        + QLatin1Char('\'');
}

} // namespace

ImageFile readImage(
    const QString& file, const QString& path, const QByteArray& text, Findings& findings)
{
    ImageFile image;
    parseImage(text, image);
    const SourceText source = readSource(text);
    const SourceImage meant = decodeSource(source);
    const bool same = !meant.pixels.isEmpty() && image.data == meant.pixels
        && QSize(image.width, image.height) == meant.size;
    if (!meant.fault.isEmpty()) {
        // The updater does not read the colour format: it sends right bytes in any case.
        if (same)
            findings.warning({.file = file, .line = meant.faultLine}, meant.fault);
        else
            findings.error({.file = file, .line = meant.faultLine}, meant.fault);
    } else if (!same) {
        const Difference difference = differenceOf(source, meant, image);
        findings.error({.file = file, .line = difference.line},
            QStringLiteral("%1; mend it with: release-set convert %2 %2")
                .arg(difference.text, shellWord(path)));
    }
    return image;
}

} // namespace releaseset
