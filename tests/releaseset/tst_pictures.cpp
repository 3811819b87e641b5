#include "releaseset/Canvas.h"
#include "releaseset/Rgb565.h"
#include "releaseset/StrokeFont.h"
#include "releaseset/Strokes.h"

#include <QTest>

using namespace releaseset;

namespace {

constexpr QRgb kBlack = qRgb(0, 0, 0);
constexpr QRgb kWhite = qRgb(255, 255, 255);

/// One pixel of every value that 16 bits can hold.
QByteArray everyPixel()
{
    QByteArray pixels;
    for (int value = 0; value < 0x10000; ++value)
        pixels.append(static_cast<char>(value)).append(static_cast<char>(value >> 8));
    return pixels;
}

QImage plain(QRgb colour)
{
    QImage picture(16, 16, QImage::Format_RGB32);
    picture.fill(colour);
    return picture;
}

bool hasInk(const QImage& picture)
{
    return picture != plain(kBlack).copy(QRect(QPoint(0, 0), picture.size()));
}

} // namespace

class TestPictures : public QObject
{
    Q_OBJECT

private slots:
    void everyPixelSurvivesTheWayThroughAPicture_data()
    {
        QTest::addColumn<Dither>("dither");
        QTest::newRow("nearest") << Dither::None;
        QTest::newRow("dithered") << Dither::Ordered;
    }

    void everyPixelSurvivesTheWayThroughAPicture()
    {
        QFETCH(Dither, dither);
        const QByteArray pixels = everyPixel();
        QCOMPARE(toRgb565(fromRgb565(pixels, {256, 256}), dither), pixels);
    }

    void pixelsStandLowByteFirst()
    {
        QCOMPARE(
            toRgb565(plain(qRgb(255, 0, 0)), Dither::None).first(2), QByteArray("\x00\xf8", 2));
        QCOMPARE(
            toRgb565(plain(qRgb(0, 255, 0)), Dither::None).first(2), QByteArray("\xe0\x07", 2));
        QCOMPARE(
            toRgb565(plain(qRgb(0, 0, 255)), Dither::None).first(2), QByteArray("\x1f\x00", 2));
    }

    void transparencyIsDropped()
    {
        QImage picture(1, 1, QImage::Format_ARGB32);
        picture.fill(qRgba(255, 0, 0, 0));
        QCOMPARE(toRgb565(picture, Dither::None), QByteArray("\x00\xf8", 2));
    }

    void wrongNumberOfBytesGivesNoPicture()
    {
        QVERIFY(fromRgb565(QByteArray(7, '\0'), {2, 2}).isNull());
        QVERIFY(fromRgb565(QByteArray(9, '\0'), {2, 2}).isNull());
        QVERIFY(fromRgb565({}, {0, 0}).isNull());
        QVERIFY(fromRgb565(QByteArray(8, '\0'), {-2, -2}).isNull());
    }

    void ditheringKeepsTheMeanOfAColour()
    {
        for (int red = 0; red < 256; ++red) {
            const QByteArray pixels = toRgb565(plain(qRgb(red, 0, 0)), Dither::Ordered);
            int sum = 0;
            for (qsizetype i = 1; i < pixels.size(); i += 2)
                sum += static_cast<unsigned char>(pixels.at(i)) >> 3;
            const double mean = sum * 2.0 / static_cast<double>(pixels.size());
            QVERIFY2(qAbs(mean - red * 31 / 255.0) < 0.07, qPrintable(QString::number(red)));
        }
    }

    void pixelIsTheMeanOfItsSquare()
    {
        Canvas canvas({2, 1}, kBlack);
        canvas.fillRect({0, 0, px(0.5), px(1)}, kWhite);
        QCOMPARE(canvas.picture().pixel(0, 0), qRgb(128, 128, 128));
        QCOMPARE(canvas.picture().pixel(1, 0), kBlack);
    }

