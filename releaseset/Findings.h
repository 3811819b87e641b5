#pragma once

#include <QList>
#include <QString>

namespace releaseset {

/// Where in a set something was found; what does not apply stays empty.
struct Place
{
    QString file; ///< relative to the set's folder
    int line = 0; ///< from 1
    int column = 0; ///< from 1
    QString key{}; ///< of the manifest, such as "Images[0].FileName"
};

enum class Severity { Warning, Error };

struct Finding
{
    Severity severity = Severity::Error;
    Place place;
    QString text; ///< what is wrong and what to do
};

/// The finding as one line, such as "0.c:3: error: what is wrong; what to do".
[[nodiscard]] QString toLine(const Finding& finding);

/// What a check has found, in order.
class Findings
{
public:
    void error(Place place, QString text)
    {
        m_all.append({Severity::Error, std::move(place), std::move(text)});
        ++m_errors;
    }
    void warning(Place place, QString text)
    {
        m_all.append({Severity::Warning, std::move(place), std::move(text)});
    }

    [[nodiscard]] const QList<Finding>& all() const { return m_all; }
    [[nodiscard]] qsizetype errors() const { return m_errors; }
    [[nodiscard]] qsizetype warnings() const { return m_all.size() - m_errors; }

private:
    QList<Finding> m_all;
    qsizetype m_errors = 0;
};

} // namespace releaseset
