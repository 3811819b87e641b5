#include "releaseset/CSource.h"

#include "releaseset/Rgb565.h"

namespace releaseset {

namespace {

constexpr qsizetype kLiteralLength = 6; // "0xa5, "

void appendLiteral(QByteArray& text, char byte)
{
    constexpr char kDigits[] = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    text.append("0x").append(kDigits[value >> 4]).append(kDigits[value & 0xf]).append(',');
}

QByteArray descriptorOf(QSize size, const QByteArray& name)
{
    const auto number = [](qint64 value) { return QByteArray::number(value); };
    return "const lv_img_dsc_t " + name + " = {\n"
        + "  .header.cf = LV_IMG_CF_TRUE_COLOR,\n"
          "  .header.always_zero = 0,\n"
          "  .header.reserved = 0,\n"
          "  .header.w = "
        + number(size.width())
        + ",\n"
          "  .header.h = "
        + number(size.height())
        + ",\n"
          "  .data_size = "
        + number(qint64(size.width()) * size.height())
        + " * LV_COLOR_SIZE / 8,\n"
          "  .data = "
        + name
        + "_map,\n"
          "};\n";
}

} // namespace

QByteArray cSourceOf(const QByteArray& pixels, QSize size, const QString& name)
{
    const qsizetype rowLength = qsizetype(size.width()) * kBytesPerPixel;
    QByteArray text = name.toUtf8() + "_map[] = {\n";
    text.reserve(pixels.size() * kLiteralLength + 1000);
    for (qsizetype i = 0; i < pixels.size(); ++i) {
        appendLiteral(text, pixels.at(i));
        text.append((i + 1) % rowLength == 0 ? '\n' : ' ');
    }
    return text + "};\n\n" + descriptorOf(size, name.toUtf8());
}

QString symbolName(const QString& title, QSize size)
{
    QString symbol;
    for (const QChar character : title) {
        const bool plain = character.unicode() < 0x80
            && (character.isLetterOrNumber() || character == QLatin1Char('_'));
        symbol.append(plain ? character : QLatin1Char('_'));
    }
    if (symbol.isEmpty() || symbol.at(0).isDigit())
        symbol.prepend(QLatin1Char('_'));
    return QStringLiteral("%1_%2x%3").arg(symbol).arg(size.width()).arg(size.height());
}

} // namespace releaseset
