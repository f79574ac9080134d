/*
 * The frei0r plug-in interface, version 1.2, as far as sources and filters use it. Declared here, so that building
 * needs nothing of anybody else's.
 *
 * A host reads the plug-in's and its parameters' descriptions, makes instances for one size of picture each, sets
 * parameters and asks for frames: f0r_update puts the picture of a time into `out`, width * height words, rows from the
 * top, `in` being the picture to work on (of a source: null). Parameters are handed over by pointers to what `type`
 * says below.
 */
#ifndef ORVANDEL_FREI0R_INTERFACE_H
#define ORVANDEL_FREI0R_INTERFACE_H

#include <cstdint>

extern "C" {

enum { F0R_PLUGIN_TYPE_FILTER = 0, F0R_PLUGIN_TYPE_SOURCE = 1 };
enum { F0R_COLOR_MODEL_RGBA8888 = 1 };
enum { FREI0R_MAJOR_VERSION = 1 };
enum {
  F0R_PARAM_BOOL = 0,   /* double: 0.5 and more is true */
  F0R_PARAM_DOUBLE = 1, /* double, 0..1 */
  F0R_PARAM_COLOR = 2,  /* f0r_param_color_t */
  F0R_PARAM_STRING = 4  /* char*, which stays the owner's */
};

typedef void* f0r_instance_t;
typedef void* f0r_param_t;
typedef char* f0r_param_string;
typedef struct f0r_param_color {
  float r, g, b;
} f0r_param_color_t;

typedef struct f0r_plugin_info {
  const char* name;
  const char* author;
  int plugin_type;
  int color_model;
  int frei0r_version;
  int major_version;
  int minor_version;
  int num_params;
  const char* explanation;
} f0r_plugin_info_t;

typedef struct f0r_param_info {
  const char* name;
  int type;
  const char* explanation;
} f0r_param_info_t;

#define ORVANDEL_F0R_EXPORT __attribute__((visibility("default")))

ORVANDEL_F0R_EXPORT int f0r_init();
ORVANDEL_F0R_EXPORT void f0r_deinit();
ORVANDEL_F0R_EXPORT void f0r_get_plugin_info(f0r_plugin_info_t* info);
ORVANDEL_F0R_EXPORT void f0r_get_param_info(f0r_param_info_t* info, int index);
ORVANDEL_F0R_EXPORT f0r_instance_t f0r_construct(unsigned int width, unsigned int height);
ORVANDEL_F0R_EXPORT void f0r_destruct(f0r_instance_t instance);
ORVANDEL_F0R_EXPORT void f0r_set_param_value(f0r_instance_t instance, f0r_param_t value, int index);
ORVANDEL_F0R_EXPORT void f0r_get_param_value(f0r_instance_t instance, f0r_param_t value, int index);
ORVANDEL_F0R_EXPORT void f0r_update(f0r_instance_t instance, double time, const std::uint32_t* in, std::uint32_t* out);
/* Of the three pictures, a filter has the first and a source none. */
ORVANDEL_F0R_EXPORT void f0r_update2(f0r_instance_t instance, double time, const std::uint32_t* in1,
                                     const std::uint32_t* in2, const std::uint32_t* in3, std::uint32_t* out);
}

#endif
