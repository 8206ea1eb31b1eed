/* A caller in C: the public header compiles as C, and a session runs from start to end. The program has a yyparse of
 * its own, which the library must not call in place of its parser. */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "qrtscript.h"

int yyparse(void);
int yyparse(void) {
    fputs("the caller's yyparse was called\n", stderr);
    return 2;
}

static int check(int ok, const char *what) {
    if (!ok) fprintf(stderr, "failed: %s\n", what);
    return ok ? 0 : 1;
}

int main(void) {
    QrtRunScriptsArgs args;
    FILE *output = tmpfile();
    char text[256] = "";
    int failures = 0;
    memset(&args, 0, sizeof args);
    failures += check(output != NULL, "tmpfile");
    failures += check(qrt_init(NULL, output) == 0, "qrt_init");
    qrt_SetUserVar(2, "from C");
    failures += check(parsescript_Run("WRITE \"%2\"\n", NULL, 0) == 0, "parsescript_Run");
    failures += check(qrt_RunScripts(&args) == QRT_NO_TREE, "qrt_RunScripts without a tree");
    rewind(output);
    failures += check(fread(text, 1, sizeof text - 1, output) > 0, "output");
    failures += check(strcmp(text, "from C\nNo Treename defined\n") == 0, text);
    failures += check(qrt_exit() == 0, "qrt_exit");
    fclose(output);
    return failures;
}
