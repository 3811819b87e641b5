#include "doctor/Answer.h"

#include "doctor/Causes.h"
#include "doctor/ComputerRows.h"
#include "doctor/CoursePicture.h"
#include "doctor/Facts.h"
#include "doctor/LogReader.h"
#include "doctor/LogRows.h"

#include <QDir>
#include <QFile>

#include <algorithm>

namespace doctor {

namespace {

QString markOf(Row::Kind kind)
{
    switch (kind) {
    case Row::Kind::Ok:
        return QStringLiteral("ok  ");
    case Row::Kind::ToDo:
        return QStringLiteral("do  ");
    case Row::Kind::Unknown:
        return QStringLiteral("?   ");
    case Row::Kind::Fact:
        break;
    }
    return QStringLiteral("    ");
}

} // namespace

Answer answerOfComputer()
{
    return {QStringLiteral("This computer"), rowsOf(factsOfThisComputer()), {}};
}

Answer answerOfLog(const QString& path, QSize size)
{
    Answer answer{QDir::toNativeSeparators(path), {}, {}};
    QFile file(path);
    Course course;
    QString error;
    const bool isOpen = file.open(QIODevice::ReadOnly);
    if (!isOpen)
        error = QStringLiteral("The log cannot be opened: %1.").arg(file.errorString());
    if (!isOpen || !readLog(file, course, error)) {
        answer.rows = {rowOf(Cause::NoLog, {error})};
        return answer;
    }
    answer.rows = rowsOf(course);
    if (!size.isEmpty())
        answer.picture = pictureOf(course, size);
    return answer;
}

qsizetype toDoCount(const QList<Row>& rows)
{
    return std::ranges::count(rows, Row::Kind::ToDo, &Row::kind);
}

QString textOf(const QList<Row>& rows)
{
    QString text;
    for (const Row& row : rows)
        text += QStringLiteral("%1%2: %3\n").arg(markOf(row.kind), row.topic, row.text);
    return text;
}

} // namespace doctor
