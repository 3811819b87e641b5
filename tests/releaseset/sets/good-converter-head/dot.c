#if defined(LV_LVGL_H_INCLUDE_SIMPLE)
#include "lvgl.h"
#else
#include "../lvgl/lvgl.h"
#endif

#ifndef LV_ATTRIBUTE_MEM_ALIGN
#define LV_ATTRIBUTE_MEM_ALIGN
#endif

#ifndef LV_ATTRIBUTE_IMG_DOT
#define LV_ATTRIBUTE_IMG_DOT
#endif

/* Made by a converter. */
const LV_ATTRIBUTE_MEM_ALIGN LV_ATTRIBUTE_LARGE_CONST LV_ATTRIBUTE_IMG_DOT uint8_t Dot_map[] = {
  0xa5, 0x18, 0x84, 0x18, 0x00, 0xf8, 0xff, 0xff,
};
// the descriptor
/* follows */

const lv_img_dsc_t Dot = {
  .header.cf = LV_IMG_CF_TRUE_COLOR,
  .header.always_zero = 0,
  .header.reserved = 0,
  .header.w = 2,
  .header.h = 2,
  .data_size = 4 * LV_COLOR_SIZE / 8,
  .data = Dot_map,
};
// end of file
