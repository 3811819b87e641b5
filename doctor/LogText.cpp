#include "doctor/LogText.h"

#include <QDateTime>
#include <QTimeZone>

namespace doctor {

namespace {

QString timeText(Moment moment, const QString& format)
{
    // The log's own clock: its time zone is not known, and not needed.
    return moment ? QDateTime::fromMSecsSinceEpoch(*moment, QTimeZone::utc()).toString(format)
                  : QStringLiteral("an unknown time");
}

QString imageText(const Course& course, const PortCourse& port)
{
    QString text;
    // Counted from the job's beginning; without that the number is all that is known.
    if (port.image == 0)
        text = QStringLiteral("in an image");
    else if (course.job.isEmpty())
        text = QStringLiteral("in the image with number %1").arg(port.imageNumber);
    else if (course.images)
        text = QStringLiteral("in image %1 of %2").arg(port.image).arg(*course.images);
    else
        text = QStringLiteral("in image %1").arg(port.image);
    if (port.block > 0 && port.blocks > 0)
        text += QStringLiteral(", block %1 of %2").arg(port.block).arg(port.blocks);
    return text;
}

} // namespace

QString clockText(Moment moment)
{
    return timeText(moment, QStringLiteral("HH:mm:ss"));
}

QString dayText(Moment moment)
{
    return timeText(moment, QStringLiteral("yyyy-MM-dd 'at' HH:mm:ss"));
}

QString durationText(qint64 milliseconds)
{
    constexpr qint64 kSecondsPerMinute = 60;
    constexpr qint64 kSecondsPerHour = 3600;
    const qint64 seconds = milliseconds / 1000;
    if (seconds < kSecondsPerMinute)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < kSecondsPerHour)
        return QStringLiteral("%1 min %2 s")
            .arg(seconds / kSecondsPerMinute)
            .arg(seconds % kSecondsPerMinute);
    return QStringLiteral("%1 h %2 min")
        .arg(seconds / kSecondsPerHour)
        .arg(seconds % kSecondsPerHour / kSecondsPerMinute);
}

QString placeText(const Course& course, const PortCourse& port)
{
    switch (port.stage) {
    case Stage::Probe:
        return port.boardVersion.isEmpty() ? QStringLiteral("asking the board who it is")
                                           : QStringLiteral("waiting for its bootloader");
    case Stage::Captured:
        return QStringLiteral("capturing its bootloader");
    case Stage::EraseImages:
        return QStringLiteral("erasing the images");
    case Stage::Firmware:
        return port.page == 0 ? QStringLiteral("in a page of the software")
                              : QStringLiteral("in page %1 of %2").arg(port.page).arg(kPages);
    case Stage::Images:
        return imageText(course, port);
    case Stage::Finish:
        return QStringLiteral("after all was sent");
    case Stage::Complete:
        return QStringLiteral("at its end");
    }
    return {};
}

} // namespace doctor
