// What a typed name may mean, and who logs in by it in a file.
#include "platform/client/core/login_name.h"

#include "platform/client/core/errors.h"
#include "tests/support/client_fixture.h"

static const Name school = {{"o", "school"}};

// "objects|attribute", the attribute behind "!" when it comes first, and an account in braces.
static std::string shown(const std::string &typed, const Name &context = {}, const Name &fallback = {}) {
    try {
        const LoginName name = login_name_parse(typed, context, fallback, {});
        std::string text;
        for (const Name &object : name.objects) text += (text.empty() ? "" : " ") + name_to_dotted(object, true);
        text += (name.attributeFirst ? "|!" : "|") + name.attribute;
        return name.account.empty() ? text : text + "{" + name.domain + " " + name.account + "}";
    } catch (const CodedError &error) {
        return std::to_string(error.code);
    }
}

TEST(LoginNames, AreObjectsOrAttributes) {
    EXPECT_EQ(shown("anna"), "anna|!anna");
    EXPECT_EQ(shown("anna.meier"), "anna.meier|anna.meier");
    EXPECT_EQ(shown("anna\\.meier"), "anna\\.meier|!anna.meier");
    EXPECT_EQ(shown("anna@school.example"), "anna@school.example|!anna@school.example");
    EXPECT_EQ(shown("ADTEST\\anna"), "ADTESTanna|!ADTESTanna{ADTEST anna}");
    EXPECT_EQ(shown(".anna.staff"), "anna.staff|");
    EXPECT_EQ(shown("anna.[Root]"), "anna|");
    EXPECT_EQ(shown("CN=anna.staff"), "CN=anna.staff|");
    EXPECT_EQ(shown(""), std::to_string(ZKE_MALFORMED_NAME));
    EXPECT_EQ(shown("a..b"), std::to_string(ZKE_MALFORMED_NAME));
}

TEST(LoginNames, AreTakenInTheContextBeforeTheDefaultOne) {
    EXPECT_EQ(shown("anna", {}, school), "anna.O=school anna|anna") << "no user is at the root";
    EXPECT_EQ(shown("anna.staff", {}, school), "anna.staff anna.staff.O=school|anna.staff");
    EXPECT_EQ(shown("anna", {{"ou", "it"}}, school), "anna.OU=it|anna") << "which the user has chosen";
    EXPECT_EQ(shown("anna.", {{"ou", "it"}}), "anna|") << "which only a context can mean";
}

TEST(LoginNames, OfADnHaveATypeBehindEachComma) {
    EXPECT_EQ(shown("uid=a.b,ou=staff,o=school"), "UID=a\\.b.OU=staff.O=school|");
    EXPECT_EQ(shown("cn=Meier, Anna.staff"), "CN=Meier, Anna.staff|");
    EXPECT_THROW(login_name_parse("cn=a,o=b", {}, {}, school), CodedError);
}

TEST(LoginNames, OfAnAccountHaveOneBackslashBeforeALetter) {
    for (const char *other : {"\\anna", "AD\\", "AD\\\\anna", "AD TEST\\anna", "AD\\an\\na", "AD\\.anna"})
        EXPECT_EQ(shown(other).find('{'), std::string::npos) << other;
}

namespace {

// Passwords are "secret".
class LoginNamesInAFile : public ClientTest {
  protected:
    void on(const std::string &more, const std::string &entries = "") {
        configure("[[tree]]\nname = \"ACME\"\nldif = \"t.ldif\"\n" + more);
        folder.write("t.ldif", "dn: o=school\nobjectClass: organization\no: school\n\n" + unit("staff") +
                                   unit("pupils") +
                                   person("cn=anna,ou=staff",
                                          "cn: anna\nuid: am\nmail: anna@school.example\nshoeSize: 39\n"
                                          "passwordHint: secret\nmanager: cn=boss,ou=staff,o=school\n") +
                                   person("cn=boss,ou=staff", "cn: boss\n") +
                                   person("cn=boss,ou=pupils", "cn: boss\n") + entries);
    }
    static std::string unit(const std::string &name) {
        return "dn: ou=" + name + ",o=school\nobjectClass: organizationalUnit\nou: " + name + "\n\n";
    }
    static std::string person(const std::string &rdn, const std::string &lines) {
        return "dn: " + rdn + ",o=school\nobjectClass: inetOrgPerson\nsn: X\n" + lines +
               "userPassword: {CRYPT}$y$j75$k2XAnEHBqQ1Ct2aMXFKNa/$Tg4ZRR7tz/WRlmYbADZh9OJYakPewgSPQqW55EXAJ14\n\n";
    }
    static std::string group(const std::string &name, const std::string &member) {
        return "dn: cn=" + name + ",o=school\nobjectClass: groupOfNames\ncn: " + name + "\nmember: " + member +
               ",o=school\n\n";
    }
    // Groups in groups, also in themselves and in each other.
    static std::string circle() {
        return group("crew", "cn=anna,ou=staff") + group("all", "cn=crew") + group("ring", "cn=all") +
               group("other", "cn=boss,ou=staff") +
               "dn: cn=knot,o=school\nobjectClass: groupOfNames\ncn: knot\nmember: cn=knot,o=school\n"
               "member: cn=ring,o=school\nmember: cn=crew,o=school\n\n";
    }
    // Who is logged in after it, or the code.
    std::string as(const char *typed) {
        const uint32_t handle = context();
        const uint32_t code = login(handle, typed, "secret");
        const std::string who = code == ZK_OK ? who_am_i(handle) : std::to_string(code);
        ZKDSLogout(handle);
        return who;
    }
    std::string groups() {
        const uint32_t handle = context();
        EXPECT_EQ(login(handle, "anna", "secret"), ZK_OK);
        std::string all;
        for (const std::string &one : read(handle, "anna.staff.school", "Group Membership")) all += one + " ";
        return all;
    }
};

} // namespace

