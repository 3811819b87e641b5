// release-set: makes, checks and shows what the updater sends.

#include "releaseset/Convert.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

constexpr int kFine = 0;
constexpr int kFaulty = 1;
constexpr int kWrongCall = 2;

constexpr char kUsage[] = "usage: release-set convert [--dither] [--name TITLE] IN OUT\n";

int complain(const QString& text, int code)
{
    std::fprintf(stderr, "release-set: %s\n", qPrintable(text));
    return code;
}

int wrongCall(const QString& text)
{
    complain(text, kWrongCall);
    std::fputs(kUsage, stderr);
    return kWrongCall;
}

int runConvert(const QStringList& arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption dither(QStringLiteral("dither"));
    const QCommandLineOption name(QStringLiteral("name"), QString(), QStringLiteral("TITLE"));
    parser.addOptions({dither, name});
    if (!parser.parse(arguments))
        return wrongCall(parser.errorText());
    const QStringList files = parser.positionalArguments();
    if (files.size() != 2)
        return wrongCall(QStringLiteral("convert takes the file to read and the file to write"));
    const QString fault = releaseset::convert({.input = files[0],
        .output = files[1],
        .name = parser.value(name),
        .dither = parser.isSet(dither) ? releaseset::Dither::Ordered : releaseset::Dither::None});
    return fault.isEmpty() ? kFine : complain(fault, kFaulty);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty())
        return wrongCall(QStringLiteral("no command"));
    if (arguments.first() == QLatin1String("convert"))
        return runConvert(arguments);
    return wrongCall(QStringLiteral("unknown command \"%1\"").arg(arguments.first()));
}
