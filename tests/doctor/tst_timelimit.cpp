#include "doctor/TimeLimit.h"
#include "tests/support/TestProgram.h"

#include <QSemaphore>

using namespace std::chrono_literals;

class TestTimeLimit : public QObject
{
    Q_OBJECT

private slots:
    void givesWhatComesInTime()
    {
        QCOMPARE(doctor::within<int>(1min, [] { return 7; }), 7);
    }

    void waitsNoLongerForWhatHangs()
    {
        const auto hanging = std::make_shared<QSemaphore>();
        const auto work = [hanging] {
            hanging->acquire();
            return 7;
        };
        QCOMPARE(doctor::within<int>(10ms, work), std::nullopt);
        hanging->release();
    }
};

static const RegisteredTest<TestTimeLimit> registered(__FILE__);
#include "tst_timelimit.moc"
