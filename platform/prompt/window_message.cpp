#include "platform/prompt/window_message.h"

#include <cstring>

static constexpr size_t size_bytes = 2;

// Takes a field of at most `limit` bytes off the front of `rest`.
static bool field_take(std::string_view *rest, size_t limit, std::string_view *field) {
    if (rest->size() < size_bytes) return false;
    const auto byte = [rest](size_t i) { return static_cast<unsigned char>((*rest)[i]); };
    const size_t size = byte(0) | static_cast<size_t>(byte(1)) << 8;
    rest->remove_prefix(size_bytes);
    if (size > limit || size > rest->size()) return false;
    *field = rest->substr(0, size);
    rest->remove_prefix(size);
    return field->find('\0') == field->npos;
}

// Takes the kind, if it is one of `kinds`.
static bool kind_take(std::string_view *rest, std::string_view kinds, char *kind) {
    if (rest->empty() || kinds.find(rest->front()) == kinds.npos) return false;
    *kind = rest->front();
    rest->remove_prefix(1);
    return true;
}

static char *field_put(std::string_view field, char *to) {
    *to++ = static_cast<char>(field.size() & 0xFF);
    *to++ = static_cast<char>(field.size() >> 8);
    if (!field.empty()) memcpy(to, field.data(), field.size());
    return to + field.size();
}

std::string window_request_write(const WindowRequest &request) {
    std::string packet(1, static_cast<char>(request.ask));
    const auto add = [&packet](std::string_view field, size_t limit) {
        field = field.substr(0, limit);
        const size_t at = packet.size();
        packet.resize(at + size_bytes + field.size());
        field_put(field, &packet[at]);
    };
    add(request.subject, window_subject_limit);
    add(request.user, window_name_limit);
    add(request.program, window_name_limit);
    return packet;
}

bool window_request_read(std::string_view packet, WindowRequest *request) {
    char kind = '\0';
    std::string_view subject, user, program;
    if (!kind_take(&packet, "dlnyp", &kind) || !field_take(&packet, window_subject_limit, &subject) ||
        !field_take(&packet, window_name_limit, &user) || !field_take(&packet, window_name_limit, &program) ||
        !packet.empty())
        return false;
    *request = {static_cast<WindowAsk>(kind), std::string(subject), std::string(user), std::string(program)};
    return true;
}

size_t window_answer_write(const WindowAnswer &answer, char *packet) {
    if (answer.text.size() > window_name_limit || answer.secret.size() > window_name_limit) return 0;
    *packet = static_cast<char>(answer.says);
    const char *end = field_put(answer.secret, field_put(answer.text, packet + 1));
    return static_cast<size_t>(end - packet);
}

// A name and a password come with an accepted login, both of them; a reason with a failure; nothing with the others.
static bool answer_fits(const WindowAnswer &answer, WindowAsk ask) {
    const bool isLogin = answer.says == WindowSays::accepted && ask == WindowAsk::login;
    const bool hasText = isLogin || answer.says == WindowSays::failed;
    return answer.text.empty() == !hasText && answer.secret.empty() == !isLogin;
}

bool window_answer_read(std::string_view packet, WindowAsk ask, WindowAnswer *answer) {
    char kind = '\0';
    WindowAnswer read;
    if (!kind_take(&packet, "afro", &kind) || !field_take(&packet, window_name_limit, &read.text) ||
        !field_take(&packet, window_name_limit, &read.secret) || !packet.empty())
        return false;
    read.says = static_cast<WindowSays>(kind);
    if (!answer_fits(read, ask)) return false;
    *answer = read;
    return true;
}
