/* Runs a script without a login, as a calling program would: its output goes to standard output. A second word: "heap",
   with 1 GiB of touched memory in the caller; "memory", to print the most memory that it has had, in KiB. */
#include <qrtscript.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

static void print_memory(void) {
    FILE *status = fopen("/proc/self/status", "r");
    char line[256];
    long peak = 0;
    while (status != NULL && fgets(line, sizeof line, status) != NULL) sscanf(line, "VmHWM: %ld", &peak);
    printf("%ld\n", peak);
}

int main(int count, char **arguments) {
    if (count < 2) return 64;
    if (count > 2 && strcmp(arguments[2], "heap") == 0) memset(malloc(1UL << 30), 1, 1UL << 30);
    FILE *file = fopen(arguments[1], "r");
    struct stat status;
    if (file == NULL || fstat(fileno(file), &status) != 0) return 66;
    char *text = calloc(1, (size_t)status.st_size + 1);
    if (fread(text, 1, (size_t)status.st_size, file) != (size_t)status.st_size) return 74;
    fclose(file);
    qrt_init(NULL, stdout);
    parsescript_Run(text, NULL, 0);
    free(text);
    if (count > 2 && strcmp(arguments[2], "memory") == 0) print_memory();
    return 0;
}
