#include "tools/qrtlogin/password_dialog.h"

#include <unistd.h>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/catalogue.h"
#include "platform/treelogin.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/password.h"

static constexpr int confirm_yes = 4;
static constexpr int seconds_per_day = 86400;

static void report(const Failure &failure) {
    fprintf(stderr, "%s: %s\n", failure_program, failure.what());
}

static std::string logins_left(unsigned long count) {
    char text[256];
    snprintf(text, sizeof text,
             catalogue_plural("Your password has expired: it can be used for %lu more login.",
                              "Your password has expired: it can be used for %lu more logins.", count),
             count);
    return text;
}

static std::string days_left(unsigned long count) {
    char text[256];
    snprintf(text, sizeof text,
             catalogue_plural("Your password expires in %lu day.", "Your password expires in %lu days.", count), count);
    return text;
}

// Empty where there is nothing to be said.
static std::string notice_of(const ZKDSPasswordInfo &info) {
    if (info.graceLogins > 0) return logins_left(static_cast<unsigned long>(info.graceLogins));
    if (info.graceLogins == 0) return catalogue_text("Your password has expired: this was the last login with it.");
    if (info.expiresIn == 0) return catalogue_text("Your password has expired.");
    if (info.expiresIn < 0) return "";
    if (info.expiresIn < seconds_per_day) return catalogue_text("Your password expires in less than a day.");
    return days_left(static_cast<unsigned long>(info.expiresIn / seconds_per_day));
}

namespace {

class Dialog {
  public:
    Dialog(const Options &options, Login *login)
        : options_(options), login_(*login), isAsked_(options.passwordDescriptor < 0 && login->needsPassword()) {}

    Secret logIn() {
        if (options_.changePassword && options_.passwordDescriptor >= 0)
            password_read_both(options_.passwordDescriptor, &password_, &given_);
        else if (options_.passwordDescriptor >= 0)
            password_ = password_read(options_.passwordDescriptor);
        authenticate();
        if (!changed_) afterwards();
        return std::move(password_);
    }

  private:
    uint32_t attempt() { return login_.authenticate(options_.user, password_); }
    Failure failure(uint32_t code) const { return login_.failure(code, options_.user); }

    void authenticate() {
        for (int left = isAsked_ ? options_.tries : 1;; left--) {
            if (isAsked_) password_ = password_ask(catalogue_format("Password for %s: ", options_.user.c_str()));
            uint32_t code = attempt();
            if (code == ZKE_PASSWORD_MUST_CHANGE && (isAsked_ || !given_.empty())) {
                if (isAsked_) report(failure(code));
                change();
                code = attempt();
            }
            if (code == ZK_OK) return;
            if (code != ZKE_WRONG_PASSWORD || left <= 1 || changed_) throw failure(code);
            report(failure(code));
        }
    }

    // The user is logged in.
    void afterwards() {
        const ZKDSPasswordInfo info = login_.passwordInfo();
        if (options_.changePassword && info.changeable == 0) refuse(); // before a new one is asked for
        if (options_.changePassword) return change();
        const std::string notice = notice_of(info);
        if (notice.empty()) return;
        fprintf(stderr, "%s\n", notice.c_str());
        if (!isAsked_ || info.changeable == 0) return;
        if (auxconfirm_g(catalogue_text("Do you want to change it now?"), nullptr, 0, 0) != confirm_yes) return;
        try {
            change();
        } catch (const Failure &problem) {
            report(problem); // the old one is as good as before
        }
    }

    Failure failureOfChange(uint32_t code) const {
        return failure_of(code, catalogue_format("cannot change the password of %s", options_.user.c_str()));
    }

    // The client says why.
    [[noreturn]] void refuse() { throw failureOfChange(login_.changePassword(options_.user, password_, password_)); }

    // Asks for the new password until the directory takes one.
    void change() {
        for (int left = options_.tries;; left--) {
            Secret typed;
            if (given_.empty()) typed = ask();
            const Secret &fresh = given_.empty() ? typed : given_;
            const uint32_t code = login_.changePassword(options_.user, password_, fresh);
            if (code == ZK_OK) return accept(given_.empty() ? std::move(typed) : std::move(given_));
            const Failure problem = failureOfChange(code);
            if (code != ZKE_PASSWORD_REFUSED || left <= 1 || !given_.empty()) throw problem;
            report(problem);
        }
    }

    void accept(Secret fresh) {
        password_ = std::move(fresh);
        changed_ = true;
        fprintf(stderr, "%s\n", catalogue_text("Your password has been changed."));
    }

    Secret ask() const {
        for (int left = options_.tries;; left--) {
            Secret fresh = password_ask(catalogue_format("New password for %s: ", options_.user.c_str()));
            if (strcmp(fresh.text(), password_ask(catalogue_text("New password again: ")).text()) == 0) return fresh;
            const Failure differ(exit_password, catalogue_text("the new passwords differ"));
            if (left <= 1) throw differ;
            report(differ);
        }
    }

    const Options &options_;
    Login &login_;
    const bool isAsked_;
    Secret password_;
    Secret given_; // the new one, where no person is asked
    bool changed_ = false;
};

} // namespace

Secret password_dialog_log_in(const Options &options, Login *login) {
    return Dialog(options, login).logIn();
}
