// The window of a login (--gui), seen from qrtlogin: starts the program that shows it, asks in it, and tells it what
// happens. Whatever becomes of that program, the login goes on without it: its loss is reported in one line, and from
// then on nothing happens here.
#ifndef TOOLS_QRTLOGIN_LOGIN_WINDOW_H
#define TOOLS_QRTLOGIN_LOGIN_WINDOW_H

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/common/opened.h"
#include "platform/common/secret.h"
#include "tools/qrtlogin/login_message.h"

// The program's path; empty: it is looked for where qrtlogin stands, and where it is installed. And for how long it may
// give no sign of life. Only code that is linked with the objects, such as a test, can change them.
inline const char *login_window_program = "";
inline volatile int login_window_patience = 10000; // milliseconds

enum class LoginAsk : char { nameAndPassword = 'b', name = 'n', password = 'p', newPassword = 'c' };

enum class LoginAnswer { given, cancelled, lost };

class LoginWindow {
  public:
    // Starts the program, as no child of this process; the window is told of a login that begins by `begin`. Before
    // anything secret is in memory, and before the first thread.
    LoginWindow();
    // The window stays for as long as the person reads it.
    ~LoginWindow() = default;
    LoginWindow(const LoginWindow &) = delete;
    LoginWindow &operator=(const LoginWindow &) = delete;

    bool isOpen() const { return !isLost_; }
    // For who sends output to it beside this process.
    int descriptor() const { return socket_.number(); }

    // A message of login_message.h. Waits while the window has not read what came before.
    void tell(char kind, std::initializer_list<std::string_view> fields);
    // One that may be left out when the window is behind.
    void mention(char kind, std::initializer_list<std::string_view> fields);
    // The end of a run that is ended. A call that is safe in a signal handler.
    void tellEnd(char how, std::string_view text) noexcept;

    // Waits for as long as it takes the person. `name` and `password` are set where they are asked for and given, of
    // which neither is empty then.
    LoginAnswer ask(LoginAsk what, const std::string &user, const std::string &reason, std::string *name,
                    Secret *password);

    // For a loop that waits for more than the window: takes what has come. True when the run is to be ended.
    bool takeCancel();
    // How many milliseconds are left until the window counts as hung, after which `takeCancel` gives it up; a hundred
    // years when there is none.
    int64_t patienceLeft() const;
    // Patience begins anew: nobody has listened for a while.
    void listen();

  private:
    void start();
    bool receive(Secret *packet, LoginMessage *message, bool *isThere);
    void lose(const std::string &reason);
    void findEnd();
    LoginAnswer answerOf(const LoginMessage &message, LoginAsk what, std::string *name, Secret *password);

    Opened socket_{-1};
    Opened process_{-1}; // a descriptor for the program
    std::atomic<bool> isLost_{false};
    std::atomic<int64_t> lastSign_{0};
};

#endif
