# The studio's page as a part of the program: its files' bytes, and a table of them. Made where the page has been built
# (script/studio --build-only); without it the program is whole but for the command `studio`.
set(ORVANDEL_STUDIO ${PROJECT_SOURCE_DIR}/build/studio CACHE PATH "The studio's page as built, to be put into the program")
enable_language(ASM)

file(GLOB_RECURSE page CONFIGURE_DEPENDS RELATIVE ${ORVANDEL_STUDIO} ${ORVANDEL_STUDIO}/*)
if(NOT "index.html" IN_LIST page)
  set(page "")
endif()
set(bytes "")
set(table "")
set(sources "")
set(number 0)
foreach(file IN LISTS page)
  string(APPEND bytes "name${number}: .asciz \"${file}\"\nbegin${number}: .incbin \"${ORVANDEL_STUDIO}/${file}\"\nend${number}:\n")
  string(APPEND table "  .quad name${number}, begin${number}, end${number}\n")
  list(APPEND sources ${ORVANDEL_STUDIO}/${file})
  math(EXPR number "${number} + 1")
endforeach()
set(assembly ${CMAKE_CURRENT_BINARY_DIR}/studio_page.S)
file(CONFIGURE OUTPUT ${assembly} CONTENT [[
  .section .rodata
@bytes@
  .section .data.rel.ro, "aw"
  .balign 8
  .globl orvandelPageFiles
  .hidden orvandelPageFiles
orvandelPageFiles:
@table@  .quad 0, 0, 0
  .section .note.GNU-stack, "", @progbits
]] @ONLY)
set_source_files_properties(${assembly} PROPERTIES OBJECT_DEPENDS "${sources}")
target_sources(orvandel_cli PRIVATE ${assembly})
