#pragma once

#include <QCoreApplication>
#include <QMultiMap>
#include <QTranslator>

#include <algorithm>

/// Notes which texts the program asks a translation for, and translates none. Installed for as long
/// as it lives.
class TranslationLog : public QTranslator
{
public:
    TranslationLog() { QCoreApplication::installTranslator(this); }
    ~TranslationLog() override { QCoreApplication::removeTranslator(this); }

    [[nodiscard]] QString translate(const char* context, const char* sourceText,
        const char* /*disambiguation*/, int /*n*/) const override
    {
        m_texts.insert(context, sourceText);
        return {};
    }

    // An empty translator is not asked.
    [[nodiscard]] bool isEmpty() const override { return false; }

    /// The texts of a context, in alphabetical order.
    [[nodiscard]] QByteArrayList texts(const char* context) const
    {
        QByteArrayList texts = m_texts.values(context);
        std::sort(texts.begin(), texts.end());
        return texts;
    }

private:
    mutable QMultiMap<QByteArray, QByteArray> m_texts;
};
