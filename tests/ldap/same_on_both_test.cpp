// One LDIF with whatever is odd and allowed, in the embedded tree and on a real server: all that the client hands out,
// and all that a login writes, is the same.
#include <regex>
#include <sstream>

#include "tests/ldap/ldap_site.h"

namespace {

// The password is "sunflower" where there is one.
const char *const odd_tree = R"(dn: o=acme
objectClass: organization
objectClass: qrtContainer
organizationName: acme
description: Acme Instruments

dn: ou=sales,O=ACME
objectClass: ORGANIZATIONALUNIT
objectClass: qrtContainer
organizationalUnitName: sales
localityName: Berlin
stateOrProvinceName: BE
streetAddress: High Street 1
description: first
description: second
description: First one
description;lang-de: erste
qrtLoginScript: WRITE "in sales"

dn: ou=R\26D\2C  \28east\29,OU=Sales,o=acme
objectClass: organizationalUnit
objectClass: qrtContainer
ou: R&D,  (east)
qrtLoginScript:

dn: cn=x*y \5C\2Bz, ou=r&d\, (EAST) ,ou=sales,o=acme
objectClass: inetOrgPerson
commonName: x*y \+z
surname:	Odd
gn: Otto
mail: otto@acme.example
rfc822Mailbox: odd@acme.example
fax: +1 555 0101$twoDimensional
homeTelephoneNumber: +1 555 0102
mobileTelephoneNumber: +1 555 0103
postalAddress: One$$Three\24\5C$Four
seeAlso: CN = a\,b , O=acme
seeAlso: commonName=\23hash,o=ACME
title:: IHRpdGxlIA==
userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4

dn:: Y249SsO8cmdlbiDDlnosb3U9c2FsZXMsbz1hY21l
objectClass: inetOrgPerson
objectClass: qrtUser
cn:: SsO8cmdlbiDDlno=
cn: Juergen
sn: Oz
userid: joz
displayName:: SsO8cmdlbiDDlno=
qrtLoginTime: 20261121141500.75Z
qrtLastLoginTime: 2026112114+0200
qrtLoginExpirationTime: 99991231235959Z
qrtPasswordExpirationTime: 202611211415Z
qrtLoginGraceLimit: -7
qrtLocked: FALSE
qrtHomeDirectory: 0#cn=VOL\#1,O=Acme#home/j#oz
qrtLoginScript:: V1JJVEUgImbDvHIgSsO8cmdlbiIKCg==
userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4

dn: cn=\23hash,o=acme
objectClass: person
objectClass: qrtUser
cn: #hash
sn: Hash
qrtNetworkAddress: 9#020C0a000001
qrtLoginDisabled: TRUE
userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4

dn: cn=edge\20,o=acme
objectClass: person
cn:: ZWRnZSA=
sn: Edge

dn: cn=tab\09caf\C3\A9,o=acme
objectClass: person
cn:: dGFiCWNhZsOp
sn: Tab

dn: cn=a.b=c,o=acme
objectClass: person
cn: a.b=c
cn: again
sn: Dots

dn: cn=[Root],o=acme
objectClass: person
cn: [Root]
sn: Root

dn: serialNumber=5,o=acme
objectClass: device
cn: five
serialNumber: 5

dn: cn=closed,o=acme
objectClass: inetOrgPerson
objectClass: qrtUser
cn: closed
sn: Closed
qrtLoginExpirationTime: 2020010100+0100
userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4

# Its password is empty.
dn: cn=empty,o=acme
objectClass: person
cn: empty
sn: Empty
userPassword: {CRYPT}$5$rounds=1000$abcdefgh$GkBTClnHKE8dKvOznb7VazxXnS.36rgDH/r3khMCLaB

dn: cn=groups,o=acme
objectClass: groupOfUniqueNames
cn: groups
uniqueMember: CN=X*Y  \5c\2bZ,ou=R&D\, (east),ou=sales,o=acme
uniqueMember:: Y249SsOcUkdFTiDDtlosb3U9c2FsZXMsbz1hY21l
uniqueMember: cn=\23HASH,o=acme#'0101'B

dn: cn=members,ou=SALES,o=acme
objectClass: groupOfNames
cn: Members
cn: members
member:: Y249SsOcUkdFTiDDtlosb3U9c2FsZXMsbz1hY21l
member: commonName=x*y \5C\2Bz, ou=R\26D\, (east), ou=sales, o=acme
owner: cn=nobody,o=acme

dn: cn=twice,o=acme
objectClass: groupOfNames
objectClass: extensibleObject
cn: twice
member: cn=\23hash,o=acme
member: cn=tab\09caf\C3\A9,o=acme
uniqueMember: cn=\23hash,o=acme

dn: cn=oz,o=acme
objectClass: alias
objectClass: extensibleObject
cn: oz
aliasedEntryName:: Y249SsO8cmdlbiDDlnosb3U9c2FsZXMsbz1hY21l

dn: cn=again,o=acme
objectClass: alias
objectClass: extensibleObject
cn: again
aliasedObjectName: cn=oz,o=acme

dn: cn=east,o=acme
objectClass: alias
objectClass: extensibleObject
cn: east
aliasedObjectName: ou=R\26D\, (east),ou=sales,o=acme

dn: cn=lost,o=acme
objectClass: alias
objectClass: extensibleObject
cn: lost
aliasedObjectName: cn=nobody,o=acme

dn: cn=round,o=acme
objectClass: alias
objectClass: extensibleObject
cn: round
aliasedObjectName: cn=about,o=acme

dn: cn=about,o=acme
objectClass: alias
objectClass: extensibleObject
cn: about
aliasedObjectName: cn=round,o=acme

dn: cn=SRV1,o=acme
objectClass: qrtServer
cn: other name
cn: SRV1

dn: cn=VOL#1,o=acme
objectClass: qrtVolume
cn: VOL#1
qrtHostServer: CN=srv1,o=acme
qrtHostResourceName: Vol1
)";

