#include "script/input_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "base/guard.h"
#include "base/output.h"
#include "base/text.h"
#include "include/exported.h"
#include "script/labels.h"

LexBuffer *ibufstack[lex_stack_size] = {};
int32_t ibufstackindex = 0;
int32_t linecounter = 0;

// A label's pattern, line feed and colon included, has to fit this many bytes with its NUL.
constexpr size_t goto_pattern_size = 80;
constexpr size_t max_include_depth = 100;
constexpr size_t max_included = size_t{64} << 20;

// An include that is still being read. Its end is counted from that of the buffer, so that a further splice within it
// leaves the numbers as they are.
struct OpenInclude {
    int32_t start; // the index of its first character
    int32_t rest;  // the number of characters behind it
};
static std::vector<OpenInclude> open_includes;
static size_t included = 0; // the characters of all texts that were spliced into the active buffer

// The text that has room to spare, and for how many characters it has room. Without it each INCLUDE would copy the
// whole text, and a script of many small ones would take a time that grows with the square of their number.
static const char *roomy_text = nullptr;
static size_t roomy_size = 0;

static uint32_t buffers_made = 0;

uint32_t lex_buffers_made() {
    return buffers_made;
}

static void buffer_free(LexBuffer *buffer) {
    if (buffer == nullptr) return;
    if (buffer->data == roomy_text) roomy_text = nullptr;
    labels_forget();
    free(buffer->data);
    free(buffer);
}

// A new entry with room for `length` characters and the NUL.
static LexBuffer *buffer_new(size_t length) {
    if (length >= INT32_MAX) throw std::bad_alloc();
    OwnedText data(static_cast<char *>(malloc(length + 1)));
    auto *buffer = data ? static_cast<LexBuffer *>(malloc(sizeof(LexBuffer))) : nullptr;
    if (buffer == nullptr) throw std::bad_alloc();
    buffers_made++;
    data.get()[length] = '\0';
    *buffer = {data.release(), 0, static_cast<int32_t>(length)};
    return buffer;
}

void lex_push(std::string_view text) {
    if (ibufstackindex >= lex_stack_size) throw std::bad_alloc();
    LexBuffer *buffer = buffer_new(text.size());
    text.copy(buffer->data, text.size());
    ibufstack[ibufstackindex++] = buffer;
    open_includes.clear();
    included = 0;
    labels_forget(); // a text that the caller has freed may have stood here
}

void lex_free_active_buffer() {
    LexBuffer *&top = ibufstack[ibufstackindex - 1];
    buffer_free(top);
    top = nullptr;
}

// A GOTO leaves an include at either end: a loop around an INCLUDE does not nest.
static bool include_being_read(const OpenInclude &include, const LexBuffer *active) {
    return active->readPos > include.start && active->length - active->readPos > include.rest;
}

static bool include_too_deep(const LexBuffer *active) {
    while (!open_includes.empty() && !include_being_read(open_includes.back(), active)) open_includes.pop_back();
    return open_includes.size() >= max_include_depth;
}

static void include_failed() {
    say("memory exhausted");
    TRACE(lex_IncludeFile, 0, "Include failed, Out of memory");
}

// More than all includes take is never needed.
static size_t with_spare(size_t length) {
    return std::min(length + std::min(length / 2, max_included), size_t{INT32_MAX - 1});
}

// An entry with the active text and room for `length` characters: the active one itself if it has the room, else a new
// one.
static LexBuffer *with_room(LexBuffer *active, size_t length) {
    if (active->data == roomy_text && length <= roomy_size) return active;
    LexBuffer *wider = buffer_new(with_spare(length));
    memcpy(wider->data, active->data, static_cast<size_t>(active->length) + 1);
    wider->readPos = active->readPos;
    wider->length = active->length;
    return wider;
}

static void make_active(LexBuffer *wider, size_t length) {
    lex_free_active_buffer();
    ibufstack[ibufstackindex - 1] = wider;
    roomy_text = wider->data;
    roomy_size = with_spare(length);
}

static void splice(LexBuffer *buffer, std::string_view text) {
    const size_t length = text.size();
    labels_forget();
    char *here = buffer->data + buffer->readPos;
    memmove(here + length + 2, here, static_cast<size_t>(buffer->length - buffer->readPos) + 1);
    text.copy(here, length);
    memcpy(here + length, "\r\n", 2);
    buffer->length += static_cast<int32_t>(length + 2);
}

static void include(LexBuffer *active, std::string_view text) {
    const size_t needed = static_cast<size_t>(active->length) + text.size() + 2;
    if (include_too_deep(active) || text.size() > max_included - included || needed >= INT32_MAX)
        return include_failed();
    open_includes.reserve(open_includes.size() + 1);
    LexBuffer *spliced = with_room(active, needed);

    TRACE(lex_IncludeFile, 4, "old buffer (%i): %s", active->length, active->data);
    open_includes.push_back({active->readPos, active->length - active->readPos});
    included += text.size();
    if (spliced != active) make_active(spliced, needed);
    splice(spliced, text);
    buffers_made++;
    TRACE(lex_IncludeFile, 4, "new buffer (%i): %s", spliced->length, spliced->data);
    const int next = lex_look_ahead(*spliced);
    TRACE(lex_IncludeFile, 4, "readPos %i length %i character %i", spliced->readPos, spliced->length, next);
    if (debug_level <= 8) return;
    for (int32_t i = 0; i < spliced->length; i++) TRACE(lex_IncludeFile, 8, "%i: %c", i, spliced->data[i]);
}

void lex_include(std::string_view text) {
    if (text.empty()) {
        TRACE(lex_IncludeFile, 4, "quick return, buffer length = 0");
        return;
    }
    LexBuffer *active = lex_active();
    if (active != nullptr) guarded(include_failed, [&] { include(active, text); });
}

bool lex_jump(std::string_view label) {
    LexBuffer *active = lex_active();
    if (active == nullptr || label.size() + 2 >= goto_pattern_size) return false;
    const std::optional<int32_t> behind = labels_find({active->data, static_cast<size_t>(active->length)}, label);
    if (behind) active->readPos = *behind;
    return behind.has_value();
}
