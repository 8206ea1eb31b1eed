#include "tools/program_start.h"

#include <argp.h>
#include <fcntl.h>
#include <sys/auxv.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/catalogue.h"

static sighandler_t started_with = SIG_DFL; // of SIGXFSZ
static const char *checked_program = "";
static int status_of_lost_output = 0;

bool standard_descriptors_fill() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) continue;
        // The lowest free number is this one: those below it are open.
        if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) return false;
    }
    return true;
}

std::string program_version(const std::string &name) {
    return name + " (libqrtscript) " PROJECT_VERSION "\n";
}

static void show_version(FILE *to, argp_state *state) {
    fputs(program_version(state->name).c_str(), to);
}

bool program_may_start(const char *program) {
    started_with = signal(SIGXFSZ, SIG_IGN);
    argp_program_version_hook = show_version; // which gives argp the option
    if (!standard_descriptors_fill()) {
        fprintf(stderr, "%s: cannot open /dev/null: %s\n", program, strerror(errno));
        return false;
    }
    // Set-user-ID, set-group-ID, file capabilities, and whatever else the kernel counts as other rights.
    if (getauxval(AT_SECURE) == 0) return true;
    fprintf(stderr, "%s: does not run with the rights of another user or group, or with capabilities of its own\n",
            program);
    return false;
}

void program_restore_signals() {
    signal(SIGXFSZ, started_with);
}

void program_report_lost_output(const char *program, int error) {
    fprintf(stderr, "%s: %s\n", program, catalogue_format("cannot write the output: %s", strerror(error)).c_str());
}

static void check_output() {
    if (fflush(stdout) == 0 && ferror(stdout) == 0) return;
    program_report_lost_output(checked_program, errno);
    _exit(status_of_lost_output);
}

void program_check_output_at_exit(const char *program, int status) {
    checked_program = program;
    status_of_lost_output = status;
    atexit(check_output);
}
