// The job alone: numbers and a line in, numbers and what is to be done out.

#include "bootload/UpdateJob.h"
#include "tests/support/TestProgram.h"

namespace {

/// What `effect` wants done, a word each, in the order of its members.
QByteArrayList wanted(const Effect& effect)
{
    QByteArrayList words;
    const auto add = [&words](bool wants, const QByteArray& word) {
        if (wants)
            words << word;
    };
    if (effect.line)
        words << "send " + effect.line->view().first(2).toByteArray();
    add(!effect.plainLine.isEmpty(), "send plain " + effect.plainLine.toByteArray());
    add(effect.closeAfterSending, "close");
    add(effect.reopenAt.has_value(), "reopen " + QByteArray::number(effect.reopenAt.value_or(0)));
    add(effect.stepAllPorts, "step all");
    add(!effect.report.isEmpty(), "report " + effect.report.toUtf8());
    add(effect.programProgress.has_value(),
        "program " + QByteArray::number(effect.programProgress.value_or(0)));
    add(effect.imageProgress.has_value(),
        "images " + QByteArray::number(effect.imageProgress.value_or(0)));
    add(effect.unitVersion.has_value(),
        "version " + effect.unitVersion.value_or(QString()).toUtf8());
    add(!effect.passedOver.isEmpty(), "pass over: " + effect.passedOver.toByteArray());
    return words;
}

} // namespace

