"""The forms in which image converters write the good set's image, and data that is no RGB565 picture."""

from sets import ARRAY, BRANCHES, DESCRIPTOR, DOT, ROWS

HEAD_7 = """\
#if defined(LV_LVGL_H_INCLUDE_SIMPLE)
#include "lvgl.h"
#else
#include "lvgl/lvgl.h"
#endif

#ifndef LV_ATTRIBUTE_MEM_ALIGN
#define LV_ATTRIBUTE_MEM_ALIGN
#endif

#ifndef LV_ATTRIBUTE_IMG_DOT
#define LV_ATTRIBUTE_IMG_DOT
#endif

const LV_ATTRIBUTE_MEM_ALIGN LV_ATTRIBUTE_LARGE_CONST LV_ATTRIBUTE_IMG_DOT uint8_t dot_map[] = {
"""
HEAD_8 = """\
#ifdef __has_include
    #if __has_include("lvgl.h")
        #ifndef LV_LVGL_H_INCLUDE_SIMPLE
            #define LV_LVGL_H_INCLUDE_SIMPLE
        #endif
    #endif
#endif

""" + HEAD_7
HEAD_9 = """\
#if defined(LV_LVGL_H_INCLUDE_SIMPLE)
#include "lvgl.h"
#elif defined(LV_LVGL_H_INCLUDE_SYSTEM)
#include <lvgl.h>
#elif defined(LV_BUILD_TEST)
#include "../lvgl.h"
#else
#include "lvgl/lvgl.h"
#endif

#ifndef LV_ATTRIBUTE_MEM_ALIGN
#define LV_ATTRIBUTE_MEM_ALIGN
#endif

#ifndef LV_ATTRIBUTE_DOT
#define LV_ATTRIBUTE_DOT
#endif

static const
LV_ATTRIBUTE_MEM_ALIGN LV_ATTRIBUTE_LARGE_CONST LV_ATTRIBUTE_DOT
uint8_t dot_map[] = {

"""

FLAT_7 = """
const lv_img_dsc_t dot = {
  .header.always_zero = 0,
  .header.w = 2,
  .header.h = 2,
  .data_size = 4 * LV_COLOR_SIZE / 8,
  .header.cf = LV_IMG_CF_TRUE_COLOR,
  .data = dot_map,
};

"""
FLAT_8 = DESCRIPTOR.replace("Dot", "dot")
NESTED_8 = """
const lv_img_dsc_t dot = {
  .header = { .cf = LV_IMG_CF_TRUE_COLOR, .always_zero = 0, .reserved = 0, .w = 2, .h = 2, },
  .data_size = 4 * LV_COLOR_SIZE / 8,
  .data = dot_map,
};
"""
FLAT_9 = """
const lv_image_dsc_t dot = {
  .header.cf = LV_COLOR_FORMAT_RGB565,
  .header.magic = LV_IMAGE_HEADER_MAGIC,
  .header.w = 2,
  .header.h = 2,
  .data_size = 4 * 2,
  .data = dot_map,
};
"""
NESTED_9 = """
const lv_image_dsc_t dot = {
  .header = {
    .magic = LV_IMAGE_HEADER_MAGIC,
    .cf = LV_COLOR_FORMAT_RGB565,
    .flags = 0,
    .w = 2,
    .h = 2,
    .stride = 4,
    .reserved_2 = 0,
  },
  .data_size = sizeof(dot_map),
  .data = dot_map,
  .reserved = NULL,
};

"""


def literals(data):
    return "    " + "".join(f"0x{byte:02x}," for byte in data) + "\n"


def nested(data=DOT, head=HEAD_9, **entries):
    """The form of version 9 with `data` and with other values of the header's entries."""
    text = NESTED_9
    for key, value in entries.items():
        before, _, rest = text.partition(f".{key} = ")
        assert rest, key
        text = f"{before}.{key} = {value}," + rest[rest.index(",") + 1:]
    return head + literals(data) + "\n};\n" + text


def padded(data, row, stride):
    return b"".join(data[at : at + row].ljust(stride, b"\xee") for at in range(0, len(data), row))


