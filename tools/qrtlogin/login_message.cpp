#include "tools/qrtlogin/login_message.h"

#include <algorithm>
#include <cstring>

namespace {

struct Kind {
    char letter;
    LoginSide from;
    size_t fields;
    const char *first; // what the first field may be, a letter; null: anything
};

} // namespace

static constexpr Kind kinds[] = {
    {'b', LoginSide::login, 3, nullptr},  {'q', LoginSide::login, 3, "bnpc"},   {'s', LoginSide::login, 2, "cpu"},
    {'n', LoginSide::login, 2, nullptr},  {'o', LoginSide::login, 1, nullptr},  {'w', LoginSide::login, 1, nullptr},
    {'m', LoginSide::login, 3, "cpu-"},   {'p', LoginSide::login, 4, "cpu-"},   {'d', LoginSide::login, 2, nullptr},
    {'v', LoginSide::login, 2, nullptr},  {'e', LoginSide::login, 2, "cmfx"},   {'a', LoginSide::window, 0, nullptr},
    {'f', LoginSide::window, 1, nullptr}, {'l', LoginSide::window, 2, nullptr}, {'r', LoginSide::window, 0, nullptr},
    {'c', LoginSide::window, 0, nullptr}};

static const Kind *kind_of(char letter, LoginSide from) {
    const auto *found = std::find_if(std::begin(kinds), std::end(kinds), [letter, from](const Kind &kind) {
        return kind.letter == letter && kind.from == from;
    });
    return found != std::end(kinds) ? found : nullptr;
}

static constexpr std::string_view cut_mark = "...";

static size_t limit_of(char kind) {
    return kind == 'o' ? login_output_limit : kind == 'l' ? login_name_limit : login_text_limit;
}

// Back to where a character begins, lest half of one remains.
static std::string_view whole_letters(std::string_view text, size_t limit) {
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) --limit;
    return text.substr(0, limit);
}

static char *put_cut(std::string_view field, size_t limit, char *to) {
    const std::string_view kept = whole_letters(field, limit - cut_mark.size());
    const size_t size = kept.size() + cut_mark.size();
    *to++ = static_cast<char>(size & 0xFF);
    *to++ = static_cast<char>(size >> 8);
    to = std::copy(kept.begin(), kept.end(), to);
    return std::copy(cut_mark.begin(), cut_mark.end(), to);
}

size_t login_message_write(char kind, std::initializer_list<std::string_view> fields, char *packet) {
    const size_t limit = limit_of(kind);
    char *to = packet;
    *to++ = kind;
    for (std::string_view field : fields) {
        field = field.substr(0, field.find('\0'));
        to = field.size() <= limit ? window_field_put(field, to) : put_cut(field, limit, to);
    }
    return static_cast<size_t>(to - packet);
}

bool login_message_read(std::string_view packet, LoginSide from, LoginMessage *message) {
    if (packet.empty() || packet.size() > window_message_limit) return false;
    const Kind *kind = kind_of(packet.front(), from);
    if (kind == nullptr) return false;
    packet.remove_prefix(1);
    LoginMessage read;
    read.kind = kind->letter;
    for (size_t i = 0; i < kind->fields; ++i)
        if (!window_field_take(&packet, limit_of(read.kind), &read.fields[i])) return false;
    const std::string_view first = read.fields[0];
    if (kind->first != nullptr && (first.size() != 1 || strchr(kind->first, first[0]) == nullptr)) return false;
    if (!packet.empty()) return false;
    *message = read;
    return true;
}
