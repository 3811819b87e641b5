#pragma once

#include "doctor/Row.h"

#include <QImage>
#include <QList>
#include <QSize>

namespace doctor {

/// What the doctor says of one thing: of this computer, or of a log.
struct Answer
{
    QString about; ///< what was looked at, for a heading: "This computer"
    QList<Row> rows;
    QImage picture; ///< of a log, its course; null for anything else
};

/// Looks at this computer: see factsOfThisComputer().
[[nodiscard]] Answer answerOfComputer();

/// Reads the log `path` and draws a picture of it, `size` pixels large; none where `size` is empty.
/// A log that cannot be read is answered with a row that says why.
[[nodiscard]] Answer answerOfLog(const QString& path, QSize size);

/// How many rows have something to do.
[[nodiscard]] qsizetype toDoCount(const QList<Row>& rows);

/// The rows as lines, each with "ok", "do" or "?" before it.
[[nodiscard]] QString textOf(const QList<Row>& rows);

} // namespace doctor