# By name: the C source, and the line from which the check refuses it, or 0 where the updater reads it.
FORMS = {
    "7, branches": (HEAD_7 + BRANCHES + "};\n" + FLAT_7, 16),
    "7, plain": (HEAD_7 + ROWS + "};\n" + FLAT_7, 0),
    "8, branches": (HEAD_8 + BRANCHES + "};\n" + FLAT_8, 24),
    "8, branches of lv_img_dsc_t with a nested header": (HEAD_8 + BRANCHES + "};\n" + NESTED_8, 24),
    "8, plain": (HEAD_8 + ROWS + "};\n" + FLAT_8, 0),
    "8, nested": (ARRAY + NESTED_8, 7),
    "9, flat": (HEAD_9 + literals(DOT) + "};\n" + FLAT_9, 0),
    "9, nested": (nested(), 28),
    "9, nested, in one line": (
        HEAD_9 + literals(DOT) + "};\nconst lv_image_dsc_t dot = { .header = { .cf = LV_COLOR_FORMAT_RGB565, "
        ".magic = LV_IMAGE_HEADER_MAGIC, .w = 2, .h = 2, .stride = 0 }, .data = dot_map };\n", 25),
    "9, comments between the entries": (nested(w="/* wide { */ 2"), 28),
    "9, rows padded to a stride": (nested(padded(DOT, 4, 64), stride=64), 28),
    "9, rows padded to a stride, flat": (
        HEAD_9 + literals(padded(DOT, 4, 6)) + "};\n" + FLAT_9.replace(".header.h", ".header.stride = 6,\n  .header.h"),
        30),
    "9, hexadecimal size": (nested(w="0x2", h="2U"), 28),
}

# By name: the C source and what is said of it.
REFUSED = {
    "8, with alpha": (
        HEAD_8 + BRANCHES + "};\n" + FLAT_8.replace("TRUE_COLOR", "TRUE_COLOR_ALPHA"),
        "the colour format is LV_IMG_CF_TRUE_COLOR_ALPHA"),
    "8, with a transparent colour": (
        HEAD_8 + BRANCHES + "};\n" + FLAT_8.replace("TRUE_COLOR", "TRUE_COLOR_CHROMA_KEYED"),
        "the colour format is LV_IMG_CF_TRUE_COLOR_CHROMA_KEYED"),
    "8, palette": (
        HEAD_8 + literals(bytes(8)) + "};\n" + FLAT_8.replace("TRUE_COLOR", "INDEXED_1BIT"),
        "the colour format is LV_IMG_CF_INDEXED_1BIT"),
    "8, alpha plane after the pixels": (
        HEAD_8 + literals(DOT + bytes(4)) + "};\n" + FLAT_8.replace("TRUE_COLOR", "RGB565A8"),
        "the colour format is LV_IMG_CF_RGB565A8"),
    "9, alpha plane after the pixels": (
        nested(DOT + bytes(4), cf="LV_COLOR_FORMAT_RGB565A8"), "the colour format is LV_COLOR_FORMAT_RGB565A8"),
    "9, 32 bits": (nested(DOT * 2, cf="LV_COLOR_FORMAT_ARGB8888"), "the colour format is LV_COLOR_FORMAT_ARGB8888"),
    "9, swapped bytes": (
        nested(cf="LV_COLOR_FORMAT_RGB565_SWAPPED"), "the colour format is LV_COLOR_FORMAT_RGB565_SWAPPED"),
    "9, colour format by number": (nested(cf="0x10"), "the colour format is 0x10"),
    "9, compressed": (
        nested(flags="0 | LV_IMAGE_FLAGS_COMPRESSED"), "the pixels are compressed (LV_IMAGE_FLAGS_COMPRESSED)"),
    "9, palette or alpha plane not named": (nested(DOT + bytes(4)), "12 bytes are not 2 x 2 pixels of 2 bytes"),
    "9, stride without padding": (nested(stride=6), "8 bytes are not 2 rows of 6 bytes, of which 4 are pixels"),
    "9, stride below the width": (nested(stride=2), "8 bytes are not 2 rows of 2 bytes, of which 4 are pixels"),
    "9, size that is no number": (nested(w="DOT_WIDTH"), ".header.w is DOT_WIDTH, not a number"),
    "no size": (ARRAY, "the image has no .header.w"),
    "no height": (nested().replace(".h = 2,", ""), "the image has no .header.h"),
    "only swapped branches": (
        HEAD_8 + BRANCHES[BRANCHES.index("#if LV_COLOR_DEPTH == 16 && LV_COLOR_16_SWAP != 0"):] + "};\n" + FLAT_8,
        "no branch is for LV_COLOR_DEPTH == 16 without swapped bytes"),
}
