/* Runs the scripts of the files named, as a login runs them, and writes what it prints behind a line with each name. */
#include <stdio.h>
#include <stdlib.h>

#include "qrtscript.h"

int main(int argc, char **argv) {
    if (qrt_init(NULL, stdout) != 0) return 1;
    for (int i = 1; i < argc; ++i) {
        static char text[65536];
        FILE *file = fopen(argv[i], "r");
        if (file == NULL) return 2;
        text[fread(text, 1, sizeof text - 1, file)] = '\0';
        fclose(file);
        printf("\n(script %s)\n", argv[i]);
        parsescript_Run(text, NULL, 0);
    }
    return 0;
}
