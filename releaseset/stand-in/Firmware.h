#pragma once

#include <QByteArray>

namespace standin {

/// A firmware image of the size and shape of the machine's: 913,408 bytes, the first page empty,
/// then a text that says what this is, and made-up content from a fixed seed with pages of all 00,
/// of all FF and of mixed bytes. The same on every machine.
[[nodiscard]] QByteArray makeFirmware();

} // namespace standin
