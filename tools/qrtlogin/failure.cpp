#include "tools/qrtlogin/failure.h"

#include "platform/catalogue.h"
#include "platform/zk.h"

const char *failure_program = "qrtlogin";

namespace {

struct Meaning {
    uint32_t code;
    int status;
    const char *text;
};

} // namespace

static const Meaning meanings[] = {
    {ZKE_WRONG_PASSWORD, exit_password, catalogue_mark("wrong password")},
    {ZKE_ACCOUNT_LOCKED, exit_password, catalogue_mark("the account is locked")},
    {ZKE_PASSWORD_EXPIRED, exit_password, catalogue_mark("the password has expired")},
    {ZKE_PASSWORD_MUST_CHANGE, exit_password, catalogue_mark("the password must be changed")},
    {ZKE_PASSWORD_REFUSED, exit_password, catalogue_mark("the new password was rejected")},
    {ZKE_NO_ACCESS, exit_password, catalogue_mark("access denied")},
    {ZKE_AMBIGUOUS_NAME, exit_user, catalogue_mark("the name of several users")},
    {ZKE_DIRECTORY_UNREACHABLE, exit_directory, catalogue_mark("cannot reach the directory server")},
    {ZKE_BAD_DIRECTORY_DATA, exit_directory, catalogue_mark("cannot read the directory data or configuration")},
    {ZKE_SERVER_SILENT, exit_directory, catalogue_mark("the directory server does not answer")},
    {ZKE_ANSWER_CUT_SHORT, exit_directory, catalogue_mark("the directory server is too slow")},
    {ZKE_SERVER_CLOSED, exit_directory, catalogue_mark("the directory server closed the connection")},
    {ZKE_ANSWER_MALFORMED, exit_directory, catalogue_mark("invalid answer from the directory server")},
    {ZKE_ANSWER_TOO_LARGE, exit_directory, catalogue_mark("the directory server's answer is too large")},
    {ZKE_CERTIFICATE_REFUSED, exit_directory, catalogue_mark("certificate verification failed")},
    {ZKE_TLS_REQUIRED, exit_directory, catalogue_mark("the connection to the directory server is not secure")},
    {ZKE_HOST_LOOKUP_SILENT, exit_directory, catalogue_mark("cannot look up the directory server's host name")},
    {ZKE_REFERRAL_BROKEN, exit_directory, catalogue_mark("cannot follow a referral from the directory server")},
    {ZKE_TICKET_REFUSED, exit_password, catalogue_mark("the Kerberos ticket is missing or was rejected")},
    {ZKE_NO_MEMORY, exit_system, catalogue_mark("memory exhausted")},
    {ZKE_TREE_NOT_FOUND, exit_tree, catalogue_mark("no such tree")},
    {ZKE_SERVER_NOT_FOUND, exit_tree, catalogue_mark("no such tree or server")},
    {ZKE_NO_SUCH_ENTRY, exit_user, catalogue_mark("no such user")},
    {ZKE_NO_SUCH_ATTRIBUTE, exit_user, catalogue_mark("the object has no password")},
    {ZKE_NO_SUCH_VALUE, exit_user, catalogue_mark("the object has no password")},
    {ZKE_MALFORMED_NAME, exit_user, catalogue_mark("malformed user name")},
};

static std::string unknown_text(uint32_t code) {
    return catalogue_format("error code 0x%X", code);
}

// The client's own sentence about its last failure, with file and line where there is one.
static std::string client_sentence() {
    char text[1024] = {};
    return ZKGetLastErrorText(sizeof text, text) == ZK_OK ? text : "";
}

Failure failure_of(uint32_t code, const std::string &attempt) {
    int status = exit_directory;
    std::string text = unknown_text(code);
    for (const Meaning &meaning : meanings) {
        if (meaning.code != code) continue;
        status = meaning.status;
        text = catalogue_text(meaning.text);
    }
    const bool told =
        status == exit_directory || status == exit_tree || code == ZKE_TICKET_REFUSED || code == ZKE_NO_ACCESS;
    std::string detail = told ? client_sentence() : "";
    if (!detail.empty()) text += ": " + detail;
    // The client's sentence says whose account, and in which of several states, what is wrong with a password, where
    // several users are, or what is wrong with a certificate or with the file to verify it by.
    const bool isWhole = code == ZKE_ACCOUNT_LOCKED || code == ZKE_PASSWORD_EXPIRED ||
                         code == ZKE_PASSWORD_MUST_CHANGE || code == ZKE_PASSWORD_REFUSED ||
                         code == ZKE_AMBIGUOUS_NAME || code == ZKE_CERTIFICATE_REFUSED;
    const std::string whole = isWhole ? client_sentence() : "";
    if (!whole.empty()) text = whole;
    return Failure(status, attempt + ": " + text);
}
