#include "platform/prompt/window_message.h"

std::string window_request_write(const WindowRequest &request) {
    std::string packet(1, static_cast<char>(request.ask));
    const auto add = [&packet](std::string_view field, size_t limit) {
        field = field.substr(0, limit);
        const size_t at = packet.size();
        packet.resize(at + window_size_bytes + field.size());
        window_field_put(field, &packet[at]);
    };
    add(request.subject, window_subject_limit);
    add(request.user, window_name_limit);
    add(request.program, window_name_limit);
    return packet;
}

bool window_request_read(std::string_view packet, WindowRequest *request) {
    char kind = '\0';
    std::string_view subject, user, program;
    if (!window_kind_take(&packet, "dlnyp", &kind) || !window_field_take(&packet, window_subject_limit, &subject) ||
        !window_field_take(&packet, window_name_limit, &user) ||
        !window_field_take(&packet, window_name_limit, &program) || !packet.empty())
        return false;
    *request = {static_cast<WindowAsk>(kind), std::string(subject), std::string(user), std::string(program)};
    return true;
}

size_t window_answer_write(const WindowAnswer &answer, char *packet) {
    if (answer.text.size() > window_name_limit || answer.secret.size() > window_name_limit) return 0;
    *packet = static_cast<char>(answer.says);
    const char *end = window_field_put(answer.secret, window_field_put(answer.text, packet + 1));
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
    if (!window_kind_take(&packet, "afro", &kind) || !window_field_take(&packet, window_name_limit, &read.text) ||
        !window_field_take(&packet, window_name_limit, &read.secret) || !packet.empty())
        return false;
    read.says = static_cast<WindowSays>(kind);
    if (!answer_fits(read, ask)) return false;
    *answer = read;
    return true;
}
