// release-set: makes, checks and shows what the updater sends.

#include "releaseset/Convert.h"
#include "releaseset/Diff.h"
#include "releaseset/Report.h"
#include "releaseset/Sheet.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageWriter>
#include <QLoggingCategory>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace {

using releaseset::Findings;
using releaseset::ReleaseSet;

// Exit codes. A difference between two sets counts as an error does.
constexpr int kFine = 0;
constexpr int kFaulty = 1;
constexpr int kWrongCall = 2;

constexpr char kUsage[] =
    R"(usage: release-set check [--json | --quiet] [--previous OLDER] DIR
                                              read a set, say what is wrong with it, and
                                              with it as the next release after OLDER
       release-set convert [--dither] [--name TITLE] IN OUT
                                              between a picture and its C source (.c)
       release-set sheet DIR OUT.png          draw a contact sheet of a set's images
       release-set diff DIR1 DIR2             say what changed between two sets

The exit code is 0, 1 where there are errors or differences, or 2 for a usage error.
)";

constexpr QLatin1StringView kPrevious{"previous"};

int complain(const QString& text, int code)
{
    std::fprintf(stderr, "release-set: %s\n", qUtf8Printable(text));
    return code;
}

void print(FILE* stream, const QByteArray& text)
{
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
}

/// One line each, after `prefix`.
void printFindings(const Findings& findings, const QString& prefix = {})
{
    std::fflush(stdout);
    for (const releaseset::Finding& finding : findings.all())
        print(stderr, (prefix + releaseset::toLine(finding)).toUtf8() + '\n');
}

int runCheck(const QCommandLineParser& call)
{
    Findings findings;
    const ReleaseSet set
        = releaseset::readReleaseSet(call.positionalArguments().constFirst(), findings);
    if (call.isSet(kPrevious)) {
        Findings ofTheOlder; // it was a release, and is not what is checked
        checkImageVersions(
            releaseset::readReleaseSet(call.value(kPrevious), ofTheOlder), set, findings);
    }
    if (call.isSet(QStringLiteral("json"))) {
        print(stdout, releaseset::jsonOf(set, findings));
    } else {
        if (!call.isSet(QStringLiteral("quiet")))
            print(stdout, releaseset::tableOf(set));
        printFindings(findings);
    }
    return findings.errors() > 0 ? kFaulty : kFine;
}

int runConvert(const QCommandLineParser& call)
{
    const bool dither = call.isSet(QStringLiteral("dither"));
    const QString fault = releaseset::convert({.input = call.positionalArguments().constFirst(),
        .output = call.positionalArguments().constLast(),
        .name = call.value(QStringLiteral("name")),
        .dither = dither ? releaseset::Dither::Ordered : releaseset::Dither::None});
    return fault.isEmpty() ? kFine : complain(fault, kFaulty);
}

int runSheet(const QCommandLineParser& call)
{
    Findings findings;
    const ReleaseSet set
        = releaseset::readReleaseSet(call.positionalArguments().constFirst(), findings);
    printFindings(findings);
    const QString path = call.positionalArguments().constLast();
    QImageWriter writer(path);
    if (!writer.write(releaseset::contactSheetOf(set)))
        return complain(path + QStringLiteral(": ") + writer.errorString(), kFaulty);
    return findings.errors() > 0 ? kFaulty : kFine;
}

int runDiff(const QCommandLineParser& call)
{
    const QString first = call.positionalArguments().constFirst();
    const QString second = call.positionalArguments().constLast();
    Findings firstFindings;
    Findings secondFindings;
    const ReleaseSet before = releaseset::readReleaseSet(first, firstFindings);
    const ReleaseSet after = releaseset::readReleaseSet(second, secondFindings);
    const QStringList lines = releaseset::differencesOf(before, after);
    for (const QString& line : lines)
        print(stdout, line.toUtf8() + '\n');
    printFindings(firstFindings, first + u'/');
    printFindings(secondFindings, second + u'/');
    const qsizetype errors = firstFindings.errors() + secondFindings.errors();
    return lines.isEmpty() && errors == 0 ? kFine : kFaulty;
}

/// What the first argument chooses.
struct Subcommand
{
    QLatin1String name;
    QLatin1String operands; ///< with a blank between them
    qsizetype folders; ///< how many of the operands, from the first on, are a set
    int (*run)(const QCommandLineParser& call);
};

constexpr std::array kSubcommands = {
    Subcommand{QLatin1String("check"), QLatin1String("DIR"), 1, runCheck},
    Subcommand{QLatin1String("convert"), QLatin1String("IN OUT"), 0, runConvert},
    Subcommand{QLatin1String("sheet"), QLatin1String("DIR OUT.png"), 1, runSheet},
    Subcommand{QLatin1String("diff"), QLatin1String("DIR1 DIR2"), 2, runDiff},
};

QList<QCommandLineOption> optionsOf(const Subcommand& command)
{
    if (command.run == runCheck)
        return {{QStringLiteral("json"), {}}, {QStringLiteral("quiet"), {}},
            {kPrevious, {}, QStringLiteral("OLDER")}};
    if (command.run == runConvert)
        return {
            {QStringLiteral("dither"), {}}, {QStringLiteral("name"), {}, QStringLiteral("TITLE")}};
    return {};
}

/// What is wrong with a call of `command`; empty when nothing is.
QString faultOf(const QCommandLineParser& call, const Subcommand& command)
{
    const QStringList operands = call.positionalArguments();
    if (operands.size() != command.operands.count(u' ') + 1)
        return QStringLiteral("%1 takes %2").arg(command.name, command.operands);
    const QStringList previous
        = call.optionNames().contains(kPrevious) ? call.values(kPrevious) : QStringList();
    const QStringList folders = operands.first(command.folders) + previous;
    for (const QString& folder : folders) {
        if (!QFileInfo(folder).isDir())
            return QStringLiteral("\"%1\" is not a folder").arg(folder);
    }
    return {};
}

int run(const QStringList& arguments)
{
    const QString advice = QStringLiteral("; release-set --help shows the calls");
    const QString name = arguments.value(0);
    const auto* const command = std::ranges::find(kSubcommands, name, &Subcommand::name);
    if (command == kSubcommands.end()) {
        const QString fault = name.isEmpty()
            ? QStringLiteral("a command is missing")
            : QStringLiteral("there is no command \"%1\"").arg(name);
        return complain(fault + advice, kWrongCall);
    }
    QCommandLineParser call;
    call.addOptions(optionsOf(*command));
    if (!call.parse(arguments))
        return complain(call.errorText() + advice, kWrongCall);
    const QString fault = faultOf(call, *command);
    return fault.isEmpty() ? command->run(call) : complain(fault + advice, kWrongCall);
}

/// Only drawing text needs a QGuiApplication; no command needs a display.
std::unique_ptr<QCoreApplication> applicationFor(int& argc, char** argv)
{
    if (argc < 2 || QLatin1String(argv[1]) != QLatin1String("sheet"))
        return std::make_unique<QCoreApplication>(argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    return std::make_unique<QGuiApplication>(argc, argv);
}

} // namespace

int main(int argc, char** argv)
{
    // What the parser logs is for the updater's log; Qt's own messages are about a desktop.
    QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false\ndefault=false"));
    const std::unique_ptr<QCoreApplication> application = applicationFor(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QStringList help{QStringLiteral("--help"), QStringLiteral("-h")};
    if (help.contains(arguments.value(0)) || help.contains(arguments.value(arguments.size() - 1))) {
        std::fputs(kUsage, stdout);
        return kFine;
    }
    return run(arguments);
}