TEST_F(LoginNamesInAFile, AnyOfTheLoginAttributesNamesAUser) {
    on("");
    for (const char *typed : {"anna", "AM", "anna@school.example", "cn=anna,ou=staff,o=school", "anna.staff.school"})
        EXPECT_EQ(as(typed), "anna.staff.school") << typed;
    EXPECT_EQ(as("boss"), std::to_string(ZKE_AMBIGUOUS_NAME));
    EXPECT_EQ(last_error(),
              "boss is the name of several users; add one of the contexts, for example boss.staff.school: "
              "staff.school, pupils.school");
    EXPECT_EQ(as("boss.pupils.school"), "boss.pupils.school");
    EXPECT_EQ(as("staff"), std::to_string(ZKE_NO_SUCH_ENTRY)) << "no user";
    EXPECT_EQ(as("cn=anna,o=elsewhere"), std::to_string(ZKE_NO_SUCH_ENTRY));
}

TEST_F(LoginNamesInAFile, AnAttributeOfSeveralUsersGivesNoneOfTheirNamesAway) {
    on("", person("cn=kim,ou=staff", "cn: kim\nmail: team@school.example\n") +
               person("cn=lee,ou=pupils", "cn: lee\nmail: team@school.example\n"));
    EXPECT_EQ(as("team@school.example"), std::to_string(ZKE_AMBIGUOUS_NAME));
    EXPECT_EQ(last_error(),
              "team@school.example is the name of several users; add one of the contexts: staff.school, pupils.school");
}

TEST_F(LoginNamesInAFile, TheTreesOwnSettingsCount) {
    on("login_attributes = [\"mail\"]\ndefault_context = \"pupils.school\"\n");
    EXPECT_EQ(as("boss"), "boss.pupils.school");
    EXPECT_EQ(as("anna@school.example"), "anna.staff.school");
    EXPECT_EQ(as("am"), std::to_string(ZKE_NO_SUCH_ENTRY));
}

TEST_F(LoginNamesInAFile, GroupsOfGroupsCount) {
    on("", circle());
    EXPECT_EQ(groups(), "crew.school all.school knot.school ring.school ");
}

TEST_F(LoginNamesInAFile, GroupsOfGroupsCountUnlessTheTreeSaysOtherwise) {
    on("nested_groups = false\n", circle());
    EXPECT_EQ(groups(), "crew.school ");
}

TEST_F(LoginNamesInAFile, GroupsMayBeHandedOutAsOfTheUsersContainer) {
    on("flat_groups = true\n", circle() + person("cn=all,ou=staff", "cn: all\n"));
    EXPECT_EQ(groups(),
              "crew.school all.school knot.school ring.school crew.staff.school knot.staff.school "
              "ring.staff.school ");
}

TEST_F(LoginNamesInAFile, ThirtyTwoLevelsOfGroupsAreTheMost) {
    std::string chain = group("g0", "cn=anna,ou=staff");
    for (int i = 1; i <= 40; i++) chain += group("g" + std::to_string(i), "cn=g" + std::to_string(i - 1));
    on("", chain);
    testing::internal::CaptureStderr();
    const std::string all = groups();
    EXPECT_EQ(std::count(all.begin(), all.end(), ' '), 33);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Tree t.ldif: groups of anna.staff.school are nested more than 32 levels deep: the rest is left out.\n");
}

TEST_F(LoginNamesInAFile, TheUsersOtherAttributesAreThereWhereTheTreeWantsThat) {
    on("all_attributes = true\n");
    const uint32_t handle = context();
    ASSERT_EQ(login(handle, "anna", "secret"), ZK_OK);
    for (const char *name : {"SHOE_SIZE", "shoeSize", "SHOESIZE"})
        EXPECT_THAT(read(handle, "anna.staff.school", name), testing::ElementsAre("39")) << name;
    EXPECT_THAT(read(handle, "anna.staff.school", "passwordHint"), testing::IsEmpty());
    EXPECT_THAT(read(handle, "boss.staff.school", "shoeSize"), testing::IsEmpty());
}

TEST_F(LoginNamesInAFile, TheUsersOtherAttributesAreNotThereOtherwise) {
    on("");
    const uint32_t handle = context();
    ASSERT_EQ(login(handle, "anna", "secret"), ZK_OK);
    EXPECT_THAT(read(handle, "anna.staff.school", "shoeSize"), testing::IsEmpty());
}
