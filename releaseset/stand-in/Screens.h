#pragma once

#include <QImage>
#include <QList>
#include <QString>

namespace standin {

/// A drawn screen of the machine and where it belongs in the set.
struct Screen
{
    QString title; ///< names the picture and the C symbol
    QString fileName; ///< of the C source in the set
    int number; ///< on the display board
    int version;
    QImage picture;
};

[[nodiscard]] QImage drawMenu();
[[nodiscard]] QImage drawAnnealing();
[[nodiscard]] QImage drawSettings();
[[nodiscard]] QImage drawCoilCooling();
[[nodiscard]] QImage drawDone();

/// The screens of the stand-in set in the manifest's order.
[[nodiscard]] QList<Screen> allScreens();

} // namespace standin
