#pragma once

#include "bootload/ImageFile.h"

/// Reads `text`, a display image as C source (the array of 0x-prefixed byte literals and the
/// `lv_img_dsc_t` descriptor of LVGL's image converter): appends the bytes to `image.data` and sets
/// `image.width` and `image.height` from ".header.w" and ".header.h" when the file names them.
/// Nothing is reported: what is not a literal or a known key is ignored.
void parseImage(const QByteArray& text, ImageFile& image);