std::vector<std::string> split(const std::string &list) {
    std::vector<std::string> parts;
    std::istringstream stream(list);
    for (std::string part; std::getline(stream, part, '|');) parts.push_back(part);
    return parts;
}

const std::vector<std::string> names = split(
    "[Root]|acme|sales.acme|O=ACME|R&D, (east).sales.acme|r&d,   (EAST).SALES.acme|"
    "x*y \\\\+z.R&D, (east).sales.acme|X*Y \\\\+Z.east.acme|CN=x*y \\\\+z.CN=east.O=acme|"
    "J\xC3\xBCrgen \xC3\x96z.sales.acme|J\xC3\x9CRGEN  \xC3\xB6z.sales.acme|Ju\xCC\x88rgen O\xCC\x88z.sales.acme|"
    "joz.sales.acme|userid=joz.sales.acme|#hash.acme|edge\\ .acme|tab\tcaf\xC3\xA9.acme|tab\tCAF\xC3\x89.acme|"
    "a\\.b\\=c.acme|again.acme|\\[Root].acme|5.acme|serialNumber=5.acme|closed.acme|groups.acme|"
    "members.sales.acme|twice.acme|oz.acme|east.acme|lost.acme|round.acme|SRV1.acme|VOL#1.acme|nobody.acme|"
    "x.nowhere.acme|acme.other|cn=acme");

const std::vector<std::string> attributes = split(
    "CN|OU|O|L|S|SA|UID|Object Class|Surname|Given Name|Full Name|Title|Description|EMail Address|Home Phone|"
    "Mobile|Facsimile Telephone Number|Postal Address|See Also|Owner|Member|Group Membership|Aliased Object Name|"
    "Home Directory|Host Server|Host Resource Name|Network Address|Last Login Time|Login Time|"
    "Login Expiration Time|Password Expiration Time|Login Grace Limit|Login Disabled|Locked By Intruder");

