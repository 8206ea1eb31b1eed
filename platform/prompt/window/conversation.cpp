#include "platform/prompt/window/conversation.h"

#include <glib-unix.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>

#include "platform/common/secret.h"

bool conversation_open(WindowRequest *request) {
    char packet[window_message_limit];
    ssize_t size = 0;
    do {
        size = recv(window_descriptor, packet, sizeof packet, MSG_TRUNC);
    } while (size < 0 && errno == EINTR);
    return size > 0 && static_cast<size_t>(size) <= sizeof packet &&
           window_request_read({packet, static_cast<size_t>(size)}, request);
}

static gboolean send_alive(gpointer) {
    char packet[window_message_limit];
    const size_t size = window_answer_write({WindowSays::alive, {}, {}}, packet);
    // What finds no room is left out: the library has not read what came before either.
    send(window_descriptor, packet, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    return G_SOURCE_CONTINUE;
}

static gboolean end_with_library(gint, GIOCondition, gpointer) {
    _exit(0);
}

void conversation_keep_alive() {
    send_alive(nullptr);
    g_timeout_add(window_beat_milliseconds, send_alive, nullptr);
    g_unix_fd_add(window_descriptor, static_cast<GIOCondition>(G_IO_HUP | G_IO_ERR), end_with_library, nullptr);
}

// Without the toolkit's own end, which takes longer and is of no use.
[[noreturn]] static void conversation_end(const WindowAnswer &answer, const std::function<void()> &forget = nullptr) {
    Secret packet(window_message_limit);
    const size_t size = window_answer_write(answer, packet.text());
    if (forget) forget();
    if (size > 0) send(window_descriptor, packet.text(), size, MSG_NOSIGNAL);
    packet.wipe();
    secret_wipe_traces();
    _exit(0);
}

void conversation_accept(std::string_view user, std::string_view secret, const std::function<void()> &forget) {
    conversation_end({WindowSays::accepted, user, secret}, forget);
}

void conversation_refuse() {
    conversation_end({WindowSays::refused, {}, {}});
}

void conversation_fail(const std::string &reason) {
    conversation_end({WindowSays::failed, std::string_view(reason).substr(0, window_name_limit), {}});
}
