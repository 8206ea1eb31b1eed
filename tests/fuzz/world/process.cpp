#include "tests/fuzz/world/process.h"

#include <net/if.h>
#include <pwd.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <cerrno>
#include <csignal>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/answers.h"

static constexpr int most_variables = 32;
static constexpr size_t most_bytes = 2048; // of a name with its value

struct Variable {
    size_t nameLength;
    char text[most_bytes]; // name, "=", value, NUL
};
static Variable variables[most_variables];
static int variables_used;

// ---- the calls of the C library that the code under test makes ----

extern "C" {
static Variable *find(std::string_view name) {
    for (int i = 0; i < variables_used; i++)
        if (std::string_view(variables[i].text, variables[i].nameLength) == name) return &variables[i];
    return nullptr;
}

char *fuzz_getenv(const char *name) {
    Variable *variable = find(name);
    return variable ? variable->text + variable->nameLength + 1 : nullptr;
}

char *fuzz_secure_getenv(const char *name) {
    return fuzz_getenv(name);
}

int fuzz_setenv(const char *name, const char *value, int overwrite) {
    const size_t length = strlen(name);
    const size_t valueLength = strlen(value);
    if (length == 0 || strchr(name, '=')) {
        errno = EINVAL;
        return -1;
    }
    Variable *variable = find(name);
    if (variable && !overwrite) return 0;
    if (!variable && variables_used < most_variables) variable = &variables[variables_used++];
    if (!variable || length + valueLength + 2 > most_bytes) {
        if (variable) *variable = {};
        errno = ENOMEM;
        return -1;
    }
    variable->nameLength = length;
    memcpy(variable->text, name, length);
    variable->text[length] = '=';
    memcpy(variable->text + length + 1, value, valueLength + 1);
    return 0;
}

// Every program starts, in the eyes of its parent.
pid_t fuzz_fork() {
    return 4711;
}

pid_t fuzz_waitpid(pid_t child, int *status, int options) {
    if (child == -1) return 0;
    if (options & WNOHANG) return child;
    if (answers_byte() == '!' && !answers_exhausted()) {
        errno = answers_byte() == 'e' ? EINTR : ECHILD;
        return -1;
    }
    *status = static_cast<int>(answers_number(0) & 0xFFFF);
    return child;
}

int fuzz_pthread_sigmask(int, const sigset_t *, sigset_t *before) {
    if (before) sigemptyset(before);
    return 0;
}

// Only a child would call it, and there is none.
int fuzz_sigaction(int, const struct sigaction *, struct sigaction *) {
    return -1;
}

// It is always the same moment, a Saturday evening.
time_t fuzz_time(time_t *out) {
    if (out) *out = process_time;
    return process_time;
}

long fuzz_sysconf(int) {
    return 1024;
}

struct passwd *fuzz_getpwuid(uid_t) {
    static char name[] = "user";
    static struct passwd user = {};
    user.pw_name = name;
    return answers_byte() == '!' ? nullptr : &user;
}

int fuzz_uname(struct utsname *names) {
    memcpy(names->sysname, "Linux", sizeof "Linux");
    memcpy(names->machine, "x86_64", sizeof "x86_64");
    memcpy(names->release, "6.1.0", sizeof "6.1.0");
    return 0;
}

} // extern "C"

void process_start() {
    variables_used = 0;
    fuzz_setenv("HOME", "/home/fuzz", 1);
}

void process_set(const char *name, const char *value) {
    FUZZ_CHECK(fuzz_setenv(name, value, 1) == 0);
}
