/* The effect's module, whole. */
#if defined(_WIN32)
        .section .rdata, "dr"
#else
        .section .rodata
        .hidden orvandelModuleBegin
        .hidden orvandelModuleEnd
#endif
        .balign 16
        .global orvandelModuleBegin
        .global orvandelModuleEnd
orvandelModuleBegin:
        .incbin ORVANDEL_MODULE_FILE
orvandelModuleEnd:
        .byte 0
#if !defined(_WIN32)
        .section .note.GNU-stack,"",@progbits
#endif
