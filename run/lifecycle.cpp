#include "run/lifecycle.h"

#include <fcntl.h>
#include <libintl.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/output.h"
#include "commands/program.h"
#include "directory/session.h"
#include "platform/common/conf_file.h"
#include "platform/common/places.h"
#include "script/input_buffer.h"

// Looked up beforehand: nothing but write() may be called in the handler.
static const char *abort_message = "";

void lifecycle_load_configuration() {
    char value[256];
    debug_level = 0;
    bLogFileOutput = 0;
    if (conf_value("login.conf", "", "debug_level", value, sizeof value) != conf_found) return;
    debug_level = text_number(value);
    TRACE(qrt_script_load_configuration, 0, "debug_level found in conf file:%i", debug_level);
}

// The trace level goes too, so that the one from login.conf was in force for its own trace line alone: required.
static void reset_session() {
    for (char *&variable : uservars) variable = nullptr;
    fd[0] = fd[1] = 0;
    fdr = nullptr;
    over_ride_profile = nullptr;
    debug_level = 0;
    for (int slot = 0; slot < lifecycle_cleared_slots; slot++) ibufstack[slot] = nullptr;
}

static bool open_pipe() {
    // One that cannot be made leaves both ends as they are, and shows in the stream that cannot be opened on it.
    [[maybe_unused]] const int made = pipe2(fd, O_CLOEXEC);
    fdr = fdopen(fd[1], "w");
    if (fdr != nullptr) return true;
    output_print(output_translate("Error initializing qrt %s\n"), strerror(errno));
    return false;
}

bool lifecycle_start(FILE *output) {
    setlocale(LC_ALL, "");
    bindtextdomain(output_domain, place_locale);
    textdomain(output_domain);
    lifecycle_load_configuration();
    reset_session();
    fdr = output;
    if (output == nullptr && !open_pipe()) return false;
    abort_message = output_translate("ctrl-c pressed, script aborted\n");
    signal(SIGINT, cntrlcHandler);
    return true;
}

void lifecycle_end() {
    output_put({"", 1}); // the end marker
    // With a stream of the caller's own this is descriptor 0: required. The stream itself stays open.
    close(fd[1]);
    // A second call must not close whatever has got the pipe's number meanwhile.
    if (fd[1] > 0) fd[1] = -1;
    session_clear();
    program_reap();
    fflush(stdout);
}

OwnedText lifecycle_read_line() {
    // Room for the longest line first: when there is none, nothing has been read yet and nothing is lost.
    OwnedText text(static_cast<char *>(malloc(lifecycle_line_size + 1)));
    if (!text) return nullptr;
    int length = 0;
    bool ended = false;
    while (length < lifecycle_line_size) {
        char c = 0;
        const ssize_t got = TEMP_FAILURE_RETRY(read(fd[0], &c, 1));
        ended = got == 0 || (got > 0 && c == '\0');
        if (got <= 0 || c == '\0' || c == '\n') break;
        text.get()[length++] = c;
    }
    if (length == 0 && ended) return nullptr;
    text.get()[length] = '\0';
    auto *exact = static_cast<char *>(realloc(text.get(), static_cast<size_t>(length) + 1));
    if (exact == nullptr) return text;
    static_cast<void>(text.release());
    return OwnedText(exact);
}

void lifecycle_interrupted() {
    if (!bcntrlc) return;
    text_wipe(CurrentPassword);
    // A reader that is gone does not change how the process ends.
    signal(SIGPIPE, SIG_IGN);
    // Every write to the stream is flushed, so that writing past it puts the bytes in the same place.
    std::string_view left = abort_message;
    const int output = fdr != nullptr ? fileno_unlocked(fdr) : -1;
    while (!left.empty()) {
        const ssize_t written = write(output, left.data(), left.size());
        if (written != -1)
            left.remove_prefix(static_cast<size_t>(written));
        else if (errno != EINTR)
            break;
    }
    _exit(0);
}

void lifecycle_open_log() {
    fpLogFileOutput = fopen(place_conf_log, "a");
    if (fpLogFileOutput == nullptr) fpLogFileOutput = fopen(place_conf_log, "w");
    if (fpLogFileOutput != nullptr) return;
    fprintf(stderr, output_translate("Error: unable to open log file: %s\n"), place_conf_log);
    bLogFileOutput = 0;
}