    void discIsRoundAndOfItsRadius()
    {
        Canvas canvas({16, 16}, kBlack);
        canvas.fillDisc({px(8), px(8)}, px(6), kWhite);
        const QImage picture = canvas.picture();
        QCOMPARE(picture.pixel(8, 8), kWhite);
        QCOMPARE(picture.pixel(2, 2), kBlack);
        QVERIFY(qRed(picture.pixel(2, 8)) > 128);
        QCOMPARE(picture.pixel(1, 8), kBlack);
        QCOMPARE(picture.mirrored(true, true), picture);
    }

    void strokeCoversItsLine()
    {
        Canvas canvas({16, 16}, kBlack);
        canvas.stroke(QPolygon({QPoint(px(2), px(2)), QPoint(px(13), px(13))}), px(2), kWhite);
        for (int i = 2; i < 13; ++i)
            QCOMPARE(canvas.picture().pixel(i, i), kWhite);
        QCOMPARE(canvas.picture().pixel(12, 3), kBlack);
    }

    void drawingIsScaledAndMoved()
    {
        const QList<QPolygon> lines = strokesOf("M0 0 L10 20 M10 0", {100, 200}, 40, 20);
        QCOMPARE(lines,
            (QList<QPolygon>{
                QPolygon({QPoint(100, 200), QPoint(120, 240)}), QPolygon{QPoint(120, 200)}}));
    }

    void curvesEndWhereTheyShould()
    {
        for (const char* drawing : {"M0 0 h20 10", "M0 0 v20 10", "M0 0 q20 0 20 10"}) {
            const QList<QPolygon> lines = strokesOf(drawing, {0, 0}, 200, 20);
            QCOMPARE(lines.size(), 1);
            QCOMPARE(lines.first().constLast(), QPoint(200, 100));
        }
    }

    void brokenDrawingEndsWhereItBreaks_data()
    {
        QTest::addColumn<QByteArray>("drawing");
        QTest::newRow("unknown letter") << QByteArray("M0 0 L10 10 Z5 5 L0 0");
        QTest::newRow("number missing") << QByteArray("M0 0 L10 10 L5");
        QTest::newRow("half a curve") << QByteArray("M0 0 L10 10 q5 5 8");
    }

    void brokenDrawingEndsWhereItBreaks()
    {
        QFETCH(QByteArray, drawing);
        const QList<QPolygon> lines = strokesOf(
            {drawing.constData(), static_cast<std::size_t>(drawing.size())}, {}, 20, 20);
        QCOMPARE(lines, (QList<QPolygon>{QPolygon({QPoint(0, 0), QPoint(10, 10)})}));
        QVERIFY(strokesOf("L1 1", {}, 20, 20).isEmpty());
        QVERIFY(strokesOf("", {}, 20, 20).isEmpty());
    }

    void everyPrintedCharacterHasItsGlyph()
    {
        const QString all = QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                           "0123456789.,:-+=/%()!_'>\u00b0\u00d7");
        Canvas box({16, 16}, kBlack);
        drawText(box, {px(2), px(14)}, QStringLiteral("\u2603"), {});
        QVERIFY(hasInk(box.picture()));
        for (const QChar character : all) {
            Canvas canvas({16, 16}, kBlack);
            drawText(canvas, {px(2), px(14)}, character, {});
            QVERIFY2(hasInk(canvas.picture()), qPrintable(QString(character)));
            QVERIFY2(canvas.picture() != box.picture(), qPrintable(QString(character)));
        }
    }

    void textIsAsWideAsItsLettersAndGaps()
    {
        const TextStyle style{.capHeight = 20, .penWidth = 2, .colour = kWhite, .tracking = 3};
        QCOMPARE(textWidth({}, style), 0);
        QCOMPARE(textWidth(QStringLiteral("H"), style), 12);
        QCOMPARE(textWidth(QStringLiteral("HH"), style), 12 + 6 + 3 + 12);
    }
};

QTEST_APPLESS_MAIN(TestPictures)
#include "tst_pictures.moc"
