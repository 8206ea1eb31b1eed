// Shows a person at a terminal which server the login waits for, once that takes long, and takes the line away again.
#ifndef TOOLS_QRTLOGIN_WAITING_NOTICE_H
#define TOOLS_QRTLOGIN_WAITING_NOTICE_H

// One at a time. What is standard error now gets the notice, if it is a terminal; otherwise nothing happens.
class WaitingNotice {
  public:
    WaitingNotice();
    ~WaitingNotice();
    WaitingNotice(const WaitingNotice &) = delete;
    WaitingNotice &operator=(const WaitingNotice &) = delete;
};

#endif
