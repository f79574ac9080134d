// The instruction set that the including file is compiled for.
//
// Another one is another file beside these: the functions of portable.h that it does better, for its sizes of vectors,
// and the constants that shape the drawing (`kLanes`, `kRowGroup` and those below). It gets a line here, a file
// kernels_*.cpp in `fast` with its compiler options, and a StrokeCode.
#pragma once

#if defined(__AVX512F__)
#include "effect/render/simd/avx512.h"
#elif defined(__AVX2__)
#include "effect/render/simd/avx2.h"
#elif defined(__aarch64__)
#include "effect/render/simd/neon.h"
#else
#include "effect/render/simd/any.h"
#endif

namespace orvandel::fast::ORVANDEL_KERNELS {

// Vectors as wide as the instruction set has them: kLanes numbers of 32 bits.
using Floats = Vec<float, kLanes>;
using Ints = Vec<std::int32_t, kLanes>;
using Uints = Vec<std::uint32_t, kLanes>;

// A group: rows of a piece that are stepped together. (Sixteen would not be faster: runs are short, and a chain of
// sixteen additions is long.)
using RowFloats = Vec<float, kRowGroup>;
using RowInts = Vec<std::int32_t, kRowGroup>;

}  // namespace orvandel::fast::ORVANDEL_KERNELS
