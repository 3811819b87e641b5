#include "bootload/ProgressBar.h"
#include "tests/support/PaintCounter.h"

#include <QTest>

namespace {

constexpr int kMaximum = 100'000;
constexpr int kPercent = kMaximum / 100;

/// Counts how often the text is put together.
class TextCounter : public ProgressBar
{
public:
    [[nodiscard]] QString text() const override
    {
        ++m_count;
        return ProgressBar::text();
    }

    [[nodiscard]] int count() const { return m_count; }

private:
    mutable int m_count = 0;
};

template <typename Bar> void show(Bar& bar)
{
    bar.setRange(0, kMaximum);
    bar.setValue(0);
    bar.resize(381, 23);
    bar.show();
    QVERIFY(QTest::qWaitForWindowExposed(&bar));
}

} // namespace

/// When the bar is painted, and what then shows.
class TestProgressBar : public QObject
{
    Q_OBJECT

private slots:
    void holdsEveryValueAtOnce();
    void isPaintedOnceForAPercent();
    void isPaintedAtBothEnds();
    void leavesItsTextAloneBetweenTwoPercents();
    void looksLikeAnyOther_data();
    void looksLikeAnyOther();
};

void TestProgressBar::holdsEveryValueAtOnce()
{
    ProgressBar bar;
    show(bar);
    for (const int value : {1, 2, kPercent, kMaximum - 1, kMaximum, 0}) {
        bar.setValue(value);
        QCOMPARE(bar.value(), value);
    }
}

void TestProgressBar::isPaintedOnceForAPercent()
{
    ProgressBar bar;
    show(bar);
    const PaintCounter paints(bar);
    for (int value = 1; value < kPercent; ++value)
        bar.setValue(value);
    QCOMPARE(paints.count(), 0);
    bar.setValue(kPercent);
    QCOMPARE(paints.count(), 1);
    for (int value = kPercent; value < 10 * kPercent; value += kPercent / 10)
        bar.setValue(value);
    QCOMPARE(paints.count(), 9);
}

void TestProgressBar::isPaintedAtBothEnds()
{
    ProgressBar bar;
    show(bar);
    bar.setValue(kMaximum - 1);
    const PaintCounter paints(bar);
    bar.setValue(kMaximum);
    QCOMPARE(paints.count(), 1);
    bar.setValue(1);
    QCOMPARE(paints.count(), 2);
    bar.setValue(0);
    QCOMPARE(paints.count(), 3);
}

void TestProgressBar::leavesItsTextAloneBetweenTwoPercents()
{
    TextCounter bar;
    show(bar);
    bar.setValue(kPercent);
    const int before = bar.count();
    QVERIFY(before > 0);
    for (int value = kPercent; value < 2 * kPercent; ++value)
        bar.setValue(value);
    QCOMPARE(bar.count(), before);
}

void TestProgressBar::looksLikeAnyOther_data()
{
    QTest::addColumn<int>("value");
    for (const int value : {0, kPercent - 1, kPercent, kMaximum / 3, kMaximum - 1, kMaximum})
        QTest::addRow("%d", value) << value;
}

void TestProgressBar::looksLikeAnyOther()
{
    QFETCH(int, value);
    ProgressBar bar;
    QProgressBar other;
    show(bar);
    show(other);
    bar.setValue(value);
    other.setValue(value);
    QCOMPARE(bar.grab().toImage(), other.grab().toImage());
    QCOMPARE(bar.sizeHint(), other.sizeHint());
}

QTEST_MAIN(TestProgressBar)
#include "tst_progressbar.moc"
