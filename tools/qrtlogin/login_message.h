// What qrtlogin and the program with its window say to each other, each message in one packet of
// platform/prompt/window_framing.h. By kind, with the fields:
//
//     from qrtlogin
//     'b'  tree user keep          begins; keep is "1" if the window is to stay after a clean login
//     'q'  ask user reason         ask: "b" name and password, "n" name, "p" password, "c" the new one of user;
//                                  reason: why it is asked again, or empty
//     's'  script object           a script is read: "c" the container's, "p" the profile's, "u" the user's
//     'n'  where text              what is done now; where is a line of a script, or empty
//     'o'  text                    output, in any pieces
//     'w'  text                    something of qrtlogin's own to be read among the output
//     'm'  script where text       a mistake of a script in that line
//     'p'  script where text why   a program of a script that failed
//     'd'  drive target            mapped at the end
//     'v'  name value              set at the end
//     'e'  how text                the end: "c" clean, "m" with mistakes, "f" it failed, "x" it was cancelled
//     from the window
//     'a'                          alive
//     'f'  reason                  there is no window
//     'l'  user password           the answer; either may be empty where it was not asked for
//     'r'                          the question was cancelled
//     'c'                          the run is to be ended
#ifndef TOOLS_QRTLOGIN_LOGIN_MESSAGE_H
#define TOOLS_QRTLOGIN_LOGIN_MESSAGE_H

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "platform/prompt/window_framing.h"

constexpr size_t login_message_fields = 4;
constexpr size_t login_text_limit = 2000;   // of a field; a longer one is cut, and ends in "..." then
constexpr size_t login_name_limit = 1024;   // of a name or a password in an answer, which are never cut
constexpr size_t login_output_limit = 4000; // of a piece of output

enum class LoginSide { login, window };

struct LoginMessage {
    char kind = '\0';
    std::array<std::string_view, login_message_fields> fields; // parts of the packet; those the kind has not are empty
};

// Writes a message to `packet`, which has room for window_message_limit bytes, and returns its size. What does not fit
// into a field is cut; NUL bytes in it end it.
size_t login_message_write(char kind, std::initializer_list<std::string_view> fields, char *packet);

// False for anything but one whole message that this side may have sent.
bool login_message_read(std::string_view packet, LoginSide from, LoginMessage *message);

#endif
