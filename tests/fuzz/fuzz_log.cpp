// Any file into the log's reader. What it reads from a log is tested by rows (tst_logreader); here
// any file has to end in a sentence or in a course that can be told.

#include "doctor/LogReader.h"
#include "doctor/LogRows.h"
#include "tests/fuzz/Fuzzing.h"

#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto length = static_cast<qsizetype>(size);
    QByteArray text(reinterpret_cast<const char*>(data), length);
    QBuffer file(&text);
    file.open(QIODevice::ReadOnly);
    doctor::Course course;
    QString error;
    const bool well = doctor::readLog(file, course, error);
    expect(well == error.isEmpty(), "a sentence where it is no log, and only there");
    if (!well)
        return 0;
    const QList<doctor::Row> rows = doctor::rowsOf(course);
    expect(rows.size() >= 3 && rows.size() <= 20, "few rows");
    for (const doctor::Row& row : rows)
        expect(!row.text.isEmpty() && row.text.size() < 2000, "short rows");
    expect(course.ports.size() <= 64, "no more ports than a computer has");
    return 0;
}