class SameOnBoth : public LdapSite {
  protected:
    // The text in a tree FILE and in a tree SERVER.
    void onBoth(const std::string &ldif) {
        Slapd::Setup setup;
        setup.ldif = ldif;
        setup.suffix = suffix;
        server = std::make_unique<Slapd>(setup);
        folder.write("tree.ldif", ldif);
        configure("[[tree]]\nname = \"FILE\"\nldif = \"tree.ldif\"\n" + base +
                  "[[tree]]\nname = \"SERVER\"\nuris = [\"" + server->uri() + "\"]\nallow_cleartext_loopback = true\n" +
                  base + searchBase);
        environment["ZKCLIENT_CONF"] = folder.path("client.toml");
    }

    // Everything that the client says of a name.
    std::vector<std::string> said(uint32_t handle, const char *object) {
        std::vector<std::string> all;
        char name[ZK_MAX_NAME + 1] = "?";
        ZKDSObjectInfo info = {};
        uint32_t code = ZKDSReadObjectInfo(handle, object, name, &info);
        all.push_back("info " + std::to_string(code) + " " + name + " " + std::to_string(info.flags) + " " +
                      info.baseClass + (info.subordinateCount > 0 ? " container" : ""));
        for (const std::string &text :
             {canonical(handle, object), abbreviated(handle, object), stream(handle, object, "Login Script")}) {
            all.push_back(text);
        }
        all.push_back("script's code " + std::to_string(lastCode));
        for (const std::string &attribute : attributes)
            for (const std::string &value : read(handle, object, attribute.c_str()))
                all.push_back(attribute + ": " + value);
        return all;
    }

    Outcome loginTo(const std::string &tree, const std::string &user, const std::string &password) {
        return loginWith({"--password-fd", "3", "--tree", tree, user}, password + "\n");
    }

    // What is said of the tree FILE, as it should be said of the tree SERVER.
    static std::string replaced(const std::string &text) {
        return std::regex_replace(text, std::regex("FILE"), "SERVER");
    }

    std::unique_ptr<Slapd> server;
    std::string base, searchBase;
    std::string suffix = "o=acme";
};

} // namespace

TEST_F(SameOnBoth, WhateverTheClientHandsOut) {
    onBoth(odd_tree);
    for (uint32_t flags : {session_flags, 0x13u, 0x02u}) {
        uint32_t file = context(flags, "FILE");
        uint32_t onServer = context(flags, "SERVER");
        for (const std::string &name : names)
            EXPECT_EQ(said(onServer, name.c_str()), said(file, name.c_str())) << name << " " << flags;
        for (uint32_t handle : {file, onServer})
            EXPECT_EQ(ClientTest::login(handle, ".cn=empty.o=acme", ""), ZKE_WRONG_PASSWORD);
    }
    // And it is something.
    uint32_t file = context(session_flags, "FILE");
    EXPECT_THAT(said(file, "J\xC3\x9CRGEN  \xC3\xB6z.sales.acme"),
                testing::IsSupersetOf({"info 0 J\xC3\xBCrgen \xC3\x96z.sales.acme 0 User", "UID: joz",
                                       "Group Membership: groups.acme", "Group Membership: members.sales.acme",
                                       "Login Time: 1795270500", "Last Login Time: 1795262400"}));
    EXPECT_THAT(said(file, "x*y \\\\+z.east.acme"),
                testing::IsSupersetOf({"info 0 x*y \\\\+z.R&D,  (east).sales.acme 0 User", "Given Name: Otto",
                                       "EMail Address: odd@acme.example", "Mobile: +1 555 0103", "Title:  title "}));
    EXPECT_THAT(said(file, "#hash.acme"), testing::Contains("Group Membership: twice.acme").Times(1));
}

