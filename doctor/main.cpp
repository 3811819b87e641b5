#include "doctor/Answer.h"
#include "doctor/DoctorWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>

#include <cstdio>
#include <memory>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

namespace {

constexpr const char* kUsage =
    R"(annealing-db-updater-doctor [--text] [--picture FILE.png] [LOG]

Says what keeps the updater from the machine, and what to do. With LOG, a log of the updater's,
it says what happened in that job instead. Nothing is changed.

--text              print it instead of opening a window; a line begins with "ok", with "do", with
                    "?" where it is not known, or with nothing where a log only tells what happened
--picture FILE.png  draw the log's course over time, and end
--help              this text

Exit code with --text and --picture: 0 nothing to do, 1 something to do, 2 usage error.
)";

constexpr int kNothingToDo = 0;
constexpr int kSomethingToDo = 1;
constexpr int kUsageError = 2;

constexpr QSize kPictureSize(1200, 600);

struct Call
{
    bool help{false};
    bool text{false};
    QString picture;
    QString log;
    QString fault; ///< what is wrong with the call, if anything is

    [[nodiscard]] bool hasWindow() const
    {
        return !help && !text && picture.isEmpty() && fault.isEmpty();
    }
};

/// Without a screen, as over a network, the answer is printed.
bool hasScreen()
{
#ifdef Q_OS_UNIX
    return !qEnvironmentVariableIsEmpty("DISPLAY")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
#else
    return true;
#endif
}

Call callOf(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.addOptions({{{QStringLiteral("h"), QStringLiteral("help")}, {}},
        {QStringLiteral("text"), {}}, {QStringLiteral("picture"), {}, QStringLiteral("FILE.png")}});
    Call call;
    if (!parser.parse(arguments))
        call.fault = parser.errorText();
    call.help = parser.isSet(QStringLiteral("help"));
    call.picture = parser.value(QStringLiteral("picture"));
    call.text = parser.isSet(QStringLiteral("text")) || (call.picture.isEmpty() && !hasScreen());
    const QStringList logs = parser.positionalArguments();
    call.log = logs.value(0);
    const bool wantsPicture = parser.isSet(QStringLiteral("picture"));
    if (logs.size() > 1)
        call.fault = QStringLiteral("one log at a time");
    else if (wantsPicture && (logs.isEmpty() || !call.picture.endsWith(u".png")))
        call.fault = QStringLiteral("--picture takes a FILE.png, and a log");
    else if (!logs.isEmpty() && !QFileInfo(call.log).isFile())
        call.fault = QStringLiteral("there is no file \"%1\"").arg(call.log);
    return call;
}

void print(std::FILE* stream, const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stream);
}

/// A program with windows has no output on Windows but for a file or a pipe that it is given: what
/// it says goes to the console that called it.
void findConsole()
{
#ifdef Q_OS_WIN
    const HANDLE given = GetStdHandle(STD_OUTPUT_HANDLE);
    if (given != nullptr && GetFileType(given) != FILE_TYPE_UNKNOWN)
        return;
    if (AttachConsole(ATTACH_PARENT_PROCESS) == 0)
        return;
    for (std::FILE* const stream : {stdout, stderr})
        static_cast<void>(std::freopen("CONOUT$", "w", stream));
#endif
}

int say(const Call& call)
{
    const QSize size = call.picture.isEmpty() ? QSize() : kPictureSize;
    const doctor::Answer answer
        = call.log.isEmpty() ? doctor::answerOfComputer() : doctor::answerOfLog(call.log, size);
    if (call.text)
        print(stdout, doctor::textOf(answer.rows));
    else if (answer.picture.isNull())
        print(stderr, doctor::textOf(answer.rows));
    if (!call.picture.isEmpty() && !answer.picture.isNull() && !answer.picture.save(call.picture)) {
        print(stderr,
            QStringLiteral("annealing-db-updater-doctor: cannot write %1\n").arg(call.picture));
        return kUsageError;
    }
    return doctor::toDoCount(answer.rows) > 0 ? kSomethingToDo : kNothingToDo;
}

int showWindow(const QString& log)
{
    doctor::DoctorWindow window(doctor::answerOfComputer);
    window.show(); // a picture takes its width
    if (log.isEmpty())
        window.checkAgain();
    else
        window.openLog(log);
    return QApplication::exec();
}

/// Only windows take a screen; letters are drawn by a QGuiApplication.
std::unique_ptr<QCoreApplication> applicationFor(const Call& call, int& argc, char** argv)
{
    if (call.hasWindow())
        return std::make_unique<QApplication>(argc, argv);
    if (call.picture.isEmpty() || call.help || !call.fault.isEmpty())
        return std::make_unique<QCoreApplication>(argc, argv);
#ifdef Q_OS_UNIX
    qputenv("QT_QPA_PLATFORM", "offscreen");
#endif
    return std::make_unique<QGuiApplication>(argc, argv);
}

/// The words of the call; on Windows argv has lost what is not in its own 8-bit letters.
QStringList wordsOf(int argc, char** argv)
{
    int count = argc;
    return QCoreApplication(count, argv).arguments();
}

int run(const Call& call)
{
    if (!call.fault.isEmpty()) {
        print(stderr,
            QStringLiteral("annealing-db-updater-doctor: %1 (see --help)\n").arg(call.fault));
        return kUsageError;
    }
    if (call.help) {
        print(stdout, QString::fromUtf8(kUsage));
        return kNothingToDo;
    }
    return call.hasWindow() ? showWindow(call.log) : say(call);
}

} // namespace

int main(int argc, char** argv)
{
    const Call call = callOf(wordsOf(argc, argv));
    findConsole();
    const std::unique_ptr<QCoreApplication> application = applicationFor(call, argc, argv);
    return run(call);
}
