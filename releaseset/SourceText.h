#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

#include <vector>

namespace releaseset {

/// One word between the separators of the array, such as "0xa5".
struct SourceWord
{
    qsizetype position; ///< in SourceText::text
    qsizetype length;
    int line; ///< from 1
    bool joined; ///< no "," comes between the word before it and this one
};

/// A stretch of the array under one preprocessor condition.
struct SourceBranch
{
    QByteArray condition; ///< what follows "#if", or empty outside conditions
    std::vector<SourceWord> words;
};

/// An entry of the descriptor.
struct SourceEntry
{
    QByteArray value; ///< as it is written, without comments
    int line = 0; ///< from 1
};

/// An image source as a C compiler sees it: the first array and the descriptor after it, with the
/// places of what the updater's own parser reads differently.
struct SourceText
{
    QByteArray text;
    qsizetype arrayBrace = -1; ///< position of the "{" that opens the array, or -1
    int arrayLine = 0;
    bool closed = false; ///< whether the array's "}" was found, before another "{"
    QList<SourceBranch> branches; ///< of the array, in order; branches without words are left out
    int conditions = 0; ///< number of "#if" lines inside the array
    int firstComment = 0; ///< line of the first comment inside the array, or 0
    int firstDirective = 0; ///< line of the first preprocessor line inside the array, or 0
    /// By full name, such as ".header.w", whether it is written so or as ".header = { .w = ...".
    QHash<QByteArray, SourceEntry> entries;
    int nested = 0; ///< line of the first entry that holds braces of its own, or 0

    /// The bytes of `word`, which must be one of this text's.
    [[nodiscard]] QByteArrayView at(const SourceWord& word) const
    {
        return QByteArrayView(text).sliced(word.position, word.length);
    }
};

/// Parses an image source. Never fails: what is missing stays empty.
[[nodiscard]] SourceText readSource(const QByteArray& text);

} // namespace releaseset
