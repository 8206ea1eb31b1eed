#include "platform/client/core/schema.h"

#include <gtest/gtest.h>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include "platform/zk.h"

namespace {

TEST(Schema, NamesAreFoundInAnyLetterCaseAndWithUnderscores) {
    const char *spellings[] = {"Full Name", "FULL_NAME", "full_name", "fUll nAme"};
    for (const char *spelling : spellings) {
        ASSERT_NE(nullptr, schema_find(spelling)) << spelling;
        EXPECT_STREQ("displayName", schema_find(spelling)->ldap);
    }
    EXPECT_EQ(nullptr, schema_find("Full-Name"));
    EXPECT_EQ(nullptr, schema_find(""));
    EXPECT_EQ(nullptr, schema_find("displayName"));
    EXPECT_STREQ("Surname", schema_find_ldap("SN")->name);
    EXPECT_STREQ("Surname", schema_find_ldap("surName")->name) << "by its other name";
    EXPECT_STREQ("Facsimile Telephone Number", schema_find_ldap("FAX")->name);
    EXPECT_EQ(nullptr, schema_find_ldap("favouriteDrink"));
}

TEST(Schema, TheAttributesThatScriptsAskForHaveTheirSyntaxes) {
    struct {
        const char *name;
        uint32_t syntax;
    } cases[] = {{"LOGIN_SCRIPT", schema_stream},
                 {"Group_Membership", schema_dn},
                 {"HOME_DIRECTORY", ZK_SYNTAX_PATH},
                 {"Path", ZK_SYNTAX_PATH},
                 {"Host_Server", schema_dn},
                 {"Host_Resource_Name", schema_text},
                 {"Last_Login_Time", ZK_SYNTAX_TIME},
                 {"PASSWORD_EXPIRATION_TIME", ZK_SYNTAX_TIME},
                 {"Surname", schema_text},
                 {"LANGUAGE", schema_text},
                 {"Profile", schema_dn},
                 {"NETWORK ADDRESS", ZK_SYNTAX_NETWORK_ADDRESS},
                 {"Login Grace Limit", ZK_SYNTAX_COUNTER},
                 {"Password Expiration Interval", ZK_SYNTAX_INTERVAL},
                 {"Postal_Address", ZK_SYNTAX_POSTAL_ADDRESS}};
    for (auto &c : cases) {
        ASSERT_NE(nullptr, schema_find(c.name)) << c.name;
        EXPECT_EQ(c.syntax, schema_find(c.name)->syntax) << c.name;
    }
}

TEST(Schema, NamesFitACallersBufferAndAreUnique) {
    std::set<std::string> names;
    for (const SchemaAttribute &row : schema_attributes()) {
        EXPECT_EQ(&row, schema_find_ldap(row.ldap)) << row.ldap;
        if (row.name != nullptr) {
            EXPECT_LE(strlen(row.name), size_t{ZK_MAX_ATTR_NAME}) << row.name;
            EXPECT_EQ(&row, schema_find(row.name)) << row.name;
        }
    }
}

TEST(Schema, PasswordsAreNeverHandedOut) {
    EXPECT_EQ(nullptr, schema_find("userPassword"));
    EXPECT_EQ(nullptr, schema_find_ldap("userPassword")->name);
    EXPECT_EQ(nullptr, schema_find_ldap("qrtServerUser")->name);
}

TEST(Schema, TheFirstRowThatMatchesGivesTheBaseClass) {
    EXPECT_STREQ("User", schema_class_of({"top", "person", "inetOrgPerson"})->base);
    EXPECT_STREQ("Alias", schema_class_of({"inetOrgPerson", "ALIAS"})->base);
    EXPECT_STREQ("Domain", schema_class_of({"top", "domain"})->base);
    EXPECT_STREQ("Organization", schema_class_of({"dcObject", "organization"})->base);
    EXPECT_STREQ("Unknown", schema_class_of({"top"})->base);
    EXPECT_EQ("Directory Map", schema_class_name("qrtDirectoryMap"));
    EXPECT_EQ("top", schema_class_name("top"));
}

TEST(Schema, TheReadmeListsEveryAttribute) {
    std::ifstream file(SOURCE_DIR "/platform/client/README.md");
    std::string readme((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    for (const SchemaAttribute &row : schema_attributes()) {
        EXPECT_NE(std::string::npos, readme.find(std::string("`") + row.ldap + "`")) << row.ldap;
        EXPECT_TRUE(row.name == nullptr || readme.find(row.name) != std::string::npos) << row.ldap;
    }
}

} // namespace
