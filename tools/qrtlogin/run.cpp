#include "tools/qrtlogin/run.h"

#include <cstdlib>
#include <cstring>

#include "include/qrtscript.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/output_reader.h"

namespace {

// A run that did not come to its end keeps the copy of the password.
void wipe_library_password() {
    char *kept = CurrentPassword;
    if (kept == nullptr) return;
    explicit_bzero(kept, strlen(kept));
    CurrentPassword = nullptr;
    free(kept);
}

char *text_or_null(std::optional<std::string> *text) {
    return *text ? (*text)->data() : nullptr;
}

uint32_t run_request(Options options, std::string tree, Secret *password) {
    // The library takes the first period as the end of the name; one in front only says that the name is complete.
    std::string user = options.user.substr(options.user[0] == '.' ? 1 : 0);
    QrtRunScriptsArgs args = {};
    args.userVar2 = text_or_null(&options.variables[0]);
    args.userVar3 = text_or_null(&options.variables[1]);
    args.userVar4 = text_or_null(&options.variables[2]);
    args.userVar5 = text_or_null(&options.variables[3]);
    args.treename = tree.data();
    args.context = text_or_null(&options.context);
    args.user = user.data();
    args.profileScript = text_or_null(&options.profileScript);
    args.loginScript = text_or_null(&options.loginScript);
    args.server = text_or_null(&options.server);
    args.password = password->text();
    return qrt_RunScripts(&args);
}

} // namespace

int run_scripts(const Options &options, const std::string &tree, Secret *password, FILE *output) {
    if (qrt_init(nullptr, nullptr) != 0 || fd[0] == fd[1])
        throw Failure(exit_directory, "cannot make the pipe for the scripts' output");
    debug_level = options.debugLevel;

    uint32_t result = 0;
    {
        OutputReader reader(output, password);
        result = run_request(options, tree, password);
        password->wipe();
        wipe_library_password();
        // Only a run that came to its end has ended the session; the reader waits for that.
        bool ended = result != QRT_NO_TREE && result != QRT_NO_USER;
        if (!ended) qrt_exit();
    }

    if (result == QRT_NO_TREE) throw Failure(exit_tree, "no tree to run the scripts in");
    if (result == QRT_NO_USER) throw Failure(exit_user, "no user to run the scripts for");
    return static_cast<int>(result);
}
