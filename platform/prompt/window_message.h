// What libtreelogin and the program that shows its windows say to each other, each message in one packet:
//
//     request ::= 'd' | 'l' | 'n' | 'y' | 'p'  subject user program     is there a display, log in, confirm, pause
//     answer  ::= 'a' | 'f' | 'r' | 'o'        text secret              alive, failed, refused, accepted
//     subject, user, program, text, secret ::= size byte*               size: two bytes, the low one first
//
// The library sends one request. The program sends "alive" for as long as its window is open, and one other answer at
// the end. Both sides read what the other has written as if it came from a stranger.
#ifndef PLATFORM_PROMPT_WINDOW_MESSAGE_H
#define PLATFORM_PROMPT_WINDOW_MESSAGE_H

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/prompt/window_framing.h"
#include "platform/prompt/window_start.h"

// A field of a request that does not fit in is cut.
constexpr size_t window_subject_limit = 4096;
constexpr size_t window_name_limit = 1024; // of a user's name and of a password, which are never cut

enum class WindowAsk : char {
    display = 'd',
    login = 'l',
    confirm = 'n',    // the Enter key means no
    confirmYes = 'y', // the Enter key means yes
    pause = 'p'
};

// Strings as the caller of libtreelogin has them, of any bytes but NUL.
struct WindowRequest {
    WindowAsk ask = WindowAsk::display;
    std::string subject; // of a login the label, of a confirmation the question
    std::string user;    // of a login the name to offer
    std::string program; // the name of the program that asks
};

enum class WindowSays : char { alive = 'a', failed = 'f', refused = 'r', accepted = 'o' };

struct WindowAnswer {
    WindowSays says = WindowSays::alive;
    std::string_view text;   // the user's name when a login is accepted; why it failed
    std::string_view secret; // the password when a login is accepted
};

std::string window_request_write(const WindowRequest &request);

// False for anything but one whole request.
bool window_request_read(std::string_view packet, WindowRequest *request);

// Writes an answer to `packet`, which has room for window_message_limit bytes, and returns its size; 0 when it does not
// fit in.
size_t window_answer_write(const WindowAnswer &answer, char *packet);

// False for anything but one whole answer to such a request. The answer's strings are parts of the packet.
bool window_answer_read(std::string_view packet, WindowAsk ask, WindowAnswer *answer);

#endif
