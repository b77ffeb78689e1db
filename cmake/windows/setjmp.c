/* libwinpthread calls _setjmp, which the Universal CRT has under another name only. A
   jump, not a call: the registers that are saved have to be those of the caller. */
__asm__(".globl _setjmp\n"
        "_setjmp:\n"
        "    jmp *__imp___intrinsic_setjmp(%rip)\n");

extern int is_not_empty; /* a source holds a declaration at least */
