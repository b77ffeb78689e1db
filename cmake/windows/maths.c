/* The Universal CRT's own exp, log, pow, sin and cos in place of the tool chain's, which
   compute on the x87 unit: their last bits depend on the precision that the host has set
   there, 53 bits in programs of the system's usual compiler, 64 in those of this one. */
#define TAKE_FROM_UCRT(name)                                                                       \
    __asm__(".globl " #name "\n" #name ":\n"                                                       \
            "    jmp *__imp_" #name "(%rip)\n")

TAKE_FROM_UCRT(exp);
TAKE_FROM_UCRT(log);
TAKE_FROM_UCRT(pow);
TAKE_FROM_UCRT(sin);
TAKE_FROM_UCRT(cos);

double sin(double);
double cos(double);

/* What the compiler makes of the sine and the cosine of one angle. Built without builtins,
   or it would make this function call itself. */
void sincos(double angle, double* sine, double* cosine) {
    *sine = sin(angle);
    *cosine = cos(angle);
}
