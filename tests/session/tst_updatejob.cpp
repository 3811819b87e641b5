// The job without a window: what it asks of its host, and in which order.

#include "bootload/UpdateJob.h"
#include "tests/session/ReleaseSetFixture.h"
#include "tests/support/MemoryPort.h"
#include "tests/support/TestProgram.h"

namespace {

/// Notes what the job asks for, and steps its one port.
class NotingHost final : public JobHost
{
public:
    void Send(PortTest*, protocol::Line line) override
    {
        note("send " + line.view().first(2).toByteArray());
    }
    void SendPlain(PortTest*, QByteArrayView line) override
    {
        note("send plain " + line.toByteArray());
    }
    void CloseAfterSending(PortTest* closing) override
    {
        closing->close();
        note("close");
    }
    void StepAllPorts() override
    {
        note("step all");
        job->Step(port);
    }
    void Report(const QString& text) override { note("report " + text.toUtf8()); }
    void ShowProgramProgress(int step) override { note("program " + QByteArray::number(step)); }
    void ShowImageProgress(int bytes) override { note("images " + QByteArray::number(bytes)); }
    void ShowUnitVersion(const QString& version) override { note("version " + version.toUtf8()); }

    UpdateJob* job = nullptr;
    PortTest* port = nullptr;
    QByteArrayList notes;

private:
    void note(const QByteArray& text) { notes << text; }
};

} // namespace

class TestUpdateJob : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheNextLineBeforeItShowsProgress_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("fwStep");
        QTest::addColumn<int>("address");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QByteArrayList>("notes");
        const auto row = [](const char* reply, int state, int fwStep, int address,
                             const QByteArrayList& notes) {
            QTest::newRow(reply) << state << fwStep << address << QByteArray(reply) << notes;
        };
        row("$MVERR,D.01a", StateProbe, 0, 0, {"version D.01a", "send $B"});
        row("$PACK,later", StateFirmware, FirmwareProgram, 0x3000, {"step all", "send $E"});
        row("$EACK", StateFirmware, FirmwareErase, 0x1000, {"step all", "send $D"});
        row("$DACK", StateFirmware, FirmwareData, 0x1000, {"step all", "send $D", "program 64"});
        row("$PACK", StateFirmware, FirmwareProgram, 0x2000, {"step all", "send $E"});
        row("$PACK,last", StateFirmware, FirmwareProgram, 0xE0000, {"step all", "program 913414"});
        row("$IACK,1", StateSendImages, 0, 0, {"step all", "send $I", "images 300"});
        row("$FACK,0", StateSendImages, 0, 0, {"step all", "send $F", "images 256"});
        row("$AACK,1", StateEraseImages, 0, 0, {"report Images Erased", "send $X"});
    }

    void sendsTheNextLineBeforeItShowsProgress()
    {
        QFETCH(int, state);
        QFETCH(int, fwStep);
        QFETCH(int, address);
        QFETCH(QByteArray, reply);
        QFETCH(QByteArrayList, notes);
        const QList<ImageFile> images(2, ImageFile{QByteArray(300, 'p'), 10, 15, 1, 1});
        MemoryPort<PortTest> port;
        NotingHost host;
        UpdateJob job(JobUpdate, images, host);
        host.job = &job;
        host.port = &port;
        port.state = state;
        port.phase = PhaseWriting;
        port.fwStep = fwStep;
        port.flashAddress = address;
        port.imageStep = reply.startsWith("$FACK") ? ImageBlocks : ImageAnnounce;

        job.TakeReply(&port, reply);
        QCOMPARE(host.notes, notes);
    }

    void endsTheJobByALateAnswerToTheLastImage()
    {
        const QList<ImageFile> images(1, ImageFile{QByteArray(16, 'p'), 4, 2, 1, 1});
        MemoryPort<PortTest> port;
        NotingHost host;
        UpdateJob job(JobImagesOnly, images, host);
        host.job = &job;
        host.port = &port;
        port.state = StateSendImages;
        job.Step(&port);
        job.TakeReply(&port, "$IACK,0");
        constexpr int kStepsUntilItWaitsToBeginAgain = 5;
        for (int i = 0; i < kStepsUntilItWaitsToBeginAgain; ++i)
            job.Step(&port);
        QCOMPARE(port.imageStep, qint32{ImageAnnounce});
        host.notes.clear();

        job.TakeReply(&port, "$FACK,0");
        QCOMPARE(port.state, qint32{StateFinish});
        QCOMPARE(host.notes, (QByteArrayList{"send $X", "step all", "images 16"}));
    }
};

static const RegisteredTest<TestUpdateJob> registered(__FILE__);
#include "tst_updatejob.moc"
