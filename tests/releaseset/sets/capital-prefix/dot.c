Dot_map[] = {
0XA5, 0X18, 0X84, 0X18, 0X00, 0XF8, 0XFF, 0XFF
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
