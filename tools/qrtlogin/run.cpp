#include "tools/qrtlogin/run.h"

#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "include/qrtscript.h"
#include "platform/catalogue.h"
#include "script/syntax_error.h"
#include "tools/own_folder.h"
#include "tools/qrtlogin/environment_size.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/hidden_traces.h"
#include "tools/qrtlogin/memory_limit.h"
#include "tools/qrtlogin/private_memory.h"
#include "tools/qrtlogin/run_guard.h"
#include "tools/qrtlogin/run_watch.h"
#include "tools/qrtlogin/terminal_streams.h"

// Its copy is made here and not by the run, so that there is only one while the scripts run. An empty one is given as
// well: a tree that needs no password then asks for none.
static void give_library_password(Secret *password) {
    CurrentPassword = strdup(password->text());
    if (CurrentPassword == nullptr) throw std::bad_alloc();
    // Where the limit does not allow that, it is not locked.
    mlock(CurrentPassword, strlen(CurrentPassword) + 1);
    password->wipe();
}

// A run that did not come to its end keeps the copy of the password.
static void wipe_library_password() {
    char *kept = CurrentPassword;
    if (kept == nullptr) return;
    explicit_bzero(kept, strlen(kept));
    CurrentPassword = nullptr;
    free(kept);
}

static char *text_or_null(std::optional<std::string> *text) {
    return *text ? (*text)->data() : nullptr;
}

namespace {

// What the library is asked to run, with the texts that the request points to.
class Request {
  public:
    Request(const Options &options, std::string tree, bool asksInWindows)
        // The library takes the first period as the end of the name; one in front only says that the name is complete.
        : options_(options), user_(options.user.substr(options.user[0] == '.' ? 1 : 0)), tree_(std::move(tree)) {
        args_.userVar2 = text_or_null(&options_.variables[0]);
        args_.userVar3 = text_or_null(&options_.variables[1]);
        args_.userVar4 = text_or_null(&options_.variables[2]);
        args_.userVar5 = text_or_null(&options_.variables[3]);
        args_.treename = tree_.data();
        args_.context = text_or_null(&options_.context);
        args_.user = user_.data();
        args_.profileScript = text_or_null(&options_.profileScript);
        args_.loginScript = text_or_null(&options_.loginScript);
        args_.server = text_or_null(&options_.server);
        args_.userGUI = asksInWindows ? 1 : 0;
    }
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;

    uint32_t run() noexcept { return qrt_RunScripts(&args_); }

  private:
    Options options_;
    std::string user_, tree_;
    QrtRunScriptsArgs args_ = {};
};

} // namespace

// In a script's program.
static void prepare_program() {
    run_watch_in_program();
    memory_limit_put_back();
    private_memory_end_limit();
}

// A program of the scripts is about to be started. The library takes no exception.
static void look_before_program() noexcept {
    environment_size_check();
    try {
        if (run_watch() != nullptr) run_watch()->startsProgram();
    } catch (const std::exception &) {
        // Without memory there is nothing to be seen.
    }
}

static uint32_t run_guarded(Request *request, const Options &options, Secret *password, LoginWindow *window) {
    const RunGuard guard(options.timeLimit, password, window);
    const MemoryLimit limit;
    qrt_before_program = look_before_program;
    qrt_in_program = prepare_program;
    return request->run();
}

RunResult run_scripts(const Options &options, const std::string &tree, Secret *password, OutputRelay *relay,
                      LoginWindow *window, const std::string &fullName) {
    // Traces that are not hidden are filtered, too.
    std::optional<TerminalStreams> filtered;
    if (!options.rawOutput && isatty(STDOUT_FILENO) != 0) filtered.emplace();
    std::optional<HiddenTraces> hidden;
    if (!options.debugLevel) hidden.emplace();
    if (qrt_init(nullptr, nullptr) != 0 || fd[0] == fd[1])
        throw Failure(exit_system, catalogue_text("cannot create a pipe for the scripts' output"));
    own_catalogues_bind();
    debug_level = options.debugLevel.value_or(0);

    Request request(options, tree, window != nullptr && window->isOpen());
    relay->begin();
    give_library_password(password);
    if (filtered) filtered->takeLibrarysOutput();
    std::optional<RunWatch> watch;
    if (window != nullptr && window->isOpen()) watch.emplace(window, options, fullName);
    if (watch) watch->takeLibrarysOutput();
    const uint32_t code = run_guarded(&request, options, password, window);
    wipe_library_password();
    // Only a run that came to its end has ended the session; the relay waits for that.
    const bool ended = code != QRT_NO_TREE && code != QRT_NO_USER;
    if (!ended) qrt_exit();
    if (filtered) filtered->end();
    RunResult result;
    result.hasMistakes = watch && watch->hasMistakes();
    watch.reset();
    result.outputError = relay->end();

    if (code == QRT_NO_TREE) throw Failure(exit_tree, catalogue_text("cannot run the scripts: no tree"));
    if (code == QRT_NO_USER) throw Failure(exit_user, catalogue_text("cannot run the scripts: no user"));
    // The code of a script given as a file is 0 whatever happened in it.
    result.status = code != 0 || syntax_error != 0 ? 1 : 0;
    return result;
}
