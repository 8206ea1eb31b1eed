// The schema in the form for a server's configuration database, and the sample's database with it.
#include <gtest/gtest.h>

#include "tests/support/process.h"

namespace {

Outcome load(const TempFolder &folder, const std::string &file) {
    return process_run({"/usr/sbin/slapadd", "-n", "0", "-F", folder.path("config"), "-l", file},
                       process_environment());
}

} // namespace

TEST(LdapSchema, LoadsIntoAStockConfigurationDatabase) {
    TempFolder folder;
    folder.write("config/.keep", "");
    std::string config =
        "dn: cn=config\nobjectClass: olcGlobal\ncn: config\n\n"
        "dn: cn=schema,cn=config\nobjectClass: olcSchemaConfig\ncn: schema\n\n";
    for (const char *name : {"core", "cosine", "inetorgperson"})
        config += "include: file:///etc/ldap/schema/" + std::string(name) + ".ldif\n\n";
    config += "include: file://" SOURCE_DIR "/platform/client/schema/qrt.ldif\n";
    folder.write("config.ldif", config);
    Outcome loaded = load(folder, folder.path("config.ldif"));
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    Outcome tested = process_run({"/usr/sbin/slaptest", "-u", "-F", folder.path("config")}, process_environment());
    EXPECT_EQ(tested.status, 0) << tested.err;
}
