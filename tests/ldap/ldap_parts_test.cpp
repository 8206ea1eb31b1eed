// The parts below the store, without any server.
#include <gtest/gtest.h>

#include "platform/client/core/errors.h"
#include "platform/client/ldap/certificate.h"
#include "platform/client/ldap/entries.h"
#include "platform/client/ldap/filter.h"
#include "platform/client/ldap/recognise.h"
#include "platform/client/ldap/stream.h"
#include "platform/zk.h"
#include "tests/ldap/framing.h"

TEST(LdapFilter, EscapesWhatHasAMeaning) {
    EXPECT_EQ(filter_equal("cn", "jdoe"), "(cn=jdoe)");
    EXPECT_EQ(filter_equal("cn", "*)(cn=a\\b" + std::string(1, '\0')), "(cn=\\2a\\29\\28cn=a\\5cb\\00)");
    EXPECT_EQ(filter_equal("cn", "J\xC3\xBCrgen"), "(cn=J\xC3\xBCrgen)");
}

TEST(LdapFilter, JoinsOnlyWhereThereIsSomethingToJoin) {
    EXPECT_EQ(filter_or({"(a=1)"}), "(a=1)");
    EXPECT_EQ(filter_or({"(a=1)", "(b=2)"}), "(|(a=1)(b=2))");
    EXPECT_EQ(filter_and({"(a=1)", "(b=2)"}), "(&(a=1)(b=2))");
}

TEST(LdapFraming, FollowsMessagesByteByByte) {
    LdapFraming framing;
    const std::string messages("\x30\x05\x02\x01\x07\x65\x00\x30\x81\x06\x02\x02\x01\x00\x64\x00", 16);
    for (size_t i = 0; i < messages.size(); i++) {
        EXPECT_EQ(take(&framing, messages.substr(i, 1)), LdapFraming::Fine) << i;
        EXPECT_EQ(framing.inMessage(), i != 6 && i != 15) << i;
    }
}

TEST(LdapFraming, RefusesWhatIsNoMessage) {
    const std::string refused[] = {
        "H",                                // another protocol
        "\x30\x80",                         // no length
        std::string("\x30\x00", 2),         // nothing in it
        "\x30\x89",                         // a length of nine bytes
        std::string("\x30\x81\x00", 3),     // nothing in it, said at length
        "\x30\x05\x04",                     // begins with a text
        std::string("\x30\x05\x02\x00", 4), // an empty number
        "\x30\x05\x02\x05",                 // a number of 40 bits
        "\x30\x05\x02\x01\x01\x63",         // a request
        "\x30\x05\x02\x01\x01\x99",         // nothing known
        "\x30\x03\x02\x01\x01",             // ends before it says what it is
    };
    for (const std::string &bytes : refused) {
        LdapFraming framing;
        EXPECT_EQ(take(&framing, bytes), LdapFraming::Malformed) << testing::PrintToString(bytes);
    }
}

TEST(LdapFraming, EndsAtAMessageOfNoRequests) {
    for (const std::string &number : {std::string("\1\0", 2), std::string("\2\0\0", 3)}) {
        LdapFraming framing;
        EXPECT_EQ(take(&framing, "0\14\2" + number), LdapFraming::Fine);
        EXPECT_EQ(take(&framing, "x"), LdapFraming::Disconnected);
        EXPECT_FALSE(framing.inMessage());
    }
}

TEST(LdapFraming, RefusesAClaimOverTheLimitBeforeAnyOfItComes) {
    LdapFraming framing;
    EXPECT_EQ(take(&framing, "\x30\x84\x7F\xFF\xFF"), LdapFraming::Fine);
    EXPECT_EQ(take(&framing, "\xFF"), LdapFraming::TooLarge);
}

TEST(LdapWatch, ManySmallMessagesHaveALimitTogether) {
    constexpr size_t size = 1024 * 1024;
    std::vector<unsigned char> message = {0x30, 0x83, 0x0F, 0xFF, 0xFB, 0x02, 0x01, 0x01, 0x64};
    message.resize(size);
    LdapWatch watch;
    watch.begin(LdapDeadline::max());
    for (size_t i = 0; i < ldap_answer_limit / size; i++) ASSERT_TRUE(watch.takeBytes(message.data(), size)) << i;
    EXPECT_FALSE(watch.takeBytes(message.data(), size));
    EXPECT_EQ(watch.event(), LdapWatch::TooLarge);
}

