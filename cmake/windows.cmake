# Programs and modules that need nothing but the system, and whose bytes are a function of the sources.
add_link_options(-static -s -Wl,--no-insert-timestamp)
add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>:-Wl,--disable-auto-image-base>)
add_compile_definitions(UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
# The system's stacks are aligned to 16 bytes, which the compiler forgets of wider vectors: each move takes any address.
# Other instructions do of themselves, in the encodings that wide vectors have.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-Wa,-muse-unaligned-vector-move>)
