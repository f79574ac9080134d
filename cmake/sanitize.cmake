if(ORVANDEL_SANITIZE_THREADS)
  # g++ takes the checks' own reads for the code's.
  add_compile_options(-fsanitize=thread $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=thread)
endif()
# float-cast-overflow is not part of g++'s `undefined`, and the effect converts floats to integers everywhere.
if(ORVANDEL_SANITIZE)
  set(sanitizers -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${sanitizers})
  add_link_options(${sanitizers})
endif()
