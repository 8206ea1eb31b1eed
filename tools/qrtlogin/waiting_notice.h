// Shows a person at a terminal, or in the login's window, which server the login waits for, once that takes long, and
// takes the line away again.
#ifndef TOOLS_QRTLOGIN_WAITING_NOTICE_H
#define TOOLS_QRTLOGIN_WAITING_NOTICE_H

class LoginWindow;

// One at a time. The window gets the notice, if there is one; else what is standard error now, if it is a terminal.
class WaitingNotice {
  public:
    explicit WaitingNotice(LoginWindow *window = nullptr);
    ~WaitingNotice();
    WaitingNotice(const WaitingNotice &) = delete;
    WaitingNotice &operator=(const WaitingNotice &) = delete;
};

#endif
