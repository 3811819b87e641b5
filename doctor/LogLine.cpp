#include "doctor/LogLine.h"

#include <QDate>

#include <algorithm>
#include <charconv>

namespace doctor {

namespace {

constexpr QByteArrayView kTimePattern{"0000-00-00 00:00:00.000 "};

bool matchesTime(QByteArrayView text)
{
    if (text.size() < kTimePattern.size())
        return false;
    for (qsizetype i = 0; i < kTimePattern.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (kTimePattern[i] == '0' ? !isDigit : text[i] != kTimePattern[i])
            return false;
    }
    return true;
}

int numberIn(QByteArrayView text, qsizetype from, qsizetype size)
{
    int number = 0;
    std::from_chars(text.data() + from, text.data() + from + size, number);
    return number;
}

/// Of a text that matches the pattern; nothing for a day or an hour that does not exist.
Moment timeOf(QByteArrayView text)
{
    constexpr qint64 kMillisecondsPerDay = 86'400'000;
    constexpr qint64 kEpoch = 2'440'588; // 1970-01-01 as a Julian day
    const QDate date(numberIn(text, 0, 4), numberIn(text, 5, 2), numberIn(text, 8, 2));
    const int hour = numberIn(text, 11, 2);
    const int minute = numberIn(text, 14, 2);
    const int second = numberIn(text, 17, 2);
    if (!date.isValid() || hour > 23 || minute > 59 || second > 60)
        return {};
    return (date.toJulianDay() - kEpoch) * kMillisecondsPerDay
        + ((hour * qint64{60} + minute) * 60 + second) * 1000 + numberIn(text, 20, 3);
}

bool takePrefix(QByteArrayView& text, QByteArrayView prefix)
{
    if (!text.startsWith(prefix))
        return false;
    text = text.sliced(prefix.size());
    return true;
}

} // namespace

LogLine logLineOf(QByteArrayView text)
{
    LogLine line;
    if (matchesTime(text)) {
        line.time = timeOf(text);
        text = text.sliced(kTimePattern.size());
    }
    if (takePrefix(text, "updater.wire: "))
        line.source = LogLine::Source::Wire;
    else if (takePrefix(text, "updater.job: "))
        line.source = LogLine::Source::Job;
    line.message = text.trimmed();
    return line;
}

std::optional<WireLine> wireLineOf(QByteArrayView message)
{
    const qsizetype end = message.indexOf(' ');
    if (end <= 0)
        return {};
    WireLine line;
    line.port = message.first(end);
    QByteArrayView rest = message.sliced(end + 1);
    if (takePrefix(rest, "TX "))
        line.way = WireLine::Way::Sent;
    else if (takePrefix(rest, "RX "))
        line.way = WireLine::Way::Received;
    else if (takePrefix(rest, "not sent "))
        line.way = WireLine::Way::NotSent;
    else
        return {};
    line.text = rest;
    return line;
}

QString shownText(QByteArrayView text)
{
    constexpr qsizetype kLongest = 100;
    QString shown = QString::fromUtf8(text.first(std::min(text.size(), kLongest)));
    for (QChar& c : shown) {
        if (!c.isPrint())
            c = u'?';
    }
    return shown;
}

QStringList quotedIn(QByteArrayView message)
{
    QStringList texts;
    QByteArray text;
    bool inside = false;
    for (qsizetype i = 0; i < message.size(); ++i) {
        const char c = message[i];
        if (inside && c == '\\' && i + 1 < message.size()) {
            text += message[++i];
        } else if (c != '"') {
            if (inside)
                text += c;
        } else {
            if (inside)
                texts << shownText(text);
            text.clear();
            inside = !inside;
        }
    }
    return texts;
}

} // namespace doctor
