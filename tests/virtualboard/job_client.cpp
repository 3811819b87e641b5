// A bare updater for the tests of the virtual board: the three jobs without windows, ticks or
// waits.
//
// job_client update|images|erase RELEASE_SET [--crash]
//
// It works on the first FTDI adapter, sends a line again when no answer came for a while, and gives
// up after some time without progress. It takes the checksum from the definition, bit by bit.

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSerialPort>
#include <QSerialPortInfo>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kAnswerTimeout = 300; // ms
constexpr int kMostTries = 20;
constexpr int kFirstPage = 0x1000;
constexpr int kEnd = 0xE0000;

class Client
{
public:
    explicit Client(const QSerialPortInfo& info) : m_port(info) { }

    bool run(const QString& job, const QDir& set)
    {
        if (!capture())
            return false;
        if (job == QLatin1String("update") && !sendFirmware(set))
            return false;
        const bool done = job == QLatin1String("erase") ? ask("$A,1", "$AACK,0") && await("$AACK,1")
                                                        : sendImages(set);
        if (done)
            send("$X");
        m_port.waitForBytesWritten(100);
        return done;
    }

private:
    static QByteArray hex(int value, int digits = 1)
    {
        return QByteArray::number(value, 16).toUpper().rightJustified(digits, '0');
    }

    static QByteArray framed(const QByteArray& line)
    {
        unsigned crc = 0xFFFF;
        const QByteArray covered = line.mid(1);
        for (const char c : covered) {
            crc ^= static_cast<unsigned char>(c);
            for (int bit = 0; bit < 8; ++bit)
                crc = crc & 1U ? crc >> 1U ^ 0x8408U : crc >> 1U;
        }
        // Below 0x1000 the updater's lines have no line feed.
        return line + '*' + hex(static_cast<int>(crc)) + (crc < 0x1000 ? "" : "\n");
    }

    void send(const QByteArray& line)
    {
        m_port.write(framed(line));
        m_port.flush();
    }

    bool await(const QByteArray& answer, int timeout = 5000)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < timeout) {
            while (m_port.canReadLine()) {
                if (m_port.readLine().startsWith(answer))
                    return true;
            }
            m_port.waitForReadyRead(static_cast<int>(timeout - timer.elapsed()) + 1);
        }
        return false;
    }

    bool ask(const QByteArray& line, const QByteArray& answer)
    {
        for (int tries = 0; tries < kMostTries; ++tries) {
            send(line);
            if (await(answer, kAnswerTimeout))
                return true;
        }
        std::fprintf(
            stderr, "job_client: no %s to %s\n", answer.constData(), line.left(20).constData());
        return false;
    }

    bool open(int baudRate)
    {
        m_port.close();
        m_port.setBaudRate(baudRate);
        return m_port.open(QIODevice::ReadWrite);
    }

    bool capture()
    {
        if (!open(19200) || !ask("$MVER", "$MVERR,"))
            return false;
        for (int tries = 0; tries < kMostTries; ++tries) {
            send("$BOOTLOADM"); // its closing is what must not lose the line
            if (!open(921600))
                return false;
            if (await("$Bootloader", 1500)) {
                m_port.write("$G\n");
                m_port.flush();
                await("$GACK", kAnswerTimeout);
                return true;
            }
            if (!open(19200))
                return false;
        }
        return false;
    }

    bool sendFirmware(const QDir& set)
    {
        QFile file(set.filePath(QStringLiteral("fw1.bin")));
        if (!file.open(QIODevice::ReadOnly))
            return false;
        QByteArray flash = file.readAll();
        flash.append(QByteArray(kEnd - flash.size(), '\xFF'));
        for (int page = kFirstPage; page < kEnd; page += 0x1000) {
            if (!ask("$E," + hex(page) + ",1", "$EACK"))
                return false;
            for (int offset = 0; offset < 0x1000; offset += 64) {
                const QByteArray bytes = flash.mid(page + offset, 64).toHex(',').toUpper();
                if (!ask("$D," + hex(offset) + ',' + bytes, "$DACK"))
                    return false;
            }
            if (!ask("$P," + hex(page) + ",1000", "$PACK"))
                return false;
        }
        return true;
    }

    bool sendImages(const QDir& set)
    {
        QFile manifest(set.filePath(QStringLiteral("settings.json")));
        if (!manifest.open(QIODevice::ReadOnly))
            return false;
        const QJsonArray images
            = QJsonDocument::fromJson(manifest.readAll())[QStringLiteral("Images")].toArray();
        for (const auto& image : images) {
            QFile file(set.filePath(image[QStringLiteral("FileName")].toString()));
            if (!file.open(QIODevice::ReadOnly))
                return false;
            if (!sendImage(QString::fromLatin1(file.readAll()),
                    image[QStringLiteral("ImageName")].toInt(),
                    image[QStringLiteral("ImageVersion")].toInt()))
                return false;
        }
        return true;
    }

    bool sendImage(const QString& text, int number, int version)
    {
        static const QRegularExpression literal(QStringLiteral("\\b0x([0-9a-fA-F]{2})"));
        static const QRegularExpression size(QStringLiteral("header\\.([wh]) = (\\d+)"));
        QByteArray data;
        for (auto match = literal.globalMatch(text); match.hasNext();)
            data += static_cast<char>(match.next().captured(1).toInt(nullptr, 16));
        int width = 0;
        int height = 0;
        for (auto match = size.globalMatch(text); match.hasNext();) {
            const auto entry = match.next();
            (entry.captured(1) == u'w' ? width : height) = entry.captured(2).toInt();
        }
        const QByteArray header = "$I," + hex(number, 2) + ',' + hex(version, 2) + ','
            + hex(width, 2) + ',' + hex(height, 2);
        if (!ask(header, "$IACK"))
            return false;
        for (int offset = 0; offset < data.size(); offset += 256) {
            const QByteArray block = hex(offset / 256, 2);
            const QByteArray bytes = data.mid(offset, 256).toHex(',').toUpper();
            if (!ask("$F," + block + ',' + bytes, "$FACK," + block + ','))
                return false;
        }
        return true;
    }

    QSerialPort m_port;
};

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc < 3)
        return 2;
    if (argc > 3)
        std::abort();
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    if (ports.isEmpty() || !ports.first().manufacturer().contains(QLatin1String("FTDI")))
        return 3;
    Client client(ports.first());
    return client.run(QString::fromLocal8Bit(argv[1]), QDir(QString::fromLocal8Bit(argv[2]))) ? 0
                                                                                              : 1;
}
