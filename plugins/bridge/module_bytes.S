/* The effect's module, whole. */
        .section .rodata
        .balign 16
        .hidden orvandelModuleBegin
        .hidden orvandelModuleEnd
        .global orvandelModuleBegin
        .global orvandelModuleEnd
orvandelModuleBegin:
        .incbin ORVANDEL_MODULE_FILE
orvandelModuleEnd:
        .byte 0
        .section .note.GNU-stack,"",@progbits
