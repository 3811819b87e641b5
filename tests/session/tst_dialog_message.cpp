#include "dialogs/DialogMessage.h"
#include "tests/support/TestProgram.h"

#include <QLabel>
#include <QMetaMethod>
#include <QPushButton>
#include <QTimer>
#include <QTranslator>

namespace {

QStringList labelTexts(const QDialog& dialog)
{
    QStringList texts;
    for (int i = 1; i <= 4; ++i)
        texts << dialog.findChild<QLabel*>(QStringLiteral("label_%1").arg(i))->text();
    return texts;
}

/// Answers every text of the dialog's context with its upper case form.
class Shouting : public QTranslator
{
public:
    using QTranslator::QTranslator;
    [[nodiscard]] bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char* /*disambiguation*/,
        int /*n*/) const override
    {
        return qstrcmp(context, "DialogMessage") == 0 ? QString::fromUtf8(text).toUpper()
                                                      : QString();
    }
};

} // namespace

class TestDialogMessage : public QObject
{
    Q_OBJECT

private slots:
    void hasItsWidgetsInOrder()
    {
        const DialogMessage dialog({}, nullptr);
        QStringList widgets;
        const auto children = dialog.findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        for (const QWidget* child : children)
            widgets << QLatin1String(child->metaObject()->className()) + QLatin1Char(' ')
                    + child->objectName();
        const QStringList expected{QStringLiteral("QPushButton pushButton"),
            QStringLiteral("QLabel label_1"), QStringLiteral("QLabel label_2"),
            QStringLiteral("QLabel label_3"), QStringLiteral("QLabel label_4")};
        QCOMPARE(widgets, expected);
    }

    void hasItsGeometry_data()
    {
        QTest::addColumn<QRect>("geometry");
        QTest::newRow("pushButton") << QRect(280, 270, 75, 23);
        QTest::newRow("label_1") << QRect(6, 32, 631, 31);
        QTest::newRow("label_2") << QRect(0, 90, 641, 31);
        QTest::newRow("label_3") << QRect(0, 150, 641, 31);
        QTest::newRow("label_4") << QRect(0, 210, 641, 31);
    }

    void hasItsGeometry()
    {
        QFETCH(QRect, geometry);
        const DialogMessage dialog({}, nullptr);
        const auto* const widget
            = dialog.findChild<QWidget*>(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(widget);
        QCOMPARE(widget->geometry(), geometry);
    }

    void keepsItsSizeAndName()
    {
        const DialogMessage dialog({}, nullptr);
        QCOMPARE(dialog.size(), QSize(640, 313));
        QCOMPARE(dialog.objectName(), QStringLiteral("DialogMessage"));
        QVERIFY(!dialog.layout());
        QCOMPARE(dialog.minimumSize(), QSize(0, 0));
    }

    void centresItsLabelsInTwelvePoint()
    {
        const DialogMessage dialog({}, nullptr);
        QFont font = QApplication::font("QLabel");
        font.setPointSize(12);
        const auto labels = dialog.findChildren<QLabel*>();
        QCOMPARE(labels.size(), 4);
        for (const QLabel* label : labels) {
            QCOMPARE(label->alignment(), Qt::AlignHCenter | Qt::AlignVCenter);
            QCOMPARE(label->font().pointSize(), 12);
            QCOMPARE(label->font().family(), font.family());
            QVERIFY(!label->wordWrap());
        }
    }

    void hasItsTexts()
    {
        const DialogMessage dialog({}, nullptr);
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Dialog"));
        QCOMPARE(dialog.findChild<QPushButton*>()->text(), QStringLiteral("Ok"));
        QCOMPARE(labelTexts(dialog), QStringList(4, QString()));
    }

    void takesItsTextsFromItsTranslationContext()
    {
        const Shouting translator;
        QCoreApplication::installTranslator(const_cast<Shouting*>(&translator));
        const DialogMessage dialog({QStringLiteral("as it is")}, nullptr);
        QCoreApplication::removeTranslator(const_cast<Shouting*>(&translator));
        QCOMPARE(dialog.windowTitle(), QStringLiteral("DIALOG"));
        QCOMPARE(dialog.findChild<QPushButton*>()->text(), QStringLiteral("OK"));
        QCOMPARE(labelTexts(dialog).at(0), QStringLiteral("as it is"));
    }

    void showsTheLinesInOrder_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("shown");
        const QString none;
        const QStringList six{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"),
            QStringLiteral("4"), QStringLiteral("5"), QStringLiteral("6")};
        QTest::newRow("none") << QStringList() << QStringList{none, none, none, none};
        QTest::newRow("one") << six.first(1) << QStringList{six.at(0), none, none, none};
        QTest::newRow("three") << six.first(3) << (six.first(3) << none);
        QTest::newRow("four") << six.first(4) << six.first(4);
        QTest::newRow("five") << six.first(5) << six.first(4);
        QTest::newRow("six") << six << six.first(4);
        const QStringList odd{QStringLiteral("  blanks  "), none, QStringLiteral("<b>a & b</b>"),
            QStringLiteral("two\nlines")};
        QTest::newRow("as they are") << odd << odd;
    }

    void showsTheLinesInOrder()
    {
        QFETCH(QStringList, lines);
        QFETCH(QStringList, shown);
        const DialogMessage dialog(lines, nullptr);
        QCOMPARE(labelTexts(dialog), shown);
        const QList<QLabel*> labels = dialog.findChildren<QLabel*>();
        for (const QLabel* const label : labels)
            QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void okEndsExecWithTheAcceptedResult()
    {
        DialogMessage dialog({QStringLiteral("done")}, nullptr);
        QTimer::singleShot(0, &dialog, [&dialog] {
            QVERIFY(dialog.isVisible());
            QTest::mouseClick(dialog.findChild<QPushButton*>(), Qt::LeftButton);
        });
        QCOMPARE(dialog.exec(), static_cast<int>(QDialog::Accepted));
        QVERIFY(!dialog.isVisible());
    }

    void belongsToItsParentAndDoesNotShowItself()
    {
        QWidget parent;
        auto* const dialog = new DialogMessage({}, &parent);
        QCOMPARE(dialog->parent(), &parent);
        QVERIFY(dialog->isHidden());
        QCOMPARE(dialog->windowFlags(), QDialog(&parent).windowFlags());
    }

    void bindsOnePrivateSlotByItsName()
    {
        const QMetaObject& meta = DialogMessage::staticMetaObject;
        QCOMPARE(QByteArray(meta.className()), QByteArray("DialogMessage"));
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
        const QMetaMethod slot = meta.method(meta.methodOffset());
        QCOMPARE(slot.methodSignature(), QByteArray("on_pushButton_clicked()"));
        QCOMPARE(slot.access(), QMetaMethod::Private);
    }
};

static const RegisteredTest<TestDialogMessage> registered(__FILE__);
#include "tst_dialog_message.moc"