TEST_F(SameOnBoth, WhateverALoginWrites) {
    std::string lines =
        "IF MEMBER OF \".groups.acme\" THEN WRITE \"in groups\"\n"
        "IF MEMBER OF \".MEMBERS.sales.acme\" THEN WRITE \"in members\"\n"
        "IF MEMBER OF \".twice.acme\" THEN WRITE \"in twice\"\n";
    for (std::string name : attributes) {
        std::replace(name.begin(), name.end(), ' ', '_');
        lines += "WRITE \"%" + name + "\"\n";
    }
    folder.write("acme.qrt", lines);
    const std::string script = "qrtLoginScript:< file://" + folder.path("acme.qrt") + "\n";
    std::string tree = odd_tree;
    for (const std::string before : {"qrtLoginScript: WRITE \"in sales\"\n", "qrtLoginScript:\n"})
        tree.replace(tree.find(before), before.size(), script);
    tree.replace(tree.find("description: Acme"), 0, script);
    onBoth(tree);
    const struct {
        const char *user, *password;
        int status;
        const char *part; // of what is written
    } people[] = {
        {"J\xC3\xBCrgen \xC3\x96z.sales.acme", "sunflower", 0, "in groups\nin members\n"},
        {"J\xC3\x9CRGEN \xC3\xB6Z.SALES.acme", "sunflower", 0, "f\xC3\xBCr J\xC3\xBCrgen\n"},
        {"oz.acme", "sunflower", 0, "in groups\nin members\n"},
        {"again.acme", "sunflower", 0, "\nJ\xC3\xBCrgen \xC3\x96z\n"},
        {"x*y \\\\+z.R&D, (east).sales.acme", "sunflower", 0, "in groups\nin members\n"},
        {"x*y \\\\+z.east.acme", "sunflower", 0, "\nOdd\nOtto\n"},
        {"#hash.acme", "sunflower", 2, ""}, // locked
        {"closed.acme", "sunflower", 2, ""},
        {"closed.acme", "wrong", 2, ""},
        {"oz.acme", "", 2, ""},
        {"edge\\ .acme", "sunflower", 2, ""}, // has no password
        {"lost.acme", "sunflower", 5, ""},
        {"round.acme", "sunflower", 3, ""},
        {"5.acme", "sunflower", 5, ""},
        {"joz.sales.acme", "sunflower", 5, ""},
    };
    for (const auto &person : people) {
        SCOPED_TRACE(person.user);
        Outcome file = loginTo("FILE", person.user, person.password);
        EXPECT_EQ(loginTo("SERVER", person.user, person.password),
                  (Outcome{person.status, replaced(file.out), replaced(file.err)}));
        EXPECT_EQ(file.status, person.status);
        EXPECT_THAT(file.out, testing::HasSubstr(person.part));
    }
}

// The tree's suffix has several parts, as on most servers, and stands above or at the base.
TEST_F(SameOnBoth, ASuffixOfSeveralParts) {
    std::string ldif =
        "dn: dc=acme,dc=example\nobjectClass: organization\nobjectClass: dcObject\nobjectClass: qrtContainer\no: acme\n"
        "dc: acme\nqrtLoginScript: WRITE \"at the top of %CN\"\n\ndn: ou=People,DC=ACME,dc=example\n"
        "objectClass: organizationalUnit\nou: people\n\ndn: cn=kim,ou=people,dc=acme,dc=example\n"
        "objectClass: inetOrgPerson\ncn: kim\nsn: Park\n"
        "userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4\n";
    suffix = "dc=acme,dc=example";
    const struct {
        const char *base, *user, *script, *warning;
    } cases[] = {
        {"", "kim.people.acme.example", "at the top of kim\n", ""},
        {"dc=example", "kim.people.acme", "at the top of kim\n", ""},
        {"dc=acme,dc=example", "kim.people", "", "Tree SERVER: the login script of dc=acme,dc=example is not run"},
        {"ou=people,dc=acme,dc=example", "kim", nullptr, nullptr}, // what is above the base is not the tree's
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.base);
        base = *one.base == '\0' ? "" : std::string("base = \"") + one.base + "\"\n";
        searchBase = one.base == std::string("dc=example") ? "search_base = \"" + suffix + "\"\n" : "";
        onBoth(ldif);
        Outcome onServer = loginTo("SERVER", one.user, "sunflower");
        EXPECT_EQ(onServer.status, 0);
        if (one.script == nullptr) continue;
        Outcome file = loginTo("FILE", one.user, "sunflower");
        EXPECT_EQ(file.status, 0);
        EXPECT_EQ(onServer.out, replaced(file.out));
        EXPECT_EQ(onServer.err, replaced(file.err));
        EXPECT_THAT(file.out, testing::HasSubstr(one.script));
        EXPECT_EQ(file.out.find("at the top") == file.out.npos, *one.script == '\0');
        EXPECT_THAT(onServer.err, testing::HasSubstr(one.warning));
        EXPECT_EQ(onServer.err.empty(), *one.warning == '\0') << onServer.err;
    }
}

