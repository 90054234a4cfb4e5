/* A plug-in whose entry point announces itself on standard error. */
#include <stdio.h>

void autorun(void) { fprintf(stderr, "test plugin autorun ran\n"); }
