// qrtlogin: logs a user in to a directory tree, runs the login scripts and hands their environment on.

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtlogin/environment.h"
#include "tools/qrtlogin/environment_size.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/login.h"
#include "tools/qrtlogin/login_summary.h"
#include "tools/qrtlogin/login_window.h"
#include "tools/qrtlogin/logout.h"
#include "tools/qrtlogin/options.h"
#include "tools/qrtlogin/output_relay.h"
#include "tools/qrtlogin/password.h"
#include "tools/qrtlogin/password_dialog.h"
#include "tools/qrtlogin/private_memory.h"
#include "tools/qrtlogin/run.h"
#include "tools/qrtlogin/script_file.h"
#include "tools/qrtlogin/waiting_notice.h"

// Keeps the real standard output for the text that a shell will evaluate; everything else that is written to standard
// output (the scripts' output, traces) goes to standard error from here on.
static FILE *separate_output() {
    int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    FILE *output = kept >= 0 ? fdopen(kept, "w") : nullptr;
    if (output == nullptr || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        throw Failure(exit_usage, catalogue_format("cannot use standard output: %s", strerror(errno)));
    return output;
}

static void write_text(FILE *output, const std::string &text) {
    size_t written = fwrite(text.data(), 1, text.size(), output);
    if (fclose(output) != 0 || written != text.size())
        throw Failure(exit_output, catalogue_format("cannot write the environment: %s", strerror(errno)));
}

static std::string users_shell() {
    const char *shell = getenv("SHELL");
    if (shell != nullptr && *shell != '\0') return shell;
    const passwd *entry = getpwuid(geteuid());
    return entry != nullptr && entry->pw_shell != nullptr && *entry->pw_shell != '\0' ? entry->pw_shell : "/bin/sh";
}

// Comes back only by a Failure.
static void become(char **command) {
    fflush(stdout);
    program_restore_signals();
    private_memory_end_limit();
    execvp(command[0], command);
    int status = errno == ENOENT ? exit_not_found : exit_cannot_run;
    throw Failure(status, catalogue_format("cannot run %1$s: %2$s", command[0], strerror(errno)));
}

static void become_shell() {
    std::string shell = users_shell();
    char *command[] = {shell.data(), nullptr};
    become(command);
}

// A script that sets LD_PRELOAD or BASH_ENV would choose the code of every program that is started later.
static void keep_code_variables(RunEnvironment *environment) {
    for (const std::string &name : environment->keepCodeVariables())
        fprintf(stderr, "qrtlogin: %s\n",
                catalogue_format("%s is not passed on without --all-variables", terminal_text(name).c_str()).c_str());
}

// Of the login that goes on; none without --gui.
static std::unique_ptr<LoginWindow> window;

static RunResult run_for(const Options &options, const Login &login, Secret *password, RunEnvironment *environment,
                         OutputRelay *relay) {
    environment->ignore("TOLAN_USE_BRUNE");
    environment->lendPathFolder(own_folder_with("map"));
    environment->lend("QRT_TREE", login.tree());
    environment->lend("QRT_CONTEXT", login.container());
    Options forScripts = options;
    forScripts.user = login.nameForScripts(options.user);
    const RunResult result = run_scripts(forScripts, login.tree(), password, relay, window.get(), login.fullName());
    environment->takeBack();
    if (options.handsOn() && !options.allVariables) keep_code_variables(environment);
    return result;
}

// The exit status when no command follows. Output that cannot be written is reported either way, but a full disk
// prevents no login; and a reader that has read enough and gone is no failure.
static int status_of(const RunResult &result) {
    if (result.outputError == 0 || result.outputError == EPIPE) return result.status;
    program_report_lost_output("qrtlogin", result.outputError);
    return exit_output;
}

static int login_and_hand_on(int argc, char **argv) {
    if (!program_may_start("qrtlogin")) return exit_usage;
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    program_check_output_at_exit("qrtlogin", exit_output);
    Options options;
    options_parse(argc, argv, &options);
    auxwindows = options.gui ? 1 : 0; // else the person is at the terminal
    if (options.logout) return logout_run();
    script_file_check(options.profileScript);
    script_file_check(options.loginScript);
    if (options.passwordDescriptor >= 0) password_require_open(options.passwordDescriptor);
    FILE *forEval = options.printEnvironment ? separate_output() : nullptr;
    if (options.gui) window = std::make_unique<LoginWindow>();
    OutputRelay relay(window != nullptr ? window->descriptor() : -1);
    const WaitingNotice waiting(window.get());

    RunEnvironment environment;
    Login login(options);
    private_memory_begin();
    if (window != nullptr) window->tell('b', {login.tree(), options.user, options.keepWindow ? "1" : ""});
    Secret password = password_dialog_log_in(&options, &login, window.get());
    if (window != nullptr) window->tell('b', {login.tree(), options.user, options.keepWindow ? "1" : ""});
    if (options.changePassword) {
        if (window != nullptr) window->tell('e', {"c", ""});
        return exit_done;
    }
    if (!login.sharesPassword()) password.wipe();

    const RunResult result = run_for(options, login, &password, &environment, &relay);
    const int status = status_of(result);
    if (window != nullptr) login_summary_tell(window.get(), environment, result.hasMistakes || status != 0);
    login.note();
    if (options.handsOn()) environment_size_check();
    if (options.command != nullptr) become(options.command);
    if (options.shell) become_shell();
    if (forEval != nullptr) write_text(forEval, environment.exportLines());
    return status;
}

int main(int argc, char **argv) try { return login_and_hand_on(argc, argv); } catch (const Failure &failure) {
    fprintf(stderr, "qrtlogin: %s\n", failure.what());
    if (window != nullptr) window->tell('e', {"f", failure.what()});
    return failure.status();
} catch (const std::bad_alloc &) {
    fprintf(stderr, "qrtlogin: %s\n", catalogue_text("memory exhausted"));
    return exit_system;
} catch (const std::exception &problem) {
    fprintf(stderr, "qrtlogin: %s\n", problem.what());
    return exit_system;
}
