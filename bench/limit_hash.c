/* What a login in an LDIF file costs at least: a start, one hash and the script's two programs. */
#include <crypt.h>
#include <spawn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

extern char **environ;

static void run(char *program) {
    char *arguments[] = {program, NULL};
    pid_t child;
    if (posix_spawn(&child, program, NULL, NULL, arguments, environ) != 0) exit(1);
    waitpid(child, NULL, 0);
}

int main(int count, char **arguments) {
    if (count < 3) return 64;
    const char *hash = crypt(arguments[1], arguments[2]);
    run("/bin/true");
    run("/bin/true");
    return hash != NULL && strcmp(hash, arguments[2]) == 0 ? 0 : 1;
}
