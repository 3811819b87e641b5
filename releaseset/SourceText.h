#pragma once

#include <QByteArray>
#include <QList>
#include <QSize>

#include <vector>

namespace releaseset {

/// One word between the separators of the array, such as "0xa5".
struct SourceWord
{
    qsizetype position; ///< in SourceText::text
    qsizetype length;
    int line; ///< from 1
    bool joined; ///< no "," stands between this word and the one before it
};

/// A stretch of the array under one preprocessor condition.
struct SourceBlock
{
    QByteArray condition; ///< what follows "#if", or empty outside conditions
    int line = 0; ///< of the condition
    std::vector<SourceWord> words;
};

/// What a C compiler would see in an image source, with the places of what the program's own image
/// parser does not see as one.
struct SourceText
{
    QByteArray text;
    qsizetype arrayBrace = -1; ///< position of the "{" that opens the array, or -1
    int arrayLine = 0;
    bool closed = false; ///< whether the array's "}" was found, before another "{"
    QList<SourceBlock> blocks; ///< of the array, in order; blocks without words are left out
    int conditions = 0; ///< number of "#if" lines inside the array
    int firstComment = 0; ///< line of the first comment inside the array, or 0
    int firstDirective = 0; ///< line of the first preprocessor line inside the array, or 0
    QByteArray descriptor; ///< what follows the array, comments taken out

    /// The bytes of `word`, which must be one of this text's.
    [[nodiscard]] QByteArrayView at(const SourceWord& word) const;

    /// The number of words in all blocks.
    [[nodiscard]] qsizetype wordCount() const;
};

/// Takes an image source apart. Never fails: what is not there stays empty.
[[nodiscard]] SourceText readSource(const QByteArray& text);

/// The image that a display of 16 bits a pixel, low byte first, would show.
struct SourceImage
{
    QByteArray pixels;
    QSize size; ///< empty where the descriptor does not say
    QString fault; ///< why there is no image; empty when there is one
};

/// Decodes `source`: all of a plain array, or the block for 16 bits without swapped bytes of an
/// array with conditional blocks. Decimal and hexadecimal literals count as in C.
[[nodiscard]] SourceImage decodeSource(const SourceText& source);

} // namespace releaseset
