// Passwords that the key distribution centre changes, and one that does not answer.

#include <ldap.h>

#include "tests/ldap/hostile_server.h"
#include "tests/ldap/kerberos.h"
#include "tests/ldap/ldap_site.h"

namespace {

class LdapKerberosChange : public LdapSite {
  protected:
    LdapKerberosChange() {
        defaultServer.clear();
        onServers({server.uri()}, "base = \"dc=acme,dc=test\"\nschema = \"ad\"\ntime_limit = 3\n");
    }
    uint32_t change() { return ZKDSChangePassword(context(), "anna", "sunflower", "starfish-7"); }
    // A directory of accounts that lets nobody in before the password has been changed.
    static Scripted mustChange() {
        const std::string text =
            "80090308: LdapErr: DSID-0C0903A9, comment: AcceptSecurityContext error, data 773, v1db1";
        return {{{Scripted::bound(LDAP_INVALID_CREDENTIALS, text)}}, {{Scripted::done()}}, {{Scripted::unknown()}}};
    }

    Kerberos realm{{}};
    HostileServer server{mustChange()};
};

} // namespace

TEST_F(LdapKerberosChange, ACentreThatDoesNotAnswerEndsWithTheTimeLimit) {
    realm.fallSilent();
    EXPECT_EQ(change(), ZKE_SERVER_SILENT);
    EXPECT_EQ(lastError(), "no answer from the key distribution centre: the password has not been changed");
}

TEST_F(LdapKerberosChange, AServerForChangesThatDoesNotAnswerEndsWithTheTimeLimit) {
    HostileServer silent(Hostility::Silent);
    realm.addPassword("anna", "sunflower", silent.portNumber());
    EXPECT_EQ(change(), ZKE_SERVER_SILENT);
    EXPECT_EQ(lastError(),
              "no answer from the key distribution centre; whether the password has been changed is not known");
    EXPECT_GT(silent.connections(), 0);
}

TEST_F(LdapKerberosChange, AWrongOldPasswordIsWrongBeforeAnythingIsChanged) {
    HostileServer silent(Hostility::Silent);
    realm.addPassword("anna", "another", silent.portNumber());
    EXPECT_EQ(change(), ZKE_WRONG_PASSWORD);
    EXPECT_EQ(lastError(), "the old password is wrong");
    EXPECT_EQ(silent.connections(), 0);
}
