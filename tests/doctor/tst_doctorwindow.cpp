#include "doctor/DoctorWindow.h"
#include "tests/support/TestProgram.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QSemaphore>
#include <QTableWidget>
#include <QTemporaryDir>

#include <atomic>

using namespace doctor;

namespace {

Answer answerAbout(const QString& about)
{
    return {about,
        {{Row::Kind::Ok, QStringLiteral("adapter"), QStringLiteral("it is there")},
            {Row::Kind::ToDo, QStringLiteral("latency"), QStringLiteral("set it to 1 ms")},
            {Row::Kind::Unknown, QStringLiteral("holder"), QStringLiteral("who knows")}},
        {}};
}

QString headingOf(const DoctorWindow& window)
{
    return window.findChild<QLabel*>(QStringLiteral("label_About"))->text();
}

QPushButton& button(const DoctorWindow& window, const QString& name)
{
    return *window.findChild<QPushButton*>(QStringLiteral("pushButton_") + name);
}

QStringList rowsIn(const DoctorWindow& window)
{
    const auto* const table = window.findChild<QTableWidget*>();
    QStringList rows;
    for (int row = 0; row < table->rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < table->columnCount(); ++column)
            cells << table->item(row, column)->text();
        rows << cells.join(u'|');
    }
    return rows;
}

/// A home folder with an updater that writes what it knows to its log and ends when it is closed.
class HomeWithUpdater
{
public:
    HomeWithUpdater()
    {
        QFile script(m_folder.filePath(QStringLiteral("annealing-db-updater")));
        if (!script.open(QIODevice::WriteOnly))
            qFatal("the updater cannot be written");
        script.write("#!/bin/sh\n"
                     "echo \"$QT_FORCE_STDERR_LOGGING in $QT_MESSAGE_PATTERN\" >&2\n"
                     "while [ ! -e \"$HOME/close\" ]; do sleep 0.01; done\n"
                     "touch \"$HOME/closed\"\n");
        script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        qputenv("HOME", m_folder.path().toLocal8Bit());
        qputenv("PATH", m_folder.path().toLocal8Bit() + ':' + m_path);
    }
    ~HomeWithUpdater()
    {
        qputenv("HOME", m_home);
        qputenv("PATH", m_path);
    }
    HomeWithUpdater(const HomeWithUpdater&) = delete;
    HomeWithUpdater& operator=(const HomeWithUpdater&) = delete;

