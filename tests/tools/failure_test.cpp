// The client's own sentence is replaced, and with it the call that returns it.
#include "tools/qrtlogin/failure.h"

#include <gtest/gtest.h>

#include "platform/zk.h"

namespace {

std::string last_sentence;

} // namespace

uint32_t ZKGetLastErrorText(uint32_t size, char *text) {
    if (last_sentence.empty()) return ZKE_BAD_PARAMETER;
    text[last_sentence.copy(text, size - 1)] = '\0';
    return ZK_OK;
}

TEST(FailureOf, ContainsTheClientsSentenceWhereItHelps) {
    const struct {
        uint32_t code;
        int status;
        const char *text;
    } rows[] = {
        {ZKE_WRONG_PASSWORD, exit_password, "wrong password"},
        {ZKE_ACCOUNT_LOCKED, exit_password, "why"}, // locked, disabled or expired
        {ZKE_NO_ACCESS, exit_password, "access denied: why"},
        {ZKE_TICKET_REFUSED, exit_password, "the Kerberos ticket is missing or was rejected: why"},
        {ZKE_DIRECTORY_UNREACHABLE, exit_directory, "cannot reach the directory server: why"},
        {ZKE_REFERRAL_BROKEN, exit_directory, "cannot follow a referral from the directory server: why"},
        {ZKE_NO_MEMORY, exit_system, "memory exhausted"},
        {ZKE_TREE_NOT_FOUND, exit_tree, "no such tree: why"},
        {ZKE_NO_SUCH_ENTRY, exit_user, "no such user"},
        {ZKE_BAD_HANDLE, exit_directory, "error code 0xFFFFE023: why"},
    };
    for (const auto &row : rows) {
        last_sentence = "why";
        const Failure failure = failure_of(row.code, "cannot do it");
        EXPECT_EQ(failure.what(), std::string("cannot do it: ") + row.text);
        EXPECT_EQ(failure.status(), row.status) << row.text;
    }
    last_sentence = "";
    EXPECT_STREQ(failure_of(ZKE_TREE_NOT_FOUND, "cannot do it").what(), "cannot do it: no such tree");
    EXPECT_STREQ(failure_of(ZKE_ACCOUNT_LOCKED, "cannot do it").what(), "cannot do it: the account is locked");
}

TEST(FailureOf, CutsAnOverlongSentence) {
    last_sentence = std::string(3000, 'x');
    EXPECT_EQ(failure_of(ZKE_NO_ACCESS, "no").what(), "no: access denied: " + std::string(1023, 'x'));
    last_sentence = "";
}
