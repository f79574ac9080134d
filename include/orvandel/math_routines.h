/*
 * The module's numeric routines: exact arithmetic on ratios of 32-bit integers, rounding, and 3 x 3 matrices.
 *
 * They keep no state, call nothing of the host and may be called from any thread at any time. Every operand is allowed;
 * where a result cannot be represented the entry says what comes instead. A result may be stored over an operand.
 * Pointers are to be valid unless an entry says what null does. The results are codes of OrvMathResult unless
 * stated otherwise.
 */
#ifndef ORVANDEL_MATH_ROUTINES_H
#define ORVANDEL_MATH_ROUTINES_H

#include "orvandel/types.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

ORV_EXTERN_C_BEGIN

enum OrvMathResult {
  ORV_MATH_OK = 0,
  ORV_MATH_INVALID_ARGUMENT = 123, /* a required pointer is null; nothing was stored */
  ORV_MATH_OVERFLOW = 4354,
  ORV_MATH_ZERO_DENOMINATOR = 4358
};

/*
 * Row-major. Points are row vectors: [x, y, 1] times the matrix, so that m[6] and m[7] are the translation and m[2],
 * m[5], m[8] the projective column (0, 0, 1 for an affine matrix).
 */
typedef struct OrvMatrix {
  double m[9];
} OrvMatrix;

typedef struct OrvPointD {
  double x, y;
} OrvPointD;

typedef struct OrvVector3D {
  double x, y, z;
} OrvVector3D;

typedef struct OrvRectD {
  double left, top, right, bottom;
} OrvRectD;

/*
 * Ratios: sums, differences and products.
 *
 * A result is exact and not reduced where it fits the overflow tests below, if need be after the operands have been
 * reduced. Where it does not fit, `status` decides:
 *
 *   null                       result 0/0, ORV_MATH_OVERFLOW
 *   ORV_RATIO_APPROXIMATE      the nearest bounded ratio (M_FpLong2Ratio) of the result in double precision; where that
 *                              is beyond its bound too, 0/0 and ORV_MATH_OVERFLOW
 *   any other: one byte        on entry, bit ORV_RATIO_MAY_APPROXIMATE allows that approximation; on return one of
 *                              OrvRatioState. The code is ORV_MATH_OK, after an overflow too (result 0/0).
 *
 * A numerator of -2^31 cannot be negated: where M_SubRatio must, it stays as it is.
 */
#define ORV_RATIO_APPROXIMATE ((uint8_t*)UINTPTR_MAX)
#define ORV_RATIO_MAY_APPROXIMATE 2

enum OrvRatioState { ORV_RATIO_EXACT = 0, ORV_RATIO_OVERFLOW = 1, ORV_RATIO_APPROXIMATED = 2 };

/* result = a + b. A zero denominator: 0/0, ORV_MATH_ZERO_DENOMINATOR. Null a, b or result: ORV_MATH_INVALID_ARGUMENT.
 */
ORV_EXPORT int32_t M_AddRatio(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, uint8_t* status);
/* result = a - b; otherwise as M_AddRatio. */
ORV_EXPORT int32_t M_SubRatio(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, uint8_t* status);
/* result = a x b; as M_AddRatio, but a zero denominator gives 0/0 with ORV_MATH_INVALID_ARGUMENT. */
ORV_EXPORT int32_t M_MulRatio(const OrvRatio* a, const OrvRatio* b, OrvRatio* result, uint8_t* status);

/*
 * out = in divided by its greatest common divisor, unless that is 2^31. *reduced (may be null): whether anything was
 * divided. A zero denominator is copied as it is. Null in or out: ORV_MATH_INVALID_ARGUMENT.
 */
ORV_EXPORT int32_t M_ReduceRatio(const OrvRatio* in, OrvRatio* out, bool* reduced);

/* The greatest common divisor; with b = 0 it is reported as 1. Null gcd: ORV_MATH_INVALID_ARGUMENT. */
ORV_EXPORT int32_t M_UnsignedGCD(uint32_t a, uint32_t b, uint32_t* gcd);

/*
 * `in` over the denominator newDen, the numerator rounded. *exact and *overflow (each may be null): whether nothing was
 * lost, and whether the numerator leaves 32 bits (then out is 0/0, *exact false, ORV_MATH_OK).
 * A zero denominator: 0/0, ORV_MATH_ZERO_DENOMINATOR, *exact not stored. Null in or out: ORV_MATH_INVALID_ARGUMENT.
 */
ORV_EXPORT int32_t M_ConvRatio(const OrvRatio* in, uint32_t newDen, OrvRatio* out, bool* exact, bool* overflow);