    void closeUpdater() const
    {
        if (!QFile(m_folder.filePath(QStringLiteral("close"))).open(QIODevice::WriteOnly))
            qFatal("the updater cannot be closed");
    }
    [[nodiscard]] bool isUpdaterClosed() const
    {
        return QFile::exists(m_folder.filePath(QStringLiteral("closed")));
    }
    void removeUpdater() const
    {
        QFile::remove(m_folder.filePath(QStringLiteral("annealing-db-updater")));
    }
    [[nodiscard]] QStringList logs() const
    {
        return QDir(m_folder.path()).entryList({QStringLiteral("*.log")});
    }
    [[nodiscard]] QByteArray log() const
    {
        QFile file(m_folder.filePath(logs().value(0)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    const QByteArray m_home = qgetenv("HOME");
    const QByteArray m_path = qgetenv("PATH");
    const QTemporaryDir m_folder;
};

} // namespace

class TestDoctorWindow : public QObject
{
    Q_OBJECT

private slots:
    void showsARowEach()
    {
        DoctorWindow window([] { return answerAbout(QStringLiteral("A computer")); });
        window.checkAgain();
        QTRY_COMPARE(headingOf(window), QStringLiteral("A computer: one thing to do"));
        const QStringList rows{QStringLiteral("ok|adapter|it is there"),
            QStringLiteral("to do|latency|set it to 1 ms"),
            QStringLiteral("not known|holder|who knows")};
        QCOMPARE(rowsIn(window), rows);
    }

    void interruptsWhatNobodyWaitsFor()
    {
        std::atomic<int> interrupted = 0;
        const auto untilInterrupted = [&interrupted] {
            while (!QThread::currentThread()->isInterruptionRequested())
                QThread::msleep(1);
            ++interrupted;
            return Answer{};
        };
        {
            DoctorWindow window(untilInterrupted);
            window.checkAgain();
            window.checkAgain();
            QTRY_COMPARE(interrupted.load(), 1);
        }
        QCOMPARE(interrupted.load(), 2);
    }

    void doesNotCallUnknownWell()
    {
        DoctorWindow window([] {
            return Answer{QStringLiteral("It"), {{Row::Kind::Unknown, {}, {}}}, {}};
        });
        window.checkAgain();
        QTRY_COMPARE(headingOf(window), QStringLiteral("It: nothing to do, as far as is known"));
    }

    void showsALongTextInLines()
    {
        const QString text = QStringLiteral("do this, and then that; ").repeated(20);
        DoctorWindow window([&text] {
            return Answer{{},
                {{Row::Kind::Ok, QStringLiteral("long"), text},
                    {Row::Kind::Ok, QStringLiteral("short"), QStringLiteral("text")}},
                {}};
        });
        window.show();
        window.checkAgain();
        const auto* const table = window.findChild<QTableWidget*>();
        QTRY_COMPARE(table->rowCount(), 2);
        QVERIFY(table->rowHeight(0) > 2 * table->rowHeight(1));
        QCOMPARE(
            table->columnViewportPosition(2) + table->columnWidth(2), table->viewport()->width());

        const int height = table->rowHeight(0);
        window.resize(window.width() / 2, window.height());
        QTRY_VERIFY(table->rowHeight(0) > height);
    }

    void looksAgainAtAPress()
    {
        int looks = 0;
        DoctorWindow window([&looks] {
            ++looks;
            return Answer{QStringLiteral("Look %1").arg(looks), {}, {}};
        });
        button(window, QStringLiteral("Check")).click();
        QTRY_COMPARE(headingOf(window), QStringLiteral("Look 1: nothing to do"));
        button(window, QStringLiteral("Check")).click();
        QTRY_COMPARE(headingOf(window), QStringLiteral("Look 2: nothing to do"));
    }

    void goesOnWhileAPortHangs()
    {
        QSemaphore hanging;
        int looks = 0;
        DoctorWindow window([&] {
            ++looks;
            hanging.acquire();
            return answerAbout(QStringLiteral("The one that hung"));
        });
        window.show();
        window.checkAgain();
        QTRY_COMPARE(looks, 1);
        QCOMPARE(headingOf(window), QStringLiteral("Looking…"));
        // A second look, or the updater, would find the first one at the port.
        QVERIFY(!button(window, QStringLiteral("Check")).isEnabled());
        QVERIFY(!button(window, QStringLiteral("Start")).isEnabled());
        window.openLog(QStringLiteral("/nowhere.log"));
        QTRY_COMPARE(headingOf(window), QStringLiteral("/nowhere.log: one thing to do"));

        // What comes too late is not shown.
        hanging.release();
        QTRY_VERIFY(button(window, QStringLiteral("Check")).isEnabled());
        QCOMPARE(headingOf(window), QStringLiteral("/nowhere.log: one thing to do"));
    }

    void copiesWhatItShows()
    {
        DoctorWindow window([] { return answerAbout(QStringLiteral("A computer")); });
        window.checkAgain();
        QTRY_COMPARE(rowsIn(window).size(), 3);
        button(window, QStringLiteral("Copy")).click();
        QCOMPARE(QGuiApplication::clipboard()->text(),
            QStringLiteral("A computer: one thing to do\n"
                           "ok  adapter: it is there\n"
                           "do  latency: set it to 1 ms\n"
                           "?   holder: who knows\n"));
    }

    void startsTheUpdaterWithALogAndReadsItThen()
    {
        const HomeWithUpdater home;
        DoctorWindow window([] { return Answer{}; });
        QPushButton& start = button(window, QStringLiteral("Start"));
        start.click();
        QTRY_COMPARE(home.log(),
            QByteArray("1 in %{time yyyy-MM-dd HH:mm:ss.zzz} %{category}: %{message}\n"));
        const QString log = home.logs().value(0);
        static const QRegularExpression name(
            QStringLiteral("^annealing-db-updater-\\d{4}-\\d\\d-\\d\\d-\\d{6}\\.log$"));
        QVERIFY2(name.match(log).hasMatch(), qPrintable(log));
        QVERIFY(headingOf(window).contains(log));
        QVERIFY(!start.isEnabled());
        QVERIFY(!button(window, QStringLiteral("Check")).isEnabled());

        home.closeUpdater();
        QTRY_VERIFY(start.isEnabled());
        QTRY_VERIFY(!rowsIn(window).isEmpty());
        QVERIFY(headingOf(window).contains(log));
    }

    void leavesTheUpdaterRunningWhenItIsClosedItself()
    {
        const HomeWithUpdater home;
        {
            DoctorWindow window([] { return Answer{}; });
            button(window, QStringLiteral("Start")).click();
            QTRY_VERIFY(!home.log().isEmpty());
        }
        home.closeUpdater();
        QTRY_VERIFY(home.isUpdaterClosed());
    }

    void saysThatThereIsNoUpdater()
    {
        const HomeWithUpdater home;
        home.removeUpdater();
        DoctorWindow window([] { return Answer{}; });
        button(window, QStringLiteral("Start")).click();
        QCOMPARE(rowsIn(window),
            QStringList{QStringLiteral("to do|start|The updater is not installed.")});
        QVERIFY(home.logs().isEmpty());
        QVERIFY(button(window, QStringLiteral("Start")).isEnabled());
    }

    void saysThatTheLogCannotBeWritten()
    {
        const HomeWithUpdater home;
        qputenv("HOME", "/nowhere");
        DoctorWindow window([] { return Answer{}; });
        button(window, QStringLiteral("Start")).click();
        QCOMPARE(rowsIn(window).size(), 1);
        QVERIFY(rowsIn(window).value(0).startsWith(
            QStringLiteral("to do|start|The log cannot be written to /nowhere/")));
    }
};

static const RegisteredTest<TestDoctorWindow> registered(__FILE__);
#include "tst_doctorwindow.moc"
