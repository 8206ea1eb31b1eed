// The login itself: finds the tree and proves to it who the user is.
#ifndef TOOLS_QRTLOGIN_LOGIN_H
#define TOOLS_QRTLOGIN_LOGIN_H

#include <cstdint>
#include <string>

#include "platform/common/secret.h"
#include "platform/zk.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/options.h"

class Login {
  public:
    // Finds the tree: --tree, else that of --server, else the configuration's default one. No user is logged in yet.
    // Throws Failure.
    explicit Login(const Options &options);
    ~Login();
    Login(const Login &) = delete;
    Login &operator=(const Login &) = delete;

    // False where the login goes by who the process is: a Kerberos ticket, a local socket. Throws Failure.
    bool needsPassword() const;

    // Logs the user in, for as long as this process lives. Returns ZK_OK or the client's code, which `failure` words.
    uint32_t authenticate(const std::string &user, const Secret &password);
    Failure failure(uint32_t code, const std::string &user) const;

    // What the directory has said of the password that let the user in. Throws Failure.
    ZKDSPasswordInfo passwordInfo() const;
    // Replaces the password; the user need not be logged in. Returns ZK_OK or the client's code.
    uint32_t changePassword(const std::string &user, const Secret &before, const Secret &after);

    // Whether scripts can use the password once more, in another tree. Throws Failure.
    bool sharesPassword() const;

    // The name to run the scripts for, of the user who typed this one. The library takes what follows the first period
    // for the context that the user logged in by, and another than that of the user's object for an alias: only the
    // name of an object in a context has one.
    std::string nameForScripts(const std::string &typed) const;

    // The scripts have run: the time of the login is kept for the next one, where the directory does that.
    void note();

    const std::string &tree() const { return tree_; }
    // A context of the tree, for as long as the object lives.
    uint32_t context() const { return context_; }
    // The complete name of the user that logged in, typeless and without a leading period.
    std::string fullName() const;
    // The container of the user that logged in, typeless and without a leading period; empty for the root.
    std::string container() const;

  private:
    void useTree(const Options &options);
    uint32_t context_ = 0;
    std::string tree_;
};

#endif
