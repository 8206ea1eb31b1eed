#include "tools/qrtscript/check/lsp.h"

#include <argp.h>
#include <malloc.h>
#include <poll.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>

#include "platform/catalogue.h"
#include "platform/common/write_all.h"
#include "platform/terminal_text.h"
#include "tools/program_start.h"
#include "tools/qrtlogin/password.h"
#include "tools/qrtscript/check/lsp_frames.h"
#include "tools/qrtscript/check/lsp_server.h"
#include "tools/qrtscript/check/lsp_values.h"
#include "tools/qrtscript/login_as.h"

namespace {

enum Ending : int { ended_well = 0, ended_early = 1, failed = 2 };

constexpr int kept_memory = 64 << 20;

// The client does not read any more.
struct OutputLost {
    int error;
};

} // namespace

namespace {

enum : int { as_key = 0x100, password_key };

struct LspOptions {
    LspUser user;
    std::string as;
    int passwordDescriptor = -1;
};

} // namespace

static const argp_option option_table[] = {
    {"stdio", 's', nullptr, 0, catalogue_mark("Speak over standard input and output, as always"), 0},
    {"user", 'u', catalogue_mark("USER"), 0,
     catalogue_mark("Show the values that identifiers have for USER, named as to qrtlogin"), 0},
    {"tree", 't', catalogue_mark("TREE"), 0,
     catalogue_mark("The directory tree (default: the configured default tree)"), 0},
    {"context", 'c', catalogue_mark("CONTEXT"), 0, catalogue_mark("Look up the user name in CONTEXT"), 0},
    {"as", as_key, catalogue_mark("ADMIN"), 0, catalogue_mark("Read the directory as ADMIN (default: without a login)"),
     0},
    {"password-fd", password_key, catalogue_mark("N"), 0,
     catalogue_mark("Read the password of ADMIN from file descriptor N (first line only)"), 0},
    {nullptr, 0, nullptr, 0, nullptr, 0},
};

static const char *const before_options =
    catalogue_mark("Serve an editor that speaks the language server protocol, over standard input and output.");
static const char *const after_options = catalogue_mark(
    "Exit status:\n"
    "  0  the client has ended the server as it should\n"
    "  1  the client has gone\n"
    "  2  the client cannot be understood, or does not take the answers");

static int descriptor_of(const char *text, argp_state *state) {
    const int number = login_descriptor(text);
    if (number <= STDERR_FILENO)
        argp_error(state, catalogue_text("--%1$s takes a number from %2$d to %3$d, not \"%4$s\""), "password-fd",
                   STDERR_FILENO + 1, INT_MAX, terminal_text(text).c_str());
    return number;
}

static error_t take_option(int key, char *text, argp_state *state) {
    auto *options = static_cast<LspOptions *>(state->input);
    switch (key) {
        case 's':
            return 0;
        case 'u':
            options->user.user = text;
            return 0;
        case 't':
            options->user.tree = text;
            return 0;
        case 'c':
            options->user.context = text;
            return 0;
        case as_key:
            options->as = text;
            return 0;
        case password_key:
            options->passwordDescriptor = descriptor_of(text, state);
            return 0;
        case ARGP_KEY_ARG:
            argp_usage(state);
            return 0;
        case ARGP_KEY_SUCCESS:
            if (options->passwordDescriptor >= 0 && options->as.empty())
                argp_error(state, catalogue_text("--password-fd needs --as"));
            return 0;
        default:
            return ARGP_ERR_UNKNOWN;
    }
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

// Waits for the client's bytes, and meanwhile takes the values that come. False at the end of the input.
static bool read_or_advance(LspFrames *frames, LspValues *values) {
    pollfd awaited[] = {{STDIN_FILENO, POLLIN, 0}, {values->descriptor(), POLLIN, 0}};
    if (poll(awaited, std::size(awaited), values->milliseconds()) < 0 && errno != EINTR) return false;
    values->advance();
    return awaited[0].revents == 0 || read_more(frames);
}

static Ending serve(LspValues *values) {
    LspServer server(
        [](const std::string &message) {
            if (!write_all(STDOUT_FILENO, lsp_frame(message))) throw OutputLost{errno};
        },
        values);
    LspFrames frames;
    for (;;) {
        while (const std::optional<std::string> message = frames.next()) {
            server.take(*message);
            if (server.hasEnded()) return server.hasEndedWell() ? ended_well : ended_early;
        }
        server.tellFindings();
        if (read_or_advance(&frames, values)) continue;
        if (!frames.isBetween()) say(catalogue_text("the client has gone in the middle of a message"));
        return ended_early;
    }
}

int lsp_run(int argc, char **argv) {
    const std::string texts = std::string(catalogue_text(before_options)) + '\v' + catalogue_text(after_options);
    const argp parser = {option_table, take_option, nullptr, texts.c_str(), nullptr, nullptr, catalogue_domain};
    argp_err_exit_status = failed;
    LspOptions options;
    if (argp_parse(&parser, argc, argv, 0, nullptr, &options) != 0) throw std::bad_alloc();
    signal(SIGPIPE, SIG_IGN);
    // A text is read again at each key: its memory stays with the process.
    mallopt(M_TRIM_THRESHOLD, kept_memory);
    mallopt(M_MMAP_THRESHOLD, kept_memory);
    LspValues values;
    if (options.passwordDescriptor >= 0)
        values.readAs(options.as, password_read(options.passwordDescriptor));
    else if (!options.as.empty())
        values.readAs(options.as, Secret());
    values.choose(options.user);
    try {
        return serve(&values);
    } catch (const LspFramesBroken &problem) {
        say(problem.what());
    } catch (const OutputLost &lost) {
        program_report_lost_output("qrtscript lsp", lost.error);
    }
    return failed;
}
