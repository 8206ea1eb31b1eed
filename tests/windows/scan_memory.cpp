// scan_memory PROCESS: writes what is left of the users' password of tests/memory/secrets.h in a process, a line for
// each place. Exits with 0 when there is nothing, 1 when there is something, 2 when the memory cannot be read.
// scan_memory --secret: writes that password, for whoever types it.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "tests/memory/scan.h"

int main(int argc, char **argv) try {
    if (argc != 2) return 64;
    if (strcmp(argv[1], "--secret") == 0) {
        char text[HiddenSecret::length + 1];
        users_secret.put(text);
        puts(text);
        return 0;
    }
    const auto found = scan_process(static_cast<pid_t>(atoi(argv[1])), users_secret);
    for (const std::string &line : found) puts(line.c_str());
    return found.empty() ? 0 : 1;
} catch (const std::system_error &problem) {
    fprintf(stderr, "scan_memory: %s\n", problem.what());
    return 2;
}
