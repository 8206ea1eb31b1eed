#include "tools/qrtlogin/window/talk.h"

#include <glib-unix.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <cerrno>

#include "platform/common/secret.h"
#include "platform/prompt/window_start.h"

// So many messages are taken at a time, then the window is drawn.
static constexpr int taken_at_a_time = 256;

static void (*take_message)(const LoginMessage &message);
static void (*take_end)();

bool talk_is_possible() {
    struct stat file = {};
    return fstat(window_descriptor, &file) == 0 && S_ISSOCK(file.st_mode);
}

// What finds no room is left out: qrtlogin has not read what came before either, or has gone.
static void talk_send(char kind, std::initializer_list<std::string_view> fields) {
    Secret packet(window_message_limit);
    const size_t size = login_message_write(kind, fields, packet.text());
    send(window_descriptor, packet.text(), size, MSG_NOSIGNAL | MSG_DONTWAIT);
}

static gboolean send_alive(gpointer) {
    talk_send('a', {});
    return G_SOURCE_CONTINUE;
}

static gboolean receive(gint, GIOCondition, gpointer) {
    static char packet[window_message_limit + 1];
    for (int taken = 0; taken < taken_at_a_time; ++taken) {
        const ssize_t size = recv(window_descriptor, packet, sizeof packet, MSG_DONTWAIT);
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) return G_SOURCE_CONTINUE;
        LoginMessage message;
        if (size <= 0 || !login_message_read({packet, static_cast<size_t>(size)}, LoginSide::login, &message)) {
            take_end();
            return G_SOURCE_REMOVE;
        }
        take_message(message);
    }
    return G_SOURCE_CONTINUE;
}

void talk_begin(void (*take)(const LoginMessage &message), void (*closed)()) {
    take_message = take;
    take_end = closed;
    send_alive(nullptr);
    g_timeout_add(window_beat_milliseconds, send_alive, nullptr);
    g_unix_fd_add(window_descriptor, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), receive, nullptr);
}

void talk_answer(std::string_view user, std::string_view password) {
    talk_send('l', {user, password});
}

void talk_refuse() {
    talk_send('r', {});
}

void talk_cancel() {
    talk_send('c', {});
}

void talk_fail(std::string_view reason) {
    talk_send('f', {reason});
}
