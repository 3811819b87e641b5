#pragma once

#include <QString>

namespace doctor {

/// One line of what the doctor says: of this computer, or of a log.
struct Row
{
    enum class Kind {
        Ok,
        ToDo,
        Unknown,
        Fact, ///< of a log: what happened, neither well nor to do
    };

    Kind kind{Kind::Unknown};
    /// What it is about, in a word: "adapter".
    QString topic;
    /// What was found, and where there is something to do, what, in plain words.
    QString text;

    bool operator==(const Row&) const = default;
};

} // namespace doctor