// Scripts know the user and the containers by names without types.
TEST_F(SameOnBoth, AUserWhomANameWithoutTypesDoesNotIdentify) {
    const std::string password =
        "userPassword: {CRYPT}$y$j9T$kVnXu3bZ9q2mT1aL8cRw0.$EfsU6c3Z9X.krxJs9kRwoN.oJ3pL5E6lfUMlTLbWpV4\n";
    folder.write("it.qrt",
                 "WRITE \"in it for %FULL_NAME\"\nIF MEMBER OF \".staff.acme\" THEN WRITE \"staff\"\n"
                 "IF MEMBER OF \".others.acme\" THEN WRITE \"others\"\n");
    const std::string script = "qrtLoginScript:< file://" + folder.path("it.qrt") + "\n";
    onBoth(
        "dn: o=acme\nobjectClass: organization\no: acme\n\n"
        "dn: l=it,o=acme\nobjectClass: locality\nobjectClass: extensibleObject\nl: it\n"
        "qrtLoginScript: WRITE \"in another it\"\n\n"
        "dn: ou=it,o=acme\nobjectClass: organizationalUnit\nobjectClass: qrtContainer\nou: it\n" +
        script +
        "\ndn: mail=eva@acme.example,ou=it,o=acme\nobjectClass: inetOrgPerson\nmail: eva@acme.example\ncn: Eva\n"
        "sn: Berg\ndisplayName: Eva Berg\n" +
        password +
        "\ndn: cn=max,ou=it,o=acme\nobjectClass: inetOrgPerson\ncn: max\nsn: One\ndisplayName: Max One\n\n"
        "dn: uid=max,ou=it,o=acme\nobjectClass: inetOrgPerson\nuid: max\ncn: Max\nsn: Two\ndisplayName: Max Two\n" +
        password +
        "\ndn: cn=staff,o=acme\nobjectClass: groupOfNames\ncn: staff\nmember: mail=eva@acme.example,ou=it,o=acme\n"
        "member: uid=max,ou=it,o=acme\n\n"
        "dn: cn=others,o=acme\nobjectClass: groupOfNames\ncn: others\nmember: cn=max,ou=it,o=acme\n");
    for (const std::string tree : {"FILE", "SERVER"}) {
        SCOPED_TRACE(tree);
        EXPECT_THAT(loginTo(tree, "mail=eva@acme\\.example.OU=it.acme", "sunflower").out,
                    testing::HasSubstr("\nin it for Eva Berg\nstaff\n"));
        const Outcome max = loginTo(tree, "UID=max.OU=it.O=acme", "sunflower");
        EXPECT_THAT(max.out, testing::HasSubstr("\nin it for Max Two\nstaff\n"));
        EXPECT_EQ(max.out.find("others"), std::string::npos);
    }
}