TEST(LdapUri, HasItsUsualPorts) {
    EXPECT_EQ(ldap_uri_parse("ldap://a.example").port, "389");
    EXPECT_EQ(ldap_uri_parse("ldaps://a.example").port, "636");
    EXPECT_EQ(ldap_uri_parse("ldaps://a.example:10636").port, "10636");
    EXPECT_TRUE(ldap_uri_parse("ldaps://a.example").tls);
    EXPECT_EQ(ldap_uri_parse("ldapi://%2Frun%2Fx").host, "/run/x");
    EXPECT_TRUE(ldap_uri_parse("ldapi://%2Frun%2Fx").local);
    EXPECT_FALSE(ldap_uri_parse("ldapi://%2Frun%2Fx").tls);
    EXPECT_FALSE(ldap_uri_parse("ldaps://a.example").local);
    EXPECT_FALSE(ldap_uri_parse("ldap://a.example").tls);
    EXPECT_EQ(ldap_uri_parse("ldap://a.example:10389").text, "ldap://a.example:10389");
    EXPECT_EQ(ldap_uri_parse("ldap://").host, "localhost");
    EXPECT_EQ(ldap_uri_parse("ldapi://").host, "/var/run/slapd/ldapi");
    EXPECT_THROW(ldap_uri_parse("http://a"), DataError);
}

TEST(LdapEntries, TakesWhatIsRightAndLeavesOutWhatIsNot) {
    ConfigLdap config;
    LdapEntries entries(config, {});
    LdapEntry read = {"cn=jdoe,o=acme",
                      {{"objectClass", {"top", "inetOrgPerson"}},
                       {"CN", {"jdoe"}},
                       {"qrtLoginTime", {"20261121141500.0Z"}},
                       {"qrtLoginGraceLimit", {"many", "7"}},
                       {"manager", {"not a name"}},
                       {"numSubordinates", {"3"}},
                       {"unknownToUs", {"x"}}}};
    EntryPtr entry = entries.make(read);
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(entry->isClass("User"));
    EXPECT_EQ(*entry->first("cn"), "jdoe");
    EXPECT_EQ(*entry->first("qrtLoginTime"), "20261121141500.0Z");
    EXPECT_EQ(*entry->first("qrtLoginGraceLimit"), "7");
    EXPECT_EQ(entry->first("manager"), nullptr);
    EXPECT_EQ(entry->subordinates, 3u);
}

// A value that is right for the attribute's syntax.
static const char *value_for(const SchemaAttribute &row) {
    switch (row.syntax) {
        case schema_dn:
            return "cn=x,o=acme";
        case schema_boolean:
            return "TRUE";
        case ZK_SYNTAX_COUNTER:
        case ZK_SYNTAX_INTERVAL:
            return "7";
        case ZK_SYNTAX_TIME:
            return "20261121141500Z";
        case ZK_SYNTAX_PATH:
            return "0#cn=v,o=acme#x";
        case ZK_SYNTAX_NETWORK_ADDRESS:
            return "9#0A";
        default:
            return "text";
    }
}

TEST(LdapEntries, EveryAttributeThatMayHaveAnotherNameIsReadByIt) {
    for (const SchemaAttribute &row : schema_attributes()) {
        const std::string name = row.ldap;
        if (name == "userPassword" || name == "objectClass") continue; // the configuration refuses them
        ConfigLdap config;
        config.attributes[name] = "siteOwnName";
        LdapEntries entries(config, {});
        EXPECT_EQ(entries.schema().attributeOf(row.ldap), "siteOwnName");
        std::vector<std::string> wanted = entries.attributes(true);
        EXPECT_EQ(std::count(wanted.begin(), wanted.end(), "siteOwnName"), name == "uniqueMember" ? 0 : 1) << name;
        EXPECT_EQ(std::count(wanted.begin(), wanted.end(), name), 0) << name;
        EntryPtr entry = entries.make({"cn=x,o=acme", {{"SITEOWNNAME", {value_for(row)}}, {name, {value_for(row)}}}});
        ASSERT_NE(entry->first(name), nullptr) << name;
        EXPECT_EQ(*entry->first(name), value_for(row));
        EXPECT_EQ(entry->values.size(), 1u) << name;
    }
}

