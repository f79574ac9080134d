// Compiles a function twice, for processors with 256-bit vectors and for all, and chooses when the program is loaded:
// for plain loops over numbers, which the compiler turns into vectors. The arithmetic is the same in both, and so are
// the bytes. There is only the one for all elsewhere than under Linux on x86-64, and where memory or threads are
// checked: the checkers are not at work yet when the choice is made.
#pragma once

#if defined(__x86_64__) && defined(__linux__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
#define ORVANDEL_WIDE_CODE __attribute__((target_clones("avx2", "default")))
#else
#define ORVANDEL_WIDE_CODE
#endif
