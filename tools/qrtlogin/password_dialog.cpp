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
    Dialog(Options *options, Login *login, LoginWindow *window)
        : options_(*options),
          login_(*login),
          window_(window),
          namesUser_(options->user.empty()),
          isAsked_(options->passwordDescriptor < 0 && login->needsPassword()) {}

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
    bool hasWindow() const { return window_ != nullptr && window_->isOpen(); }

    // False: the window has gone, before it had an answer.
    bool askInWindow(LoginAsk what, std::string *name, Secret *secret) {
        if (!hasWindow()) return false;
        const LoginAnswer answer = window_->ask(what, options_.user, reason_, name, secret);
        reason_.clear();
        if (answer == LoginAnswer::cancelled)
            throw Failure(exit_password, catalogue_text("cannot read the password: cancelled"));
        return answer == LoginAnswer::given;
    }

    // What is not given and not known already.
    void askPerson() {
        const LoginAsk what = !namesUser_ ? LoginAsk::password : isAsked_ ? LoginAsk::nameAndPassword : LoginAsk::name;
        Secret typed;
        if (askInWindow(what, &options_.user, &typed)) {
            if (isAsked_) password_ = std::move(typed);
            return;
        }
        if (options_.user.empty()) throw Failure(exit_usage, catalogue_text("no user given"));
        if (isAsked_) password_ = password_ask(catalogue_format("Password for %s: ", options_.user.c_str()));
    }

    // Where a name was typed, another may be meant.
    bool mayBeMistyped(const Failure &problem, uint32_t code) const {
        return (isAsked_ && code == ZKE_WRONG_PASSWORD) || (namesUser_ && hasWindow() && problem.status() == exit_user);
    }

    void reject(const Failure &problem) {
        report(problem);
        reason_ = problem.what();
    }

    uint32_t attempt() { return login_.authenticate(options_.user, password_); }
    Failure failure(uint32_t code) const { return login_.failure(code, options_.user); }

    void authenticate() {
        for (int left = isAsked_ || namesUser_ ? options_.tries : 1;; left--) {
            if (isAsked_ || namesUser_) askPerson();
            uint32_t code = attempt();
            if (code == ZKE_PASSWORD_MUST_CHANGE && (isAsked_ || !given_.empty())) {
                if (isAsked_) reject(failure(code));
                change();
                code = attempt();
            }
            if (code == ZK_OK) return;
            const Failure problem = failure(code);
            if (!mayBeMistyped(problem, code) || left <= 1 || changed_) throw problem;
            reject(problem);
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
        if (hasWindow()) window_->tell('w', {notice});
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
            reject(problem);
        }
    }

    void accept(Secret fresh) {
        password_ = std::move(fresh);
        changed_ = true;
        fprintf(stderr, "%s\n", catalogue_text("Your password has been changed."));
        if (hasWindow()) window_->tell('w', {catalogue_text("Your password has been changed.")});
    }

    Secret ask() {
        Secret typed;
        if (askInWindow(LoginAsk::newPassword, nullptr, &typed)) return typed;
        for (int left = options_.tries;; left--) {
            Secret fresh = password_ask(catalogue_format("New password for %s: ", options_.user.c_str()));
            if (strcmp(fresh.text(), password_ask(catalogue_text("New password again: ")).text()) == 0) return fresh;
            const Failure differ(exit_password, catalogue_text("the new passwords differ"));
            if (left <= 1) throw differ;
            report(differ);
        }
    }

    Options &options_;
    Login &login_;
    LoginWindow *const window_;
    const bool namesUser_; // the person does
    const bool isAsked_;
    Secret password_;
    Secret given_; // the new one, where no person is asked
    bool changed_ = false;
    std::string reason_; // why the window asks again
};

} // namespace

Secret password_dialog_log_in(Options *options, Login *login, LoginWindow *window) {
    return Dialog(options, login, window).logIn();
}
