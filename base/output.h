// The output channel and the traces: every text that the user sees passes through say() or put(), every trace through
// TRACE. The globals fd, fdr and debug_level (qrtscript.h) are defined here; qrt_init sets them.
#ifndef BASE_OUTPUT_H
#define BASE_OUTPUT_H

#include <csignal>
#include <cstdio>
#include <string_view>
#include <type_traits>

#include "qrtscript.h"

// The text domain of the message catalogue.
inline constexpr char output_domain[] = "brasca-client-script";

// The catalogue's translation of a message, or the message itself: also where the translation would take its arguments
// in another way.
const char *output_translate(const char *message) __attribute__((format_arg(1)));

// Marks a message that is translated where it is written.
constexpr const char *output_mark(const char *message) {
    return message;
}

// A reader that goes away does not end the calling program: SIGPIPE is held from this thread while one of these lives,
// and one that writing to a stream has raised is taken away before the caller's mask stands again. A script that runs
// has one for all that it writes: within it, the others cost no system call.
class PipeGuard {
  public:
    PipeGuard();
    ~PipeGuard();
    PipeGuard(const PipeGuard &) = delete;
    PipeGuard &operator=(const PipeGuard &) = delete;

  private:
    sigset_t before_; // set for the outermost one
};

// Looks `message` up in the catalogue, writes it with its arguments to fdr and flushes. Positional placeholders
// ("%1$s") let a translation reorder them. Without a stream nothing is written. Returns the result of flushing.
int say(const char *message, ...) __attribute__((format(printf, 1, 2)));

// Writes text that is no message (a script's own words, a file) to fdr as it stands and flushes.
void output_put(std::string_view text);

// Writes a message to standard output and flushes: the few that are not the script's own, `format` as it stands.
void output_print(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The name that a trace line carries: that of the exported function that was called, whichever helper writes the line.
// Readers of traces know those names and no others. TRACED(function) makes it of the function's own identifier, so that
// a name that no function has does not compile.
struct TracedFunction {
    const char *name;
};
template <typename Function>
constexpr TracedFunction output_traced(const char *name) {
    static_assert(std::is_function_v<Function>, "a trace carries the name of a function");
    return {name};
}
#define TRACED(function) output_traced<decltype(function)>(#function)

// Writes one trace line to standard output, flushed at once.
void output_trace(TracedFunction function, int line, const char *format, ...) __attribute__((format(printf, 3, 4)));

// A trace of an exported function for levels above `threshold`:
//     TRACE(qrt_SetTree, 7, "entering qrt_SetTree(%s)", tree);
#define TRACE(function, threshold, ...) TRACE_FOR(TRACED(function), threshold, __VA_ARGS__)

// The same in a helper of several exported functions, each of which hands it its TRACED(function).
#define TRACE_FOR(traced, threshold, ...)                                           \
    do {                                                                            \
        if (debug_level > (threshold)) output_trace(traced, __LINE__, __VA_ARGS__); \
    } while (0)

#endif