namespace {

// An attribute of a directory, a value of it there, and what the client makes of that.
struct Mapping {
    SitePreset preset;
    const char *theirs, *value;
    const char *ours, *expected; // null: nothing
};

const SitePreset posix = SitePreset::rfc2307, bis = SitePreset::rfc2307bis, active = SitePreset::activeDirectory;
const Mapping mappings[] = {
    {posix, "displayName", "Anna", "displayName", "Anna"},
    {posix, "gecos", "Anna Meier,Room 1,,", "displayName", "Anna Meier"},
    {posix, "cn", "Anna", "displayName", "Anna"},
    {bis, "gecos", "Anna", "displayName", "Anna"},
    {posix, "shadowExpire", "20000", "qrtLoginExpirationTime", "20241004000000Z"},
    {posix, "shadowExpire", "-1", "qrtLoginExpirationTime", nullptr},
    {posix, "shadowExpire", "soon", "qrtLoginExpirationTime", nullptr},
    {posix, "passwordExpirationTime", "20260101000000Z", "qrtPasswordExpirationTime", "20260101000000Z"},
    {posix, "nsAccountLock", "true", "qrtLoginDisabled", "TRUE"},
    {posix, "nsAccountLock", "False", "qrtLoginDisabled", "FALSE"},
    {posix, "nsAccountLock", "maybe", "qrtLoginDisabled", nullptr},
    {active, "sAMAccountName", "anna", "uid", "anna"},
    {active, "cn", "Anna Meier", "displayName", "Anna Meier"},
    {active, "streetAddress", "High Street 1", "street", "High Street 1"},
    {active, "department", "Sales", "departmentNumber", "Sales"},
    {active, "employeeID", "7", "employeeNumber", "7"},
    {active, "homeDirectory", "\\\\fs1\\home", "qrtHomeDirectory", "\\\\fs1\\home"},
    {active, "homeDirectory", "D:\\home", "qrtHomeDirectory", nullptr},
    {active, "accountExpires", "133000000000000000", "qrtLoginExpirationTime", "20220618042640Z"},
    {active, "accountExpires", "0", "qrtLoginExpirationTime", nullptr},
    {active, "accountExpires", "9223372036854775807", "qrtLoginExpirationTime", nullptr},
    {active, "accountExpires", "9223372036854775806", "qrtLoginExpirationTime", nullptr},
    {active, "accountExpires", "-1", "qrtLoginExpirationTime", nullptr},
    {active, "lastLogonTimestamp", "133000000000000000", "qrtLastLoginTime", "20220618042640Z"},
    {active, "msDS-UserPasswordExpiryTimeComputed", "133000000000000000", "qrtPasswordExpirationTime",
     "20220618042640Z"},
    {active, "userAccountControl", "514", "qrtLoginDisabled", "TRUE"},
    {active, "userAccountControl", "512", "qrtLoginDisabled", "FALSE"},
    {active, "userAccountControl", "x", "qrtLoginDisabled", nullptr},
    {active, "msDS-User-Account-Control-Computed", "16", "qrtLocked", "TRUE"},
    {active, "msDS-User-Account-Control-Computed", "8388608", "qrtLocked", "FALSE"},
};

} // namespace

TEST(LdapEntries, EachPresetReadsItsOwnAttributes) {
    for (const Mapping &one : mappings) {
        ConfigLdap config;
        config.schema = one.preset;
        const LdapEntries entries(config, {});
        EXPECT_THAT(entries.attributes(true), testing::Contains(one.theirs));
        const EntryPtr entry = entries.make({"cn=x,o=acme", {{one.theirs, {one.value}}}});
        const std::string *value = entry->first(one.ours);
        EXPECT_EQ(value == nullptr ? "nothing" : *value, one.expected == nullptr ? "nothing" : one.expected)
            << one.theirs << " " << one.value;
    }
}

TEST(LdapEntries, OfSeveralSourcesTheFirstThatHasAValueCounts) {
    ConfigLdap config;
    config.schema = SitePreset::rfc2307;
    const LdapEntries entries(config, {});
    const EntryPtr entry =
        entries.make({"cn=x,o=acme", {{"cn", {"x"}}, {"gecos", {"G"}}, {"displayName", {"one", "two"}}}});
    EXPECT_EQ(std::count_if(entry->values.begin(), entry->values.end(),
                            [](const EntryValue &value) { return value.attribute == schema_find_ldap("displayName"); }),
              2);
    EXPECT_EQ(*entry->first("displayName"), "one");
    EXPECT_EQ(*entry->first("cn"), "x");
}

