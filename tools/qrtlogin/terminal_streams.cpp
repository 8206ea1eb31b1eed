#include "tools/qrtlogin/terminal_streams.h"

#include <unistd.h>
#include <algorithm>
#include <new>

#include "include/qrtscript.h"
#include "platform/common/write_all.h"
#include "tools/qrtlogin/output_relay.h"
#include "tools/qrtlogin/terminal_filter.h"

static TerminalFilter filter;

// A stream knows a failure by a number that is too small.
static ssize_t write_filtered(void *, const char *text, size_t size) {
    constexpr size_t most = 1024;
    char shown[TerminalFilter::room(most)];
    for (size_t at = 0; at < size; at += most) {
        // The end of the output is marked with a zero byte, which is not for the person.
        char piece[most];
        const char *from = text + at;
        const char *end = std::remove_copy(from, from + std::min(most, size - at), piece, '\0');
        const size_t length = filter.pass({piece, static_cast<size_t>(end - piece)}, shown);
        if (!write_all(STDOUT_FILENO, {shown, length})) return 0;
    }
    return static_cast<ssize_t>(size);
}

TerminalStreams::Stream TerminalStreams::open() {
    Stream stream(fopencookie(nullptr, "w", {nullptr, write_filtered, nullptr, nullptr}), fclose);
    if (stream == nullptr) throw std::bad_alloc();
    return stream;
}

TerminalStreams::TerminalStreams()
    : outputBefore_(stdout), errorsBefore_(stderr), output_(open()), errors_(open()), library_(open()) {
    filter = TerminalFilter();
    fflush(stdout);
    stdout = output_.get();
    if (!output_is_same_file(STDOUT_FILENO, STDERR_FILENO)) return;
    setvbuf(errors_.get(), nullptr, _IONBF, 0);
    stderr = errors_.get();
}

TerminalStreams::~TerminalStreams() {
    stdout = outputBefore_;
    stderr = errorsBefore_;
}

void TerminalStreams::takeLibrarysOutput() {
    fdr = library_.get();
}

void TerminalStreams::end() {
    char shown[TerminalFilter::room(0)];
    fflush(stdout);
    const size_t length = filter.end(shown);
    write_all(STDOUT_FILENO, {shown, length});
}
