#include "tools/qrtscript/plan/reader.h"

#include "platform/catalogue.h"
#include "platform/client/interface/scripts.h"
#include "platform/zk.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtlogin/login.h"

// The entry may be one that is no user, or outside the tree, such as that of the server's manager.
static void log_in_by_dn(const Login &login, const std::string &name, const Secret &password) {
    try {
        script_login_as(login.context(), name, password.text());
    } catch (const CodedError &error) {
        const Failure general = login.failure(error.code, name);
        if (*error.what() == '\0' || error.code == ZKE_WRONG_PASSWORD) throw general;
        const std::string attempt =
            catalogue_format("cannot log in as %1$s to tree %2$s", name.c_str(), login.tree().c_str());
        throw Failure(general.status(), attempt + ": " + error.what());
    }
}

void reader_log_in(const std::string &tree, const Reader &reader) {
    if (!reader.name) return;
    Options options;
    options.user = *reader.name;
    options.tree = tree;
    Login login(options);
    if (script_name_is_dn(options.user)) return log_in_by_dn(login, options.user, reader.password);
    const uint32_t code = login.authenticate(options.user, reader.password);
    if (code != ZK_OK) throw login.failure(code, options.user);
}