class TestUpdateJob : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatAReplyLeadsTo_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("fwStep");
        QTest::addColumn<int>("address");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QByteArrayList>("effect");
        QTest::addColumn<int>("next");
        const auto row = [](const char* reply, int state, int fwStep, int address,
                             const QByteArrayList& effect, int next) {
            QTest::newRow(reply) << state << fwStep << address << QByteArray(reply) << effect
                                 << next;
        };
        row("$MVERR,D.01a", StateProbe, 0, 0, {"send $B", "version D.01a"}, StateProbe);
        row("$EACK", StateFirmware, FirmwareErase, 0x1000, {"step all"}, StateFirmware);
        row("$DACK", StateFirmware, FirmwareData, 0x1000, {"step all", "program 64"},
            StateFirmware);
        row("$PACK", StateFirmware, FirmwareProgram, 0x2000, {"step all"}, StateFirmware);
        row("$PACK,last", StateFirmware, FirmwareProgram, 0xE0000, {"step all", "program 913414"},
            StateSendImages);
        row("$IACK,1", StateSendImages, 0, 0, {"step all", "images 300"}, StateSendImages);
        row("$FACK,0", StateSendImages, 0, 0, {"step all", "images 256"}, StateSendImages);
        row("$AACK,1", StateEraseImages, 0, 0, {"send $X", "report Images Erased"}, StateFinish);
        row("$AACK,0", StateEraseImages, 0, 0, {}, StateEraseImages);
        row("$HELLO", StateFirmware, 0, 0, {"pass over: unknown"}, StateFirmware);
    }

    void saysWhatAReplyLeadsTo()
    {
        QFETCH(int, state);
        QFETCH(int, fwStep);
        QFETCH(int, address);
        QFETCH(QByteArray, reply);
        const QList<ImageFile> images(2, ImageFile{QByteArray(300, 'p'), 10, 15, 1, 1});
        const int mode = JobUpdate;
        const UpdateJob job(mode, images);
        PortTest port;
        port.state = state;
        port.phase = PhaseWriting;
        port.fwStep = fwStep;
        port.flashAddress = address;
        port.imageStep = reply.startsWith("$FACK") ? ImageBlocks : ImageAnnounce;

        QTEST(wanted(job.TakeReply(port, reply)), "effect");
        QTEST(int{port.state}, "next");
    }

    void saysWhyItPassesAReplyOver_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("phase");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QByteArray>("reason");
        const auto row = [](const char* reply, int state, int phase, const char* reason) {
            QTest::newRow(reason) << state << phase << QByteArray(reply) << QByteArray(reason);
        };
        const auto sending = int{StateSendImages};
        const auto firmware = int{StateFirmware};
        row("$Bootloader", firmware, PhaseWriting, "the bootloader is captured already");
        row("$EACK", sending, PhaseWriting, "no page's erasing is awaited");
        row("$DACK", sending, PhaseWriting, "no data line's answer is awaited");
        row("$DACK", firmware, PhaseWriting, "left over from the page before");
        row("$PACK", firmware, PhaseWriting, "no page's programming is awaited");
        row("$CACK", firmware, PhaseWriting, "no check is awaited");
        row("$VACK,B", firmware, PhaseFirmwareDone, "no read-back is awaited");
        row("$VACK" + QByteArray(",0").repeated(65), firmware, PhaseFirmwareDone,
            "the read-back of another address");
        row("$IACK,0", firmware, PhaseWriting, "no images are being sent");
        row("$IACK,0", sending, PhaseWriting, "the image's blocks are on their way already");
        row("$IACK,1", sending, PhaseWriting, "surplus, the header was sent more than once");
        row("$FACK,0", sending, PhaseNotCaptured, "no block's answer is awaited");
        row("$FACK,6", sending, PhaseWriting, "surplus, the block was sent more than once");
        row("$AACK,1", sending, PhaseWriting, "no images are being erased");
    }

    void saysWhyItPassesAReplyOver()
    {
        QFETCH(int, state);
        QFETCH(int, phase);
        QFETCH(QByteArray, reply);
        QFETCH(QByteArray, reason);
        const QList<ImageFile> images(2, ImageFile{QByteArray(300, 'p'), 10, 15, 1, 1});
        const int mode = JobUpdate;
        const UpdateJob job(mode, images);
        PortTest port;
        port.state = state;
        port.phase = phase;
        port.fwStep = FirmwareData;
        port.imageStep = phase == PhaseNotCaptured ? ImageAnnounce : ImageBlocks;
        port.blockNumber = 7;
        // Answered once and sent twice: a second answer may come.
        for (const LineKind kind : {LineKind::ImageHeader, LineKind::ImageBlock}) {
            port.answers.noteSent(kind, 6);
            port.answers.noteSent(kind, 6);
            port.answers.noteAnswered(kind);
        }
        port.answers.noteSent(LineKind::ErasePage, 0x1000);

        QCOMPARE(wanted(job.TakeReply(port, reply)), QByteArrayList{"pass over: " + reason});
    }

    void saysWhatAStepLeadsTo_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("retries");
        QTest::addColumn<QByteArrayList>("effect");
        QTest::addColumn<int>("next");
        QTest::newRow("probe") << int{StateProbe} << 10 << QByteArrayList{"send $M"}
                               << int{StateProbe};
        QTest::newRow("last probe")
            << int{StateProbe} << 1 << QByteArrayList{"send $B", "close"} << int{StateReopenFast};
        QTest::newRow("reopen") << int{StateReopenFast} << 0 << QByteArrayList{"reopen 921600"}
                                << int{StateWaitForBootloader};
        QTest::newRow("wait") << int{StateWaitForBootloader} << 0 << QByteArrayList{}
                              << int{StateWaitForBootloader};
    }

    void saysWhatAStepLeadsTo()
    {
        QFETCH(int, state);
        QFETCH(int, retries);
        const QList<ImageFile> images;
        const int mode = JobUpdate;
        const UpdateJob job(mode, images);
        PortTest port;
        port.state = state;
        port.retries = retries;
        QTEST(wanted(job.Step(port)), "effect");
        QTEST(int{port.state}, "next");
    }

    void readsModeAndImagesWhenTheyAreNeeded()
    {
        int mode = JobImagesOnly;
        QList<ImageFile> images;
        const UpdateJob job(mode, images);
        PortTest port;
        (void)job.Step(port);
        QCOMPARE(port.state, qint32{StateSendImages});
        mode = JobEraseImages;
        port.state = StateLoad;
        (void)job.Step(port);
        QCOMPARE(port.state, qint32{StateEraseImages});

        port.state = StateSendImages;
        port.imageStep = ImageAnnounce;
        port.imageWait = 0;
        images.append({QByteArray(16, 'p'), 4, 2, 1, 1});
        QCOMPARE(wanted(job.Step(port)), QByteArrayList{"send $I"});
    }

    void endsTheJobByALateAnswerToTheLastImage()
    {
        const QList<ImageFile> images(1, ImageFile{QByteArray(16, 'p'), 4, 2, 1, 1});
        const int mode = JobImagesOnly;
        const UpdateJob job(mode, images);
        PortTest port;
        port.state = StateSendImages;
        (void)job.Step(port);
        (void)job.TakeReply(port, "$IACK,0");
        constexpr int kStepsUntilItWaitsToBeginAgain = 5;
        for (int i = 0; i < kStepsUntilItWaitsToBeginAgain; ++i)
            (void)job.Step(port);
        QCOMPARE(port.imageStep, qint32{ImageAnnounce});

        const Effect effect = job.TakeReply(port, "$FACK,0");
        QCOMPARE(port.state, qint32{StateFinish});
        QCOMPARE(wanted(effect), (QByteArrayList{"send $X", "step all", "images 16"}));
    }
};

static const RegisteredTest<TestUpdateJob> registered(__FILE__);
#include "tst_updatejob.moc"