/*
 * The same for a bare numerator: num/den over newDen. An overflow gives *out = 0 and *overflow = true; without an
 * overflow flag (null) it is told by ORV_MATH_INVALID_ARGUMENT. Null out: ORV_MATH_INVALID_ARGUMENT.
 */
ORV_EXPORT int32_t M_ShortConvRatio(int32_t num, uint32_t den, uint32_t newDen, int32_t* out, bool* overflow);

/*
 * The reduced ratio nearest to x, rounded to single precision, with numerator and denominator at most 2^30.
 * |x| >= 2^31 and NaN: 0/0 and *overflow = true, ORV_MATH_OK; 2^30 and more below that: 2^30/1.
 * Null out or overflow: ORV_MATH_INVALID_ARGUMENT.
 */
ORV_EXPORT int32_t M_FpLong2Ratio(double x, OrvRatio* out, bool* overflow);

/*
 * Overflow tests. The sum's is exact; those of the products count leading zeros only: false is always right, true may
 * be said of a product that fits by up to one bit (0x8000 x 0x8000).
 */
ORV_EXPORT bool M_AddWouldOverflow(int32_t a, int32_t b);
ORV_EXPORT bool M_MulWouldOverflow(int32_t a, int32_t b);
ORV_EXPORT bool M_UMulWouldOverflow(uint32_t a, uint32_t b);

/* 0 to 32. */
ORV_EXPORT int16_t M_LeadingZeros(uint32_t x);

/* The nearest integer, halves toward plus infinity. Beyond 32 bits the nearest one of these; 0 for NaN.
 */
ORV_EXPORT int32_t M_RoundDouble(double d);

/* x - trunc(x / y) x y in double precision, so with the sign of x; 0 when x or y is 0. */
ORV_EXPORT double M_fmod(double x, double y);

/* Matrices. Angles in degrees; a positive one turns x toward y. */

/* A null m does nothing. */
ORV_EXPORT int32_t M_SetIdentityMatrix(OrvMatrix* m);
/* b = b x a: a point goes through what b was first, then through a. Neither may be null. */
ORV_EXPORT int32_t M_ConcatMatrix(const OrvMatrix* a, OrvMatrix* b);
/* m = m x translation. A null m does nothing. */
ORV_EXPORT int32_t M_TranslateMatrix(OrvMatrix* m, double tx, double ty);
/* m = m x scaling about (cx, cy); untouched when sx = sy = 1. m must not be null. */
ORV_EXPORT int32_t M_ScaleMatrix(OrvMatrix* m, double sx, double sy, double cx, double cy);
/* m = m x rotation about (cx, cy); untouched by whole turns. Null m: ORV_MATH_INVALID_ARGUMENT. */
ORV_EXPORT int32_t M_RotateMatrix(OrvMatrix* m, double degrees, double cx, double cy);

enum OrvMatrixKind {
  ORV_MATRIX_IDENTITY = 0,
  ORV_MATRIX_TRANSLATION = 1,
  ORV_MATRIX_SCALE = 2,
  ORV_MATRIX_SCALE_TRANSLATION = 3,
  ORV_MATRIX_AFFINE = 4, /* rotation or skew */
  ORV_MATRIX_PROJECTIVE = 5
};

/* *kind = an OrvMatrixKind, by exact comparison. Null m or kind: ORV_MATH_INVALID_ARGUMENT. */
ORV_EXPORT int32_t M_GetMatrixType(const OrvMatrix* m, int32_t* kind);

/* Each point in place, the projective column left out; none when count <= 0. Null: ORV_MATH_INVALID_ARGUMENT. */
ORV_EXPORT int32_t M_TransformFloatPoints(const OrvMatrix* m, int32_t count, OrvPointD* points);

/*
 * rect becomes the bounding box of its transformed corners. corners (4 points, may be null): these corners, in the
 * order left top, right top, right bottom, left bottom. *notAxisAligned (may be null): whether the matrix is affine
 * or projective in the sense of OrvMatrixKind. Null m or rect: ORV_MATH_INVALID_ARGUMENT.
 */
ORV_EXPORT int32_t M_TransformFloatRect(const OrvMatrix* m, OrvRectD* rect, OrvPointD* corners, bool* notAxisAligned);

/* Each vector in place, as a row vector times the whole matrix; none when count <= 0. Neither may be null. */
ORV_EXPORT int32_t M_TransformVector3(const OrvMatrix* m, int32_t count, OrvVector3D* vectors);

ORV_EXTERN_C_END

#endif
