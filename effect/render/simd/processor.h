// Which instruction sets code is compiled for, and which of them this processor runs.
#pragma once

namespace orvandel {

#if defined(__x86_64__)
inline constexpr bool kForX86 = true;
#else
inline constexpr bool kForX86 = false;
#endif

bool RunsAvx2();    // with FMA and BMI2
bool RunsAvx512();  // with VBMI, VBMI2, VNNI, VPOPCNTDQ and VPCLMULQDQ

}  // namespace orvandel
