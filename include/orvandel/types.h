/*
 * Fixed-width types, the pixel, the image record and the memory handle shared by every host and the effect.
 *
 * Every record here is plain C, has no hidden padding of interest to a caller and is laid out the same in C11 and
 * C++20.
 */
#ifndef ORVANDEL_TYPES_H
#define ORVANDEL_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define ORV_EXTERN_C_BEGIN extern "C" {
#define ORV_EXTERN_C_END }
#define ORV_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define ORV_EXTERN_C_BEGIN
#define ORV_EXTERN_C_END
#define ORV_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#if defined(_WIN32)
#define ORV_EXPORT __declspec(dllexport)
#else
#define ORV_EXPORT __attribute__((visibility("default")))
#endif

ORV_EXTERN_C_BEGIN

/* One pixel in memory order. Colour is straight: not multiplied by alpha. */
typedef struct OrvPixel {
  uint8_t alpha;
  uint8_t red;
  uint8_t green;
  uint8_t blue;
} OrvPixel;
ORV_STATIC_ASSERT(sizeof(OrvPixel) == 4, "a pixel is four bytes");

/* A signed numerator over an unsigned denominator; den == 0 is invalid. */
typedef struct OrvRatio {
  int32_t num;
  uint32_t den;
} OrvRatio;
ORV_STATIC_ASSERT(sizeof(OrvRatio) == 8, "a ratio is two 32-bit words, numerator first");

/* Whole pixels. */
typedef struct OrvPointI {
  int32_t x;
  int32_t y;
} OrvPointI;

/* Signed 16.16 fixed point: the value times 65536. */
typedef int32_t OrvFixed;

/*
 * A host memory block. The host allocates and disposes; while a handle is locked, `*handle` is the address of the
 * block, which does not move. Hosts that never move blocks may treat lock and unlock as counters.
 */
typedef void** OrvHandle;

/*
 * An image the host owns. Row 0 is the top row; pixel (x, y) is at data + y * rowBytes + x * 4.
 * rowBytes may exceed width * 4 (the bytes between are never written) and may be negative. data == NULL: no image.
 */
typedef struct OrvImage {
  uint8_t* data;
  int32_t width;
  int32_t height;
  int32_t rowBytes;
  uint32_t imageFlags; /* the host's own; carried along unchanged */
  void* hostData;      /* the host's own; carried along unchanged */
} OrvImage;

ORV_EXTERN_C_END

#endif