TEST(LdapEntries, AUserOfAccountsHasTheAccountsName) {
    ConfigLdap config;
    config.schema = SitePreset::activeDirectory;
    const LdapEntries entries(config, {});
    const LdapEntry read = {"CN=Anna Meier,OU=Staff,O=acme", {{"objectClass", {"user"}}, {"sAMAccountName", {"anna"}}}};
    const EntryPtr user = entries.make(read);
    EXPECT_EQ(name_to_dotted(user->name, true), "CN=anna.OU=Staff.O=acme");
    EXPECT_EQ(user->dn, read.dn);
    const EntryPtr group = entries.make({"CN=Staff,O=acme", {{"objectClass", {"group"}}, {"sAMAccountName", {"st"}}}});
    EXPECT_EQ(name_to_dotted(group->name, false), "Staff.acme");
    EXPECT_EQ(group->dn, "");
}

TEST(LdapEntries, ClassesMayHaveOtherNames) {
    ConfigLdap config;
    config.classes = {{"inetOrgPerson", "acmePerson"}};
    const EntryPtr entry = LdapEntries(config, {}).make({"cn=x,o=acme", {{"objectClass", {"top", "ACMEPERSON"}}}});
    EXPECT_TRUE(entry->isClass("User"));
    EXPECT_EQ(entry->values.back().text, "inetOrgPerson");
}

TEST(LdapSchema, IsRecognisedByItsClasses) {
    const std::string qrt = "( 1.1 NAME 'qrtUser' SUP top AUXILIARY )";
    const std::string group = "( 1.3.6.1.1.1.2.2 NAME 'posixGroup' SUP top STRUCTURAL MUST ( cn $ gidNumber ) )";
    const std::string addedGroup = "( 1.3.6.1.1.1.2.2 NAME 'posixGroup' SUP top AUXILIARY MUST gidNumber )";
    const auto recognised = [](const std::vector<std::string> &classes) {
        return preset_name(ldap_recognised_schema({"cn=Subschema", {{"objectClasses", classes}}}));
    };
    EXPECT_STREQ(recognised({group, qrt}), "brasca");
    EXPECT_STREQ(recognised({"nonsense", group}), "rfc2307");
    EXPECT_STREQ(recognised({addedGroup}), "rfc2307bis");
    EXPECT_STREQ(recognised({}), "rfc2307");
}

TEST(LdapEntries, OneAttributeOfTheTreeMayBeSeveral) {
    ConfigLdap config;
    config.attributes = {{"qrtLoginScript", "description"}, {"displayName", "commonName"}};
    EntryPtr entry = LdapEntries(config, {}).make({"cn=x,o=acme", {{"cn", {"x"}}, {"description", {"WRITE"}}}});
    for (const char *name : {"cn", "displayName"}) EXPECT_EQ(*entry->first(name), "x") << name;
    for (const char *name : {"description", "qrtLoginScript"}) EXPECT_EQ(*entry->first(name), "WRITE") << name;
}

TEST(LdapEntries, AValueMayHaveTheLengthOfItsAttribute) {
    LdapEntries entries(ConfigLdap(), {});
    for (const auto &[value, taken] : std::vector<std::pair<std::string, bool>>{
             {std::string(64, 'v'), true}, {std::string(65, 'v'), false}, {"", false}}) {
        EntryPtr entry = entries.make({"cn=x", {{"qrtHostResourceName", {value}}}});
        EXPECT_EQ(entry->first("qrtHostResourceName") != nullptr, taken) << value.size();
    }
    EXPECT_NE(entries.make({"cn=x", {{"qrtLoginScript", {""}}}})->first("qrtLoginScript"), nullptr)
        << "an empty script is a script";
    EXPECT_NE(entries.make({"cn=" + std::string(509, 'x'), {}}), nullptr);
    EXPECT_EQ(entries.make({"cn=" + std::string(510, 'x'), {}}), nullptr);
}

