/* Logs a user in to a tree and runs the login scripts:   login TREE
 *     cc login.c -o login $(pkg-config --cflags --libs libqrtscript) */
#include <qrtscript.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <treelogin.h>
#include <unistd.h>
#include <zk.h>

/* Proves who the user is. The caller has to: qrt_RunScripts runs the scripts of any user, whatever the password. */
static uint32_t authenticate(const char *tree, const char *user, const char *password) {
    uint32_t context, code = ZKCallsInit(NULL, NULL);
    if (code == ZK_OK) code = ZKDSCreateContextHandle(&context);
    if (code != ZK_OK) return code;
    code = ZKDSSetContext(context, DCK_TREE_NAME, tree);
    if (code == ZK_OK) code = ZKDSLoginEx(context, user, 2, password);
    ZKDSFreeContext(context); /* the login lasts as long as the process */
    return code;
}

static const char *reason_of(uint32_t code) {
    static char reason[256];
    if (code == ZKE_WRONG_PASSWORD) return "wrong password";
    if (code == ZKE_NO_SUCH_ENTRY) return "no such user";
    if (code == ZKE_TREE_NOT_FOUND) return "no such tree";
    ZKGetLastErrorText(sizeof reason, reason);
    return reason;
}

static uint32_t run_scripts(char *tree, char *user, char *password) {
    QrtRunScriptsArgs args = {.treename = tree, .user = user, .password = password};
    qrt_init(NULL, stdout);
    uint32_t result = qrt_RunScripts(&args); /* ends the session with qrt_exit, unless there was nothing to run */
    if (result == QRT_NO_TREE || result == QRT_NO_USER) qrt_exit();
    return result;
}

int main(int argc, char **argv) {
    char *user, *password;
    if (argc != 2 || auxlogin_c("Log in", NULL, &user, &password) != 0) {
        fputs(argc != 2 ? "usage: login TREE\n" : "login: no user name or no password was typed\n", stderr);
        return 1;
    }
    uint32_t result = authenticate(argv[1], user, password);
    if (result != ZK_OK) {
        fprintf(stderr, "login: not logged in (0x%X): %s\n", (unsigned)result, reason_of(result));
    } else {
        /* With a stream of the caller's own, qrt_exit writes one zero byte to it, the end mark of the output, leaves it
         * open, and closes descriptor 0: standard input is kept here, and put back. */
        int input = dup(STDIN_FILENO);
        result = run_scripts(argv[1], user, password);
        dup2(input, STDIN_FILENO);
        close(input);
    }
    explicit_bzero(password, strlen(password));
    free(password);
    free(user);
    return result == 0 ? 0 : 1;
}
