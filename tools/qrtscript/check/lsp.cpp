#include "tools/qrtscript/check/lsp.h"

#include <argp.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/catalogue.h"
#include "platform/common/write_all.h"
#include "tools/program_start.h"
#include "tools/qrtscript/check/lsp_frames.h"
#include "tools/qrtscript/check/lsp_server.h"

namespace {

enum Ending : int { ended_well = 0, ended_early = 1, failed = 2 };

// The client does not read any more.
struct OutputLost {
    int error;
};

} // namespace

static const argp_option option_table[] = {
    {"stdio", 's', nullptr, 0, catalogue_mark("Speak over standard input and output, as always"), 0},
    {nullptr, 0, nullptr, 0, nullptr, 0},
};

static const char *const before_options =
    catalogue_mark("Serve an editor that speaks the language server protocol, over standard input and output.");
static const char *const after_options = catalogue_mark(
    "Exit status:\n"
    "  0  the client has ended the server as it should\n"
    "  1  the client has gone\n"
    "  2  the client cannot be understood, or does not take the answers");

static error_t take_option(int key, char *, argp_state *state) {
    if (key == 's') return 0;
    if (key != ARGP_KEY_ARG) return ARGP_ERR_UNKNOWN;
    argp_usage(state);
    return 0;
}

static void say(const char *what) {
    fprintf(stderr, "qrtscript lsp: %s\n", what);
}

// False at the end of the input.
static bool read_more(LspFrames *frames) {
    char bytes[65536];
    for (;;) {
        const ssize_t got = read(STDIN_FILENO, bytes, sizeof bytes);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        frames->add({bytes, static_cast<size_t>(got)});
        return true;
    }
}

static Ending serve() {
    LspServer server([](const std::string &message) {
        if (!write_all(STDOUT_FILENO, lsp_frame(message))) throw OutputLost{errno};
    });
    LspFrames frames;
    for (;;) {
        while (const std::optional<std::string> message = frames.next()) {
            server.take(*message);
            if (server.hasEnded()) return server.hasEndedWell() ? ended_well : ended_early;
        }
        server.tellFindings();
        if (read_more(&frames)) continue;
        if (!frames.isBetween()) say(catalogue_text("the client has gone in the middle of a message"));
        return ended_early;
    }
}

int lsp_run(int argc, char **argv) {
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table, take_option, nullptr, texts.c_str(), nullptr, nullptr, catalogue_domain};
    argp_err_exit_status = failed;
    if (argp_parse(&parser, argc, argv, 0, nullptr, nullptr) != 0) throw std::bad_alloc();
    signal(SIGPIPE, SIG_IGN);
    try {
        return serve();
    } catch (const LspFramesBroken &problem) {
        say(problem.what());
    } catch (const OutputLost &lost) {
        program_report_lost_output("qrtscript lsp", lost.error);
    }
    return failed;
}
