# The arithmetic is part of the product: each operation rounds once. Contraction to fused multiply-add changes pixels, and
# a build for one processor's instructions would tempt compilers to it. -fno-math-errno changes no value.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffp-contract=off> $<$<COMPILE_LANGUAGE:C,CXX>:-fno-math-errno>)
