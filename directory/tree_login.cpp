#include "directory/tree_login.h"

#include "base/output.h"
#include "directory/contexts.h"
#include "platform/treelogin.h"
#include "platform/zk.h"
#include "qrtscript.h"

// A handle that was made is neither freed nor handed out when a later step fails: required.
uint32_t tree_login(const char *tree, const char *user, const char *password, uint32_t &handle) {
    constexpr uint32_t loginOption = 2;
    handle = 0;
    TRACE(qrt_TreeLogin, 4, "TreeLogin(%s, %s)", tree ? tree : "", user ? user : "");
    if (tree == nullptr) return ZKE_TREE_NOT_FOUND;
    uint32_t code = contexts_start_client();
    if (code != 0) return code;
    uint32_t made = 0;
    code = ZKDSCreateContextHandle(&made);
    if (code != 0) {
        TRACE(qrt_TreeLogin, 0, "ZKDSCreateContextHandle ccode: 0x%X", code);
        return code;
    }
    const uint32_t flags = contexts_flags;
    code = ZKDSSetContext(made, DCK_FLAGS, &flags);
    if (code != 0) {
        TRACE(qrt_TreeLogin, 0, "ZKDSSetContext (1) ccode: 0x%X", code);
        return code;
    }
    code = ZKDSSetContext(made, DCK_TREE_NAME, tree);
    if (code != 0) {
        TRACE(qrt_TreeLogin, 0, "ZKDSSetContext: ccode: 0x%X", code);
        return code;
    }
    code = ZKDSLoginEx(made, user, loginOption, password);
    if (code != 0) {
        TRACE(qrt_TreeLogin, 0, "ZKDSLoginEx() returned 0x%x", code);
        return code;
    }
    TRACE(qrt_TreeLogin, 1, "logged into tree [%s]", tree);
    handle = made;
    return 0;
}

uint32_t tree_logout(const char *tree) {
    if (tree == nullptr) return ZKE_TREE_NOT_FOUND;
    uint32_t code = contexts_start_client();
    if (code != 0) return code;
    uint32_t handle = 0;
    code = ZKDSCreateContextHandle(&handle);
    if (code != 0) {
        TRACE(qrt_TreeLogout, 4, "ZKDSCreateContextHandle ccode: %x", code);
        return code;
    }
    code = ZKDSSetContext(handle, DCK_TREE_NAME, tree);
    if (code != 0) {
        TRACE(qrt_TreeLogout, 4, "ZKDSSetContext: ccode: %x", code);
        return code;
    }
    code = ZKDSLogout(handle);
    if (code == 0)
        TRACE(qrt_TreeLogout, 4, "logged out of tree %s", tree);
    else
        TRACE(qrt_TreeLogout, 4, "ZKDSLogout(tree=%s) returned 0x%x", tree, code);
    return code;
}

uint32_t tree_login_ask(bool inWindow, const char *label, const char *defaultUser, char **user, char **password) {
    int answer = 0;
    if (inWindow) {
        TRACE(qrt_get_user_password, 5, "Initalize graphical login query");
        auxinit_g();
        TRACE(qrt_get_user_password, 5, "Calling graphical login query");
        answer = auxlogin_g(label, defaultUser, user, password);
    } else {
        TRACE(qrt_get_user_password, 5, "Calling text based login query");
        answer = auxlogin_c(label, defaultUser, user, password);
    }
    TRACE(qrt_get_user_password, 5, "return value from login query= 0x%X", static_cast<unsigned>(answer));
    TRACE(qrt_get_user_password, 4, "qrt_get_user_password return value=0x%X", static_cast<unsigned>(answer));
    return static_cast<uint32_t>(answer);
}
