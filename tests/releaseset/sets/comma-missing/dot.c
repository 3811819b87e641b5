Dot_map[] = {
0xa5, 0x18, 0x84, 0x18
0x00, 0xf8, 0xff, 0xff,
};

const lv_img_dsc_t Dot = {
  .header.cf = LV_IMG_CF_TRUE_COLOR,
  .header.always_zero = 0,
  .header.reserved = 0,
  .header.w = 2,
  .header.h = 2,
  .data_size = 4 * LV_COLOR_SIZE / 8,
  .data = Dot_map,
};
