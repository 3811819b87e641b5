// release-set: makes, checks and shows what the updater sends.

#include "releaseset/Convert.h"
#include "releaseset/Diff.h"
#include "releaseset/Report.h"
#include "releaseset/Sheet.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QImageWriter>
#include <QLoggingCategory>

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

using releaseset::Findings;
using releaseset::ReleaseSet;

// Exit codes. A difference between two sets is told like a fault.
constexpr int kFine = 0;
constexpr int kFaulty = 1;
constexpr int kWrongCall = 2;

constexpr char kUsage[] =
    R"(usage: release-set check [--json | --quiet] DIR   read a set, tell what is wrong with it
       release-set convert [--dither] [--name TITLE] IN OUT
                                              between a picture and its C source (.c)
       release-set sheet DIR OUT.png          draw a contact sheet of a set's images
       release-set diff DIR1 DIR2             tell what changed between two sets

The exit code is 0, 1 where there are errors or differences, or 2 for a wrong call.
)";

int complain(const QString& text, int code)
{
    std::fprintf(stderr, "release-set: %s\n", qUtf8Printable(text));
    return code;
}

int wrongCall(const QString& text)
{
    complain(text, kWrongCall);
    std::fputs(kUsage, stderr);
    return kWrongCall;
}

void print(FILE* stream, const QByteArray& text)
{
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stream);
}

/// One line each, behind `prefix`.
void printFindings(const Findings& findings, const QString& prefix = {})
{
    for (const releaseset::Finding& finding : findings.all())
        print(stderr, (prefix + releaseset::toLine(finding)).toUtf8() + '\n');
}

/// Takes the arguments of one command apart; what is wrong with them is a wrong call.
class Call
{
public:
    Call(const QStringList& arguments, const QList<QCommandLineOption>& options, qsizetype operands)
    {
        m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
        m_parser.addOptions(options);
        if (!m_parser.parse(arguments))
            m_fault = m_parser.errorText();
        else if (m_parser.positionalArguments().size() != operands)
            m_fault = QStringLiteral("%1 takes %2 operand(s), not %3")
                          .arg(arguments.first())
                          .arg(operands)
                          .arg(m_parser.positionalArguments().size());
    }

    /// Demands that operand `index` is a folder.
    void needFolder(qsizetype index)
    {
        if (m_fault.isEmpty() && !QFileInfo(operand(index)).isDir())
            m_fault = QStringLiteral("\"%1\" is not a folder").arg(operand(index));
    }

    [[nodiscard]] const QString& fault() const { return m_fault; }
    [[nodiscard]] bool has(const QCommandLineOption& option) const
    {
        return m_parser.isSet(option);
    }
    [[nodiscard]] QString value(const QCommandLineOption& option) const
    {
        return m_parser.value(option);
    }
    [[nodiscard]] QString operand(qsizetype index) const
    {
        return m_parser.positionalArguments().value(index);
    }

private:
    QCommandLineParser m_parser;
    QString m_fault;
};

int runCheck(const QStringList& arguments)
{
    const QCommandLineOption json(QStringLiteral("json"));
    const QCommandLineOption quiet(QStringLiteral("quiet"));
    Call call(arguments, {json, quiet}, 1);
    call.needFolder(0);
    if (!call.fault().isEmpty())
        return wrongCall(call.fault());
    Findings findings;
    const ReleaseSet set = releaseset::readReleaseSet(call.operand(0), findings);
    if (call.has(json)) {
        print(stdout, releaseset::jsonOf(set, findings));
    } else {
        if (!call.has(quiet))
            print(stdout, releaseset::tableOf(set));
        std::fflush(stdout);
        printFindings(findings);
    }
    return findings.errors() > 0 ? kFaulty : kFine;
}

int runConvert(const QStringList& arguments)
{
    const QCommandLineOption dither(QStringLiteral("dither"));
    const QCommandLineOption name(QStringLiteral("name"), QString(), QStringLiteral("TITLE"));
    const Call call(arguments, {dither, name}, 2);
    if (!call.fault().isEmpty())
        return wrongCall(call.fault());
    const QString fault = releaseset::convert({.input = call.operand(0),
        .output = call.operand(1),
        .name = call.value(name),
        .dither = call.has(dither) ? releaseset::Dither::Ordered : releaseset::Dither::None});
    return fault.isEmpty() ? kFine : complain(fault, kFaulty);
}

int runSheet(const QStringList& arguments)
{
    Call call(arguments, {}, 2);
    call.needFolder(0);
    if (!call.fault().isEmpty())
        return wrongCall(call.fault());
    Findings findings;
    const ReleaseSet set = releaseset::readReleaseSet(call.operand(0), findings);
    printFindings(findings);
    QImageWriter writer(call.operand(1));
    if (!writer.write(releaseset::contactSheetOf(set)))
        return complain(call.operand(1) + QStringLiteral(": ") + writer.errorString(), kFaulty);
    return findings.errors() > 0 ? kFaulty : kFine;
}

int runDiff(const QStringList& arguments)
{
    Call call(arguments, {}, 2);
    call.needFolder(0);
    call.needFolder(1);
    if (!call.fault().isEmpty())
        return wrongCall(call.fault());
    Findings findingsBefore;
    Findings findingsAfter;
    const ReleaseSet before = releaseset::readReleaseSet(call.operand(0), findingsBefore);
    const ReleaseSet after = releaseset::readReleaseSet(call.operand(1), findingsAfter);
    const QStringList lines = releaseset::differencesOf(before, after);
    for (const QString& line : lines)
        print(stdout, line.toUtf8() + '\n');
    std::fflush(stdout);
    printFindings(findingsBefore, call.operand(0) + u'/');
    printFindings(findingsAfter, call.operand(1) + u'/');
    const qsizetype errors = findingsBefore.errors() + findingsAfter.errors();
    return lines.isEmpty() && errors == 0 ? kFine : kFaulty;
}

struct Command
{
    QLatin1String name;
    int (*run)(const QStringList& arguments);
};

constexpr std::array kCommands = {
    Command{QLatin1String("check"), runCheck},
    Command{QLatin1String("convert"), runConvert},
    Command{QLatin1String("sheet"), runSheet},
    Command{QLatin1String("diff"), runDiff},
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    // The parser's notes are for the updater's log.
    QLoggingCategory::setFilterRules(QStringLiteral("updater.*=false"));
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty())
        return wrongCall(QStringLiteral("no command"));
    const QStringList help{QStringLiteral("--help"), QStringLiteral("-h")};
    if (help.contains(arguments.first()) || help.contains(arguments.last())) {
        std::fputs(kUsage, stdout);
        return kFine;
    }
    const auto* const command = std::ranges::find(kCommands, arguments.first(), &Command::name);
    if (command == kCommands.end())
        return wrongCall(QStringLiteral("unknown command \"%1\"").arg(arguments.first()));
    return command->run(arguments);
}
