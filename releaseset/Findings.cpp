#include "releaseset/Findings.h"

namespace releaseset {

QString toLine(const Finding& finding)
{
    const Place& place = finding.place;
    QString line = place.file;
    if (place.line > 0)
        line += QStringLiteral(":%1").arg(place.line);
    if (place.column > 0)
        line += QStringLiteral(":%1").arg(place.column);
    line += finding.severity == Severity::Error ? QStringLiteral(": error: ")
                                                : QStringLiteral(": warning: ");
    if (!place.key.isEmpty())
        line += place.key + QStringLiteral(": ");
    return line + finding.text;
}

} // namespace releaseset
