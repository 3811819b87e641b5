#include "tests/session/DialogFixture.h"

#include <stdexcept>

namespace {

struct NamedField
{
    const char* name;
    qint32 PortTest::*member;
};

constexpr NamedField kFields[] = {
    {"state", &PortTest::state},
    {"startAddress", &PortTest::startAddress},
    {"flashAddress", &PortTest::flashAddress},
    {"phase", &PortTest::phase},
    {"fwStep", &PortTest::fwStep},
    {"retries", &PortTest::retries},
    {"ticks", &PortTest::ticks},
    {"imageIndex", &PortTest::imageIndex},
    {"imageOffset", &PortTest::imageOffset},
    {"imageStep", &PortTest::imageStep},
    {"imageWait", &PortTest::imageWait},
    {"blockNumber", &PortTest::blockNumber},
};

} // namespace

SessionFields with(SessionFields fields, const SessionFields& changes)
{
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        if (!fields.contains(change.key()))
            throw std::out_of_range("no field " + change.key().toStdString());
        fields.insert(change.key(), change.value());
    }
    return fields;
}

QString toText(const SessionFields& fields)
{
    QStringList parts;
    for (auto field = fields.begin(); field != fields.end(); ++field)
        parts << QStringLiteral("%1=%2").arg(QString::fromUtf8(field.key())).arg(field.value());
    return parts.join(QLatin1Char(' '));
}

DialogFixture::DialogFixture(const ReleaseSetFiles& files)
    : m_set(files), m_service(&m_settings, QStringLiteral("A.20a"), QStringLiteral("1.00a"))
{
    m_settings.port = &m_servicePort;
}

void DialogFixture::closeDialog()
{
    if (m_dialog)
        m_dialog->done(QDialog::Rejected);
    m_dialog.reset();
}

void DialogFixture::openDialog(int mode)
{
    m_dialog = std::make_unique<DialogBootload>(&m_service, mode, nullptr);
    m_timerWasStarted = probe().timer().isActive();
    probe().timer().stop();
    addPorts();
}

void DialogFixture::step(int count)
{
    for (int i = 0; i < count; ++i)
        m_dialog->Timeout();
}

void DialogFixture::reply(const QByteArray& line, int index)
{
    m_dialog->GotMessage(&port(index), QString::fromUtf8(line + '\n'));
}

void DialogFixture::enterBootloader(int index)
{
    // The step that starts, ten probing lines, the step that reopens, one that waits.
    step(13);
    reply("$Bootloader", index);
    // Load, then as many steps as the mode lets pass before its first line.
    constexpr int kStepsBeforeErasePage = 1 + 5;
    constexpr int kStepsBeforeHeader = 1 + 8;
    constexpr int kStepsBeforeEraseImages = 1 + 2;
    const int jobMode = probe().mode();
    step(1);
    step(jobMode == JobImagesOnly       ? kStepsBeforeHeader
            : jobMode == JobEraseImages ? kStepsBeforeEraseImages
                                        : kStepsBeforeErasePage);
    (void)sent(index);
}

SessionFields DialogFixture::fields(int index)
{
    PortTest& from = port(index);
    SessionFields values{{"isOpen", from.isOpen() ? 1 : 0}, {"baudRate", from.baudRate()},
        {"fileOpen", from.file.isOpen() ? 1 : 0}};
    for (const NamedField& field : kFields)
        values.insert(field.name, from.*field.member);
    return values;
}

void DialogFixture::setFields(const SessionFields& values, int index)
{
    SessionFields rest = values;
    port(index).answers = {};
    port(index).pageRefills = 0;
    for (const NamedField& field : kFields) {
        if (rest.contains(field.name))
            port(index).*field.member = rest.take(field.name);
    }
    if (!rest.isEmpty())
        throw std::out_of_range("no number " + rest.firstKey().toStdString());
}

QLabel& DialogFixture::label(const char* name) const
{
    return *m_dialog->findChild<QLabel*>(QLatin1StringView(name));
}

QString DialogFixture::labelText(const char* name) const
{
    return label(name).text();
}

QProgressBar& DialogFixture::bar(const char* name) const
{
    return *m_dialog->findChild<QProgressBar*>(QLatin1StringView(name));
}

QString DialogFixture::log() const
{
    return m_dialog->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText();
}
