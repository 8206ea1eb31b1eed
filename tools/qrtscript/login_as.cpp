#include "tools/qrtscript/login_as.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "platform/catalogue.h"
#include "platform/client/interface/scripts.h"
#include "platform/zk.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/password.h"

static constexpr uint32_t login_option = 2;

static void require(uint32_t code, const std::string &attempt) {
    if (code != ZK_OK) throw failure_of(code, attempt);
}

void login_as(uint32_t context, const std::string &tree, const std::string &user, int passwordDescriptor) {
    int needed = 1;
    require(ZKDSLoginNeedsPassword(context, &needed), catalogue_format("cannot use tree %s", tree.c_str()));
    Secret password;
    if (passwordDescriptor >= 0)
        password = password_read(passwordDescriptor);
    else if (needed != 0)
        password = password_ask(catalogue_format("Password for %s: ", user.c_str()));
    const std::string attempt = catalogue_format("cannot log in as %1$s to tree %2$s", user.c_str(), tree.c_str());
    if (!script_name_is_dn(user))
        return require(ZKDSLoginEx(context, user.c_str(), login_option, password.text()), attempt);
    try {
        script_login_as(context, user, password.text());
    } catch (const CodedError &error) {
        const Failure general = failure_of(error.code, attempt);
        if (*error.what() == '\0' || error.code == ZKE_WRONG_PASSWORD) throw general;
        throw Failure(general.status(), attempt + ": " + error.what());
    }
}

int login_descriptor(const char *text) {
    char *end = nullptr;
    errno = 0;
    const long number = strtol(text, &end, 10);
    const bool isNumber = *text != '\0' && *end == '\0' && errno == 0 && number >= 0 && number <= INT_MAX;
    return isNumber ? static_cast<int>(number) : -1;
}