TEST(LdapEntries, CountsWhatIsBelowAsFarAsTheServerSays) {
    LdapEntries entries(ConfigLdap(), {});
    const auto below = [&](const std::vector<std::pair<std::string, std::vector<std::string>>> &attributes) {
        return entries.make({"cn=x", attributes})->subordinates;
    };
    EXPECT_EQ(below({}), 0u);
    EXPECT_EQ(below({{"hasSubordinates", {"TRUE"}}}), 1u);
    EXPECT_EQ(below({{"hasSubordinates", {"FALSE"}}}), 0u);
    EXPECT_EQ(below({{"NUMSUBORDINATES", {"7"}}, {"HASSUBORDINATES", {"TRUE"}}}), 7u);
    EXPECT_EQ(below({{"numSubordinates", {}}, {"hasSubordinates", {}}}), 0u);
}

TEST(LdapEntries, TakesTheTimeOfTheLastChange) {
    LdapEntries entries(ConfigLdap(), {});
    EXPECT_EQ(entries.make({"cn=x", {{"modifyTimestamp", {"19700101000007Z"}}}})->modificationTime, 7);
    EXPECT_EQ(entries.make({"cn=x", {}})->modificationTime, 0);
}

TEST(LdapEntries, LeavesOutNamesWithControlCharactersUnlessTheTreeTakesThem) {
    EXPECT_EQ(LdapEntries(ConfigLdap(), {}).make({"cn=a\\1Bb", {}}), nullptr);
    EXPECT_NE(LdapEntries(ConfigLdap(), {}, true).make({"cn=a\\1Bb", {}}), nullptr);
}

TEST(LdapEntries, AsksForMembersOnlyWhereTheyAreWanted) {
    LdapEntries entries(ConfigLdap(), {});
    const std::vector<std::string> with = entries.attributes(true), without = entries.attributes(false);
    EXPECT_EQ(with.size(), schema_attributes().size()) << "two are never asked for, and two count what is below";
    EXPECT_EQ(without.size(), with.size() - 1);
    EXPECT_EQ(std::count(without.begin(), without.end(), "member"), 0);
    for (const char *name : {"numSubordinates", "hasSubordinates", "memberOf", "modifyTimestamp"})
        EXPECT_EQ(std::count(without.begin(), without.end(), name), 1) << name;
}

// What such an entry's values say is what its class says: a copy of it is read by its values.
TEST(LdapEntries, TakesEveryClassOfAnAttributeThatIsGivenTwice) {
    LdapEntries entries(ConfigLdap(), {});
    EntryPtr entry = entries.make({"cn=SRV1", {{"objectClass", {"qrtServer"}}, {"cn", {}}, {"objectClass", {"top"}}}});
    EXPECT_TRUE(entry->isClass("Server"));
}

TEST(LdapEntries, LeavesOutAServerWithoutAName) {
    LdapEntries entries(ConfigLdap(), {});
    EXPECT_EQ(entries.make({"ou=x", {{"objectClass", {"qrtServer"}}}}), nullptr);
    EXPECT_EQ(entries.make({"ou=x", {{"objectClass", {"qrtServer"}}, {"cn", {std::string(49, 's')}}}}), nullptr);
    EXPECT_NE(entries.make({"ou=x", {{"objectClass", {"qrtServer"}}, {"cn", {std::string(48, 's')}}}}), nullptr);
}

TEST(LdapEntries, LeavesOutWhatIsNotBelowTheBase) {
    ConfigLdap config;
    LdapEntries entries(config, {{"dc", "example"}});
    EXPECT_EQ(entries.make({"cn=jdoe,o=acme", {}}), nullptr);
    EXPECT_NE(entries.make({"cn=jdoe,dc=example", {}}), nullptr);
}

TEST(LdapEntries, AsksForNoPasswords) {
    ConfigLdap config;
    std::vector<std::string> wanted = LdapEntries(config, {}).attributes(true);
    for (const char *name : {"userPassword", "uniqueMember"})
        EXPECT_EQ(std::count(wanted.begin(), wanted.end(), name), 0) << name;
    EXPECT_EQ(std::count(wanted.begin(), wanted.end(), "member"), 1);
}

TEST(LdapCertificate, WhatIsNoCertificateIsReportedToo) {
    for (const std::string &text :
         {std::string(), std::string("\x30"), std::string("\x30\x82\xFF\xFF"), std::string(64, '\x30')}) {
        EXPECT_FALSE(certificate_is_good(text, "localhost", "/etc/ssl/certs/ca-certificates.crt"));
        EXPECT_EQ(certificate_fault(text, "localhost", ""), "it cannot be read; expected name: localhost");
    }
}
