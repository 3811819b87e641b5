#pragma once

#include "doctor/Course.h"

#include <QByteArrayView>

namespace doctor {

/// A line of the updater's log. The views point into the text that it was taken from.
struct LogLine
{
    enum class Source {
        Other, ///< not the updater's own
        Job,
        Wire,
    };

    Moment time;
    Source source{Source::Other};
    QByteArrayView message;
};

/// The parts of `text`, a line without its line feed: with a time before the category, as a log
/// that was asked for has it, or without.
[[nodiscard]] LogLine logLineOf(QByteArrayView text);

/// A line to a board or from it.
struct WireLine
{
    enum class Way {
        Sent,
        NotSent,
        Received,
    };

    Way way{};
    QByteArrayView port;
    QByteArrayView text;
};

/// The parts of a wire line's message; nothing for another message.
[[nodiscard]] std::optional<WireLine> wireLineOf(QByteArrayView message);

/// `text` to be shown: cut where it is too long for a row, and without what a terminal obeys.
[[nodiscard]] QString shownText(QByteArrayView text);

/// The texts in `message` that stand in quotation marks; an escaped character stands for itself.
/// To be shown, as well.
[[nodiscard]] QStringList quotedIn(QByteArrayView message);

} // namespace doctor
