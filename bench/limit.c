/* What a workload costs at least: the same split into lines and words, and the same system calls, in C. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

static void put(const char *text, size_t length) {
    if (write(1, text, length) < 0) exit(1);
}

/* A line: its keyword, and the quoted text behind it with its references replaced. */
static void print(const char *line, const char *end) {
    char out[4096];
    size_t size = 0;
    const char *at = memchr(line, '"', (size_t)(end - line));
    if (at == NULL || strncasecmp(line, "WRITE ", 6) != 0) exit(2);
    for (at++; at < end && *at != '"'; at++) {
        if (at[0] != '%' || at[1] != '<') {
            out[size++] = *at;
            continue;
        }
        char name[64];
        const char *stop = memchr(at, '>', (size_t)(end - at));
        const size_t length = (size_t)(stop - at) - 2;
        memcpy(name, at + 2, length);
        name[length] = '\0';
        size = (size_t)(stpcpy(out + size, getenv(name)) - out);
        at = stop;
    }
    out[size++] = '\n';
    put(out, size);
}

static void print_all(const char *text, const char *end) {
    while (text < end) {
        const char *line_end = memchr(text, '\n', (size_t)(end - text));
        if (line_end != text) print(text, line_end);
        text = line_end + 1;
    }
}

static void nested_all(const char *text, const char *end) {
    int depth = 0, level[200] = {0};
    while (text < end) {
        const char *line_end = memchr(text, '\n', (size_t)(end - text));
        if (strncasecmp(text, "IF ", 3) == 0) {
            const char *quote = memchr(text, '"', 10), *value = quote + 1;
            char name[64] = "";
            if (value[0] == '%') {
                memcpy(name, value + 2, 1);
                value = getenv(name);
                quote = strchr(quote + 1, '"');
                quote = strchr(quote + 1, '"');
                level[depth + 1] = strncmp(value, quote + 1, strlen(value)) == 0 ? level[depth] : 1;
            } else {
                level[depth + 1] = value[0] == '0' ? level[depth] : 1;
            }
            depth++;
        } else if (strncasecmp(text, "END", 3) == 0) {
            depth--;
        } else if (strncasecmp(text, "ELSE", 4) == 0) {
            level[depth] = !level[depth];
        } else if (level[depth] == 0) {
            print(text, line_end);
        }
        text = line_end + 1;
    }
}

static void loop_environment(long count) {
    char number[32] = "0";
    setenv("I", number, 1);
    while (atol(getenv("I")) < count) {
        snprintf(number, sizeof number, "%ld", atol(getenv("I")) + 1);
        setenv("I", number, 1);
    }
    put(number, strlen(number));
    put("\n", 1);
}

static void programs(const char *text, const char *end) {
    while (text < end) {
        const char *line_end = memchr(text, '\n', (size_t)(end - text));
        char words[256], *arguments[4], *rest = words;
        const size_t length = (size_t)(line_end - text) - 1;
        memcpy(words, text + 1, length);
        words[length] = '\0';
        int count = 0;
        for (char *word; count < 3 && (word = strsep(&rest, " ")) != NULL;) arguments[count++] = word;
        arguments[count] = NULL;
        pid_t child;
        int status;
        if (posix_spawnp(&child, arguments[0], NULL, NULL, arguments, environ) != 0) exit(3);
        waitpid(child, &status, 0);
        text = line_end + 1;
    }
}

int main(int count, char **arguments) {
    if (count < 3) return 64;
    /* "heap" as a third word: 1 GiB of touched memory, as a large caller has. */
    if (count > 3) memset(malloc(1UL << 30), 1, 1UL << 30);
    if (strcmp(arguments[1], "loop") == 0) {
        loop_environment(atol(arguments[2]));
        return 0;
    }
    const int file = open(arguments[2], O_RDONLY);
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0) return 66;
    if (status.st_size == 0) return 0;
    char *text = malloc((size_t)status.st_size);
    if (read(file, text, (size_t)status.st_size) != status.st_size) return 74;
    const char *end = text + status.st_size;
    if (strcmp(arguments[1], "print") == 0)
        print_all(text, end);
    else if (strcmp(arguments[1], "nested") == 0)
        nested_all(text, end);
    else if (strcmp(arguments[1], "programs") == 0)
        programs(text, end);
    return 0;
}
