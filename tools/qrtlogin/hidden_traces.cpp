#include "tools/qrtlogin/hidden_traces.h"

#include <new>

#include "include/qrtscript.h"

// The library writes no trace at level 0 and below. What it writes then is meant for the caller.
static ssize_t write_unless_traced(void *shown, const char *text, size_t size) {
    FILE *stream = static_cast<FILE *>(shown);
    if (debug_level <= 0) {
        fwrite(text, 1, size, stream);
        fflush(stream);
    }
    return static_cast<ssize_t>(size);
}

HiddenTraces::HiddenTraces() : shown_(stdout) {
    hiding_ = fopencookie(shown_, "w", {nullptr, write_unless_traced, nullptr, nullptr});
    if (hiding_ == nullptr) throw std::bad_alloc();
    setvbuf(hiding_, buffer_.text(), _IOFBF, buffer_.capacity());
    stdout = hiding_;
}

HiddenTraces::~HiddenTraces() {
    stdout = shown_;
    fclose(hiding_);
}
