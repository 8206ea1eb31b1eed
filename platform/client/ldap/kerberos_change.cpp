#include "platform/client/ldap/kerberos_change.h"

#include <krb5/krb5.h>
#include <atomic>
#include <cctype>
#include <memory>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/client/core/bounded.h"
#include "platform/client/core/waiting.h"
#include "platform/common/late_library.h"
#include "platform/zk.h"

namespace {

// A function of libkrb5, which few logins need.
template <typename Function>
Function *function(const char *name) {
    Function *found = late_function<Function>(LIBKRB5_SONAME, name);
    if (found == nullptr) throw CodedError(ZKE_NO_ACCESS, catalogue_format("cannot load a library: %s", dlerror()));
    return found;
}

#define KRB5(name) function<decltype(name)>(#name)

// How far the work has come: once its caller has given up, a change that has not begun is none any more.
enum class Progress { loggingIn, changing, givenUp };

struct Work {
    Work(KerberosPrincipal principal, const LdapIdentity &old, const LdapIdentity &fresh)
        : who(std::move(principal)), before(old.revealed()), after(fresh.revealed()) {}
    const KerberosPrincipal who;
    Secret before, after;
    uint32_t code = ZKE_NO_MEMORY;
    std::string sentence;
    std::atomic<Progress> progress = Progress::loggingIn;

    // Whether the progress was still that of the login.
    bool advance(Progress next) {
        Progress expected = Progress::loggingIn;
        return progress.compare_exchange_strong(expected, next);
    }
};

// What the library has made, freed with the object.
class Session {
  public:
    Session() {
        const krb5_error_code code = KRB5(krb5_init_context)(&context_);
        if (code != 0) throw CodedError(ZKE_NO_ACCESS, catalogue_text("Kerberos is not configured"));
    }
    ~Session() {
        KRB5(krb5_free_cred_contents)(context_, &credentials_);
        if (options_ != nullptr) KRB5(krb5_get_init_creds_opt_free)(context_, options_);
        if (principal_ != nullptr) KRB5(krb5_free_principal)(context_, principal_);
        KRB5(krb5_free_context)(context_);
    }
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    void logIn(const KerberosPrincipal &who, const Secret &password) {
        require(KRB5(krb5_parse_name_flags)(context_, who.name.c_str(),
                                            who.isEnterprise ? KRB5_PRINCIPAL_PARSE_ENTERPRISE : 0, &principal_));
        require(KRB5(krb5_get_init_creds_opt_alloc)(context_, &options_));
        const krb5_error_code code = KRB5(krb5_get_init_creds_password)(
            context_, &credentials_, principal_, password.text(), nullptr, nullptr, 0, "kadmin/changepw", options_);
        if (code == KRB5KDC_ERR_PREAUTH_FAILED || code == KRB5KRB_AP_ERR_BAD_INTEGRITY)
            throw CodedError(ZKE_WRONG_PASSWORD, catalogue_text("the old password is wrong"));
        require(code);
    }

    void change(const Secret &password) {
        int result = 0;
        krb5_data kind = {}, words = {};
        const krb5_error_code code = KRB5(krb5_change_password)(
            context_, &credentials_, const_cast<char *>(password.text()), &result, &kind, &words);
        char *message = nullptr;
        if (code == 0 && result != 0) KRB5(krb5_chpw_message)(context_, &words, &message);
        const std::string told = message == nullptr ? "" : message;
        if (message != nullptr) KRB5(krb5_free_string)(context_, message);
        KRB5(krb5_free_data_contents)(context_, &kind);
        KRB5(krb5_free_data_contents)(context_, &words);
        if (code != 0) {
            throw CodedError(ZKE_NO_ACCESS, catalogue_format("%s; whether the password has been changed is not known",
                                                             sentenceOf(code).c_str()));
        }
        if (result != 0) {
            throw CodedError(ZKE_PASSWORD_REFUSED,
                             std::string(catalogue_text("the server does not accept the new password")) +
                                 (told.empty() ? "" : " (" + told + ")"));
        }
    }

  private:
    std::string sentenceOf(krb5_error_code code) {
        const char *text = KRB5(krb5_get_error_message)(context_, code);
        const std::string sentence = catalogue_format("Kerberos: %s", text == nullptr ? "" : text);
        KRB5(krb5_free_error_message)(context_, text);
        return sentence;
    }
    void require(krb5_error_code code) {
        if (code != 0) throw CodedError(ZKE_NO_ACCESS, sentenceOf(code));
    }

    krb5_context context_ = nullptr;
    krb5_principal principal_ = nullptr;
    krb5_get_init_creds_opt *options_ = nullptr;
    krb5_creds credentials_ = {};
};

} // namespace

static void change(Work *work) {
    try {
        Session session;
        session.logIn(work->who, work->before);
        if (!work->advance(Progress::changing)) return;
        session.change(work->after);
        work->code = ZK_OK;
    } catch (const CodedError &error) {
        work->code = error.code;
        work->sentence = error.what();
    } catch (const std::bad_alloc &) {
        work->code = ZKE_NO_MEMORY;
    }
}

KerberosPrincipal kerberos_principal(const std::string &account, const std::string &domain, bool isEnterprise) {
    KerberosPrincipal principal;
    principal.isEnterprise = isEnterprise;
    for (const char c : account) {
        if (c == '/' || c == '\\' || (c == '@' && !isEnterprise)) principal.name += '\\';
        principal.name += c;
    }
    principal.name += '@';
    for (const char c : domain) principal.name += static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return principal;
}

void kerberos_change_password(const KerberosPrincipal &who, const LdapIdentity &before, const LdapIdentity &after,
                              LdapDeadline deadline) {
    ldap_waiting_for(who.name);
    const auto work = std::make_shared<Work>(who, before, after);
    try {
        Bounded running([work] { change(work.get()); });
        if (!ldap_waiting_done(running, deadline)) {
            if (work->advance(Progress::givenUp)) {
                throw CodedError(
                    ZKE_SERVER_SILENT,
                    catalogue_text("no answer from the key distribution centre: the password has not been changed"));
            }
            throw CodedError(ZKE_SERVER_SILENT,
                             catalogue_text("no answer from the key distribution centre; whether the password has been "
                                            "changed is not known"));
        }
    } catch (const std::system_error &error) {
        throw CodedError(ZKE_NO_ACCESS, catalogue_format("cannot start a thread: %s", error.what()));
    }
    if (work->code != ZK_OK) throw CodedError(work->code, work->sentence);
}
