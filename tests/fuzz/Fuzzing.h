#pragma once

#include <QApplication>
#include <QByteArrayView>
#include <QLoggingCategory>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// \file
/// What the fuzz targets share.

/// Ends the run as a finding, with `what` on the error output, unless `holds`.
inline void expect(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// The bytes of one run, taken from the front: first the numbers that choose where the run starts,
/// then the rest. What is missing reads as 0.
class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_rest(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size))
    {
    }

    /// The next byte.
    std::uint8_t byte()
    {
        if (m_rest.isEmpty())
            return 0;
        const auto value = static_cast<std::uint8_t>(m_rest.front());
        m_rest = m_rest.sliced(1);
        return value;
    }

    /// A number from 0 to `limit` - 1 out of the next byte, or the next two for more than 256.
    int below(int limit)
    {
        constexpr int kByteValues = 256;
        const int low = byte();
        return (limit > kByteValues ? low + kByteValues * byte() : low) % limit;
    }

    /// What has not been taken; valid as long as the run's bytes.
    [[nodiscard]] QByteArrayView rest() const { return m_rest; }

private:
    QByteArrayView m_rest;
};

/// Switches off the log: at thousands of runs a second it would be most of the work.
inline void silenceTheLog()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
}

/// Starts Qt's application once, without a display and without the log.
inline void startApplication()
{
    if (QCoreApplication::instance() != nullptr)
        return;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    silenceTheLog();
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    // Lives until the process ends.
    static auto* const application = new QApplication(argc, argv);
    Q_UNUSED(application)
}

/// Lets widgets handle the pending events, of which a run leaves a few.
inline void handleEvents()
{
    constexpr int kRunsBetween = 256;
    static int runs = 0;
    if (++runs % kRunsBetween == 0)
        QCoreApplication::processEvents();
}
