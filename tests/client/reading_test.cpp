#include "platform/client/core/schema.h"
#include "tests/support/client_fixture.h"

namespace {

using Texts = std::vector<std::string>;

class Reading : public ClientTest {
  protected:
    Reading() {
        EXPECT_EQ(ZK_OK, ZKDSAllocBuf(4096, &request));
        EXPECT_EQ(ZK_OK, ZKDSAllocBuf(4096, &reply));
    }
    ~Reading() override {
        ZKDSFreeBuf(request);
        ZKDSFreeBuf(reply);
    }

    // Reads the attributes into `reply`, from the start.
    uint32_t ask(uint32_t handle, const char *object, const Texts &attributes, uint32_t infoType = 1,
                 uint32_t all = 0) {
        EXPECT_EQ(ZK_OK, ZKDSInitBuf(handle, ZK_OPERATION_READ, request));
        for (const std::string &attribute : attributes)
            EXPECT_EQ(ZK_OK, ZKDSPutAttrName(handle, request, attribute.c_str()));
        iteration = ZK_NO_MORE_ITERATIONS;
        return ZKDSRead(handle, object, infoType, all, request, &iteration, reply);
    }

    uint32_t ask_schema(uint32_t handle, const char *attribute) {
        EXPECT_EQ(ZK_OK, ZKDSInitBuf(handle, ZK_OPERATION_READ, request));
        EXPECT_EQ(ZK_OK, ZKDSPutAttrName(handle, request, attribute));
        iteration = ZK_NO_MORE_ITERATIONS;
        return ZKDSReadAttrDef(handle, ZK_INFO_NAMES, 0, request, &iteration, reply);
    }

    // "name/syntax/values" of the next attribute of the reply.
    std::string next_attribute() {
        char name[ZK_MAX_ATTR_NAME + 1] = "?";
        uint32_t values = 0, syntax = 0;
        lastCode = ZKDSGetAttrName(0, reply, name, &values, &syntax);
        return lastCode != ZK_OK ? "none" : name + ("/" + std::to_string(syntax) + "/" + std::to_string(values));
    }

    // A tree of one group with so many members, all of the length of a name.
    void configure_group(int members) {
        std::string ldif =
            "dn: o=acme\nobjectClass: organization\no: acme\n\n"
            "dn: cn=all,o=acme\nobjectClass: groupOfNames\ncn: all\n";
        for (int i = 0; i < members; i++) ldif += "member: cn=user" + std::to_string(100000 + i) + ",o=acme\n";
        folder.write("acme.ldif", ldif);
        configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n");
    }

    ZKDSBuffer *request = nullptr;
    ZKDSBuffer *reply = nullptr;
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
};

constexpr const char *jdoe = "jdoe.sales.acme";

TEST_F(Reading, ValuesOfEverySyntax) {
    struct {
        const char *attribute;
        Texts values;
    } cases[] = {
        {"Surname", {"Doe"}},
        {"FULL_NAME",
         {"John D\xC3\xB6"
          "e"}},
        {"CN", {"jdoe", "John Doe"}},
        {"LANGUAGE", {"ENGLISH"}},
        {"Title", {"Account manager"}},
        {"Telephone_Number", {"+1 555 0100"}},
        {"Facsimile Telephone Number", {"+1 555 0199"}},
        {"Postal Address", {"[1 Main Street][Suite $5\\6][][Springfield]--"}},
        {"Manager", {"admin"}},
        {"Profile", {"staff.acme"}},
        {"HOME_DIRECTORY", {"0|SRV1_USERS.acme|home/jdoe"}},
        {"Network Address", {"8#00500a010203", "1#ff00"}},
        {"Last_Login_Time", {"1767323045"}},
        {"PASSWORD_EXPIRATION_TIME", {"2147483647"}},
        {"Password Expiration Interval", {"172800"}},
        {"Login Grace Limit", {"6"}},
        {"Login Disabled", {"FALSE"}},
        {"Object Class", {"User", "qrtUser"}},
        {"Login Script", {"WRITE \"hello\""}},
        {"Group_Membership", {"Admins.sales.acme", "Everyone.acme"}},
    };
    uint32_t handle = context();
    for (auto &c : cases) {
        EXPECT_EQ(c.values, read(handle, jdoe, c.attribute)) << c.attribute;
        EXPECT_EQ(ZK_OK, lastCode) << c.attribute;
    }
}

TEST_F(Reading, NamesAreHandedOutInTheFormOfTheFlags) {
    EXPECT_EQ(Texts{"CN=staff.O=acme"}, read(context(0x13), jdoe, "Profile"));
    EXPECT_EQ(Texts{"0|CN=SRV1_USERS.O=acme|home/jdoe"}, read(context(0x13), jdoe, "Home Directory"));
    EXPECT_EQ(Texts{"staff."}, read(context_at("sales.acme", 0x05), "jdoe", "Profile"));
    EXPECT_EQ((Texts{"Admins", "Everyone."}), read(context_at("sales.acme", 0x05), "jdoe", "Group Membership"));
}

TEST_F(Reading, ObjectsOfTheOtherClasses) {
    uint32_t handle = context();
    EXPECT_EQ(Texts{"SRV1.acme"}, read(handle, "SRV1_USERS.acme", "Host_Server"));
    EXPECT_EQ(Texts{"Users"}, read(handle, "SRV1_USERS.acme", "Host_Resource_Name"));
    EXPECT_EQ(Texts{"0|SRV1_SYS.acme|apps"}, read(handle, "APPMAP.acme", "Path"));
    EXPECT_EQ((Texts{"jdoe.sales.acme", "gone.sales.acme"}), read(handle, "Admins.sales.acme", "Member"));
    EXPECT_EQ(Texts{"John"}, read(handle, "john.acme", "Given Name")) << "through an alias";
    EXPECT_EQ(Texts{"John"}, read(handle, "jdoe.trade.acme", "Given Name")) << "below an alias";
    EXPECT_EQ(Texts{"escaped"}, read(handle, "a\\.b,c.acme", "Description"));
    EXPECT_EQ(Texts{"Included"}, read(handle, "included.acme", "Surname"));
    EXPECT_EQ(Texts{"Kim"}, read(context(session_flags, "BRANCH_TREE"), "kim.shop", "CN"));
}

TEST_F(Reading, AReplySpellsTheNameAsTheSchemaDoes) {
    ASSERT_EQ(ZK_OK, ask(context(), jdoe, {"home_directory"}));
    EXPECT_EQ("Home Directory/15/1", next_attribute());
    EXPECT_EQ("none", next_attribute());
    EXPECT_EQ(ZKE_NO_MORE_ENTRIES, lastCode);
}

TEST_F(Reading, WhatTheEntryLacksIsNoSuchAttributeAndTheSchemaKnowsTheRest) {
    uint32_t handle = context();
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ask(handle, "admin", {"Title"}));
    EXPECT_EQ(ZK_OK, ask_schema(handle, "Title"));
    EXPECT_EQ("Title/3/0", next_attribute());
    EXPECT_EQ(ZK_NO_MORE_ITERATIONS, iteration);
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ask(handle, jdoe, {"Favourite Drink"}));
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ask_schema(handle, "Favourite Drink"));
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ask(handle, jdoe, {"userPassword"}));
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ask(handle, "admin.[Root]", {"Home Directory", "Title"}));
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ask(handle, "empty.sales.acme", {"Group Membership"}));
}

TEST_F(Reading, ObjectsThatAreNotThere) {
    uint32_t handle = context();
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ask(handle, "nobody.acme", {"CN"}));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ask(handle, "OU=jdoe.sales.acme", {"CN"}));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ask(handle, "dangling.acme", {"CN"}));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ask(handle, "x.jdoe.sales.acme", {"CN"}));
    EXPECT_EQ(ZKE_MALFORMED_NAME, ask(handle, "a..b", {"CN"}));
    EXPECT_EQ(ZKE_BAD_DIRECTORY_DATA, ask(handle, "loop1.acme", {"CN"}));
    EXPECT_EQ("too many levels of aliases: loop1.acme", last_error());
}

TEST_F(Reading, AnAliasIsReadItselfWithoutTheFlag) {
    EXPECT_EQ(Texts{"jdoe.sales.acme"},
              read(context(DCV_TYPELESS_NAMES | DCV_CANONICALIZE_NAMES), "john.acme", "Aliased Object Name"));
    EXPECT_EQ("Alias", base_class(context(DCV_CANONICALIZE_NAMES), "john.acme"));
    EXPECT_EQ("User", base_class(context(), "john.acme"));
}

TEST_F(Reading, NamesAloneComeWithoutValues) {
    ASSERT_EQ(ZK_OK, ask(context(), jdoe, {"CN", "Title"}, ZK_INFO_NAMES));
    EXPECT_EQ("CN/3/0", next_attribute());
    EXPECT_EQ("Title/3/0", next_attribute());
}

TEST_F(Reading, AllAttributesAreHandedOutInTheSchemasOrder) {
    ASSERT_EQ(ZK_OK, ask(context(), "empty.sales.acme", {}, 1, 1));
    uint32_t count = 0;
    EXPECT_EQ(ZK_OK, ZKDSGetAttrCount(0, reply, &count));
    EXPECT_EQ(4u, count);
    EXPECT_EQ("CN/3/1", next_attribute());
    EXPECT_EQ("Object Class/3/1", next_attribute());
    EXPECT_EQ("Surname/3/1", next_attribute());
    EXPECT_EQ("Login Script/21/1", next_attribute());
}

TEST_F(Reading, ValuesThatDoNotFitComeInFurtherReplies) {
    configure_group(1000);
    uint32_t handle = context();
    Texts members = read(handle, "all.acme", "Member");
    ASSERT_EQ(1000u, members.size());
    for (int i = 0; i < 1000; i++)
        EXPECT_EQ("user" + std::to_string(100000 + i) + ".acme", members[static_cast<size_t>(i)]);
    ASSERT_EQ(ZK_OK, ask(handle, "all.acme", {"CN", "Member"}));
    EXPECT_NE(ZK_NO_MORE_ITERATIONS, iteration);
    EXPECT_EQ("CN/3/1", next_attribute());
    EXPECT_EQ("Member/1/", next_attribute().substr(0, 9));
    ASSERT_EQ(ZK_OK, ZKDSRead(handle, "all.acme", 1, 0, request, &iteration, reply));
    EXPECT_EQ("Member/1/", next_attribute().substr(0, 9)) << "what came before does not come again";
    EXPECT_EQ("none", next_attribute());
    iteration = 5000;
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSRead(handle, "all.acme", 1, 0, request, &iteration, reply));
    iteration = -2;
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSRead(handle, "all.acme", 1, 0, request, &iteration, reply));
}

// What further replies are taken from is kept, but for that one read.
TEST_F(Reading, AReadThatGoesOnAsAnotherIsAnsweredAsThatOne) {
    configure_group(1000);
    const uint32_t typeless = context(), typed = context(DCV_CANONICALIZE_NAMES);
    const auto goesOn = [this](uint32_t handle, const char *object, uint32_t infoType) {
        int32_t from = iteration;
        lastCode = ZKDSRead(handle, object, infoType, 0, request, &from, reply);
        return lastCode == ZK_OK ? next_attribute() : std::to_string(lastCode);
    };
    const auto firstValue = [this](uint32_t handle) {
        char value[ZK_MAX_NAME + 1] = "";
        EXPECT_EQ(ZK_OK, ZKDSGetAttrVal(handle, reply, schema_dn, value));
        return std::string(value);
    };
    ASSERT_EQ(ZK_OK, ask(typeless, "all.acme", {"Member"}));
    goesOn(typeless, "all.acme", 1);
    const std::string next = firstValue(typeless);
    goesOn(typed, "all.acme", 1);
    EXPECT_EQ(firstValue(typed), "CN=" + next.substr(0, next.find('.')) + ".O=acme");
    EXPECT_EQ(goesOn(typeless, "acme", 1), std::to_string(ZKE_NO_SUCH_ATTRIBUTE));
    EXPECT_EQ(goesOn(typeless, "all.acme", ZK_INFO_NAMES), std::to_string(ZKE_BAD_PARAMETER)) << "one part, not many";
    EXPECT_EQ(ZK_OK, ZKDSInitBuf(typeless, ZK_OPERATION_READ, request));
    EXPECT_EQ(ZK_OK, ZKDSPutAttrName(typeless, request, "CN"));
    EXPECT_EQ(goesOn(typeless, "all.acme", 1), std::to_string(ZKE_BAD_PARAMETER)) << "one value, not many";
}

TEST_F(Reading, AValueThatFitsIntoNoReplyIsReported) {
    ZKDSBuffer *small = nullptr;
    ASSERT_EQ(ZK_OK, ZKDSAllocBuf(30, &small));
    ASSERT_EQ(ZK_OK, ask(context(), jdoe, {"Title"}));
    iteration = ZK_NO_MORE_ITERATIONS;
    EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, ZKDSRead(context(), jdoe, 1, 0, request, &iteration, small));
    uint32_t count = 9;
    EXPECT_EQ(ZK_OK, ZKDSGetAttrCount(0, small, &count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(ZK_OK, ZKDSFreeBuf(small));
}

TEST_F(Reading, TheNextAttributeComesAlsoWhenValuesWereLeft) {
    ASSERT_EQ(ZK_OK, ask(context(), jdoe, {"CN", "Title"}));
    EXPECT_EQ("CN/3/2", next_attribute());
    char text[64];
    EXPECT_EQ(ZK_OK, ZKDSGetAttrVal(0, reply, 3, text));
    EXPECT_STREQ("jdoe", text);
    EXPECT_EQ("Title/3/1", next_attribute());
    EXPECT_EQ(ZK_OK, ZKDSGetAttrVal(0, reply, 3, text));
    EXPECT_STREQ("Account manager", text);
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSGetAttrVal(0, reply, 3, text)) << "no further value";
}

// What a pointer points to lies behind the structure; a text takes its terminator along.
TEST_F(Reading, AValueTakesExactlyTheSizeThatIsReturned) {
    const struct {
        const char *attribute;
        uint32_t syntax;
        size_t size; // of the first value
    } cases[] = {
        {"Title", 3, sizeof "Account manager"},
        {"Telephone Number", 10, sizeof "+1 555 0100"},
        {"Facsimile Telephone Number", 11, sizeof(ZKNumericText) + sizeof "+1 555 0199"},
        {"Postal Address", 18,
         sizeof(ZKPostalAddress) + sizeof "1 Main Street" + sizeof "Suite $5\\6" + sizeof "" + sizeof "Springfield"},
        {"Manager", 1, sizeof "admin"},
        {"Home Directory", 15, sizeof(ZKPath) + sizeof "SRV1_USERS.acme" + sizeof "home/jdoe"},
        {"Network Address", 12, sizeof(ZKNetworkAddress) + 6},
        {"Last Login Time", 24, 4},
        {"Password Expiration Interval", 27, 4},
        {"Login Grace Limit", 22, 4},
        {"Login Disabled", 7, sizeof "FALSE"},
    };
    uint32_t handle = context();
    for (const auto &one : cases) {
        ASSERT_EQ(ZK_OK, ask(handle, jdoe, {one.attribute}));
        next_attribute();
        uint32_t size = 0;
        EXPECT_EQ(ZK_OK, ZKDSComputeAttrValSize(handle, reply, one.syntax, &size)) << one.attribute;
        EXPECT_EQ(one.size, size) << one.attribute;
    }
}

TEST_F(Reading, WrongCallsOfTheBuffersAreRefused) {
    uint32_t handle = context(), number = 0;
    char text[64];
    ASSERT_EQ(ZK_OK, ask(handle, jdoe, {"Title"}));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSComputeAttrValSize(handle, reply, 3, &number)) << "before the attribute's name";
    next_attribute();
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSComputeAttrValSize(handle, reply, 15, &number)) << "another syntax";
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSGetAttrVal(handle, reply, 15, text));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSAllocBuf(0, &request));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSInitBuf(handle, 7, request));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSRead(handle, jdoe, 2, 0, request, &iteration, reply));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSReadAttrDef(4711, 0, 0, request, &iteration, reply));
}

TEST_F(Reading, ABufferThatWasFreedIsStale) {
    ZKDSBuffer *buffer = nullptr;
    ASSERT_EQ(ZK_OK, ZKDSAllocBuf(100, &buffer));
    ASSERT_EQ(ZK_OK, ZKDSFreeBuf(buffer));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSFreeBuf(buffer));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSInitBuf(0, ZK_OPERATION_READ, buffer));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSInitBuf(0, 7, buffer));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSPutAttrName(0, buffer, "CN"));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSRead(context(), jdoe, 1, 0, buffer, &iteration, reply));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSRead(context(), jdoe, 1, 1, nullptr, &iteration, buffer));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSRead(context(), nullptr, 1, 0, buffer, &iteration, reply));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSReadAttrDef(context(), 1, 1, nullptr, &iteration, buffer));
    uint32_t number = 0, syntax = 3;
    char text[64];
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSGetAttrCount(0, buffer, &number));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSGetAttrName(0, buffer, text, &number, &syntax));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSComputeAttrValSize(0, buffer, syntax, &number));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKDSGetAttrVal(0, buffer, syntax, text));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSFreeBuf(nullptr));
}

TEST_F(Reading, TheRequestIsBoundedToo) {
    ZKDSBuffer *small = nullptr;
    ASSERT_EQ(ZK_OK, ZKDSAllocBuf(10, &small));
    EXPECT_EQ(ZKE_BAD_PARAMETER, ZKDSPutAttrName(0, small, "CN")) << "not initialised";
    ASSERT_EQ(ZK_OK, ZKDSInitBuf(0, ZK_OPERATION_READ, small));
    EXPECT_EQ(ZK_OK, ZKDSPutAttrName(0, small, "Title"));
    EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, ZKDSPutAttrName(0, small, "name")) << "4 bytes are left, its end needs a fifth";
    EXPECT_EQ(ZK_OK, ZKDSPutAttrName(0, small, "Nam"));
    ASSERT_EQ(ZK_OK, ZKDSInitBuf(0, ZK_OPERATION_READ, small));
    EXPECT_EQ(ZKE_BUFFER_TOO_SMALL, ZKDSPutAttrName(0, small, "0123456789"));
    EXPECT_EQ(ZK_OK, ZKDSPutAttrName(0, small, "012345678")) << "a new request has all the room";
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ZKDSPutAttrName(0, small, std::string(33, 'x').c_str()));
    EXPECT_EQ(ZK_OK, ZKDSFreeBuf(small));
}

TEST_F(Reading, ObjectInformation) {
    char name[ZK_MAX_NAME + 1];
    ZKDSObjectInfo info = {};
    uint32_t handle = context();
    ASSERT_EQ(ZK_OK, ZKDSReadObjectInfo(handle, "JOHN.acme", name, &info));
    EXPECT_STREQ("jdoe.sales.acme", name);
    EXPECT_STREQ("User", info.baseClass);
    EXPECT_EQ(1767323046, info.modificationTime);
    EXPECT_EQ(0u, info.subordinateCount);
    ASSERT_EQ(ZK_OK, ZKDSReadObjectInfo(handle, ".sales.acme", name, nullptr));
    EXPECT_STREQ("sales.acme", name);
    ASSERT_EQ(ZK_OK, ZKDSReadObjectInfo(handle, "[Root]", name, &info));
    EXPECT_STREQ("[Root]", name);
    EXPECT_STREQ("Root", info.baseClass);
    EXPECT_EQ("Organizational Unit", base_class(handle, "research AND  development.acme"));
    EXPECT_EQ("Volume", base_class(handle, "SRV1_SYS.acme"));
    EXPECT_EQ("Directory Map", base_class(handle, "APPMAP.acme"));
    EXPECT_EQ("Domain", base_class(context(session_flags, "BRANCH_TREE"), "[Root]"));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, ZKDSReadObjectInfo(handle, "nobody", name, &info));
}

TEST_F(Reading, AnAttributesNameMayHave32Bytes) {
    ASSERT_EQ(ZK_OK, ZKDSInitBuf(0, ZK_OPERATION_READ, request));
    EXPECT_EQ(ZK_OK, ZKDSPutAttrName(0, request, std::string(32, 'x').c_str()));
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, ZKDSPutAttrName(0, request, std::string(33, 'x').c_str()));
}

TEST_F(Reading, AReplyThatBecomesARequestIsEmptied) {
    ASSERT_EQ(ZK_OK, ask(context(), jdoe, {"CN"}));
    ASSERT_EQ(ZK_OK, ZKDSInitBuf(0, ZK_OPERATION_READ, reply));
    uint32_t count = 9;
    EXPECT_EQ(ZK_OK, ZKDSGetAttrCount(0, reply, &count));
    EXPECT_EQ(0u, count);
}

TEST_F(Reading, AnObjectShowsWhetherItIsAnAliasOrAContainer) {
    const struct {
        const char *object;
        uint32_t flags;
    } cases[] = {{"jdoe.sales.acme", 0}, {"sales.acme", 4}, {"acme", 4},  {"john.acme", 1},
                 {"trade.acme", 1},      {"SRV1.acme", 0},  {"[Root]", 4}};
    const uint32_t handle = context(DCV_CANONICALIZE_NAMES);
    for (const auto &one : cases) {
        char name[ZK_MAX_NAME + 1];
        ZKDSObjectInfo info = {};
        ASSERT_EQ(ZK_OK, ZKDSReadObjectInfo(handle, one.object, name, &info)) << one.object;
        EXPECT_EQ(one.flags, info.flags) << one.object;
    }
}

TEST_F(Reading, AGroupThatTheEntryListsItselfComesOnce) {
    folder.write("acme.ldif",
                 "dn: o=acme\nobjectClass: organization\no: acme\n\n"
                 "dn: cn=j,o=acme\nobjectClass: person\ncn: j\nmemberOf: cn=both,o=acme\nmemberOf: cn=listed,o=acme\n\n"
                 "dn: cn=both,o=acme\nobjectClass: groupOfNames\ncn: both\nmember: cn=j,o=acme\n\n"
                 "dn: cn=other,o=acme\nobjectClass: groupOfNames\ncn: other\nmember: cn=j,o=acme\n");
    configure("[[tree]]\nname = \"ACME\"\nldif = \"acme.ldif\"\n");
    EXPECT_EQ((Texts{"both.acme", "listed.acme", "other.acme"}), read(context(), "j.acme", "Group Membership"));
}

TEST_F(Reading, SubordinatesAreCounted) {
    configure_group(1);
    char name[ZK_MAX_NAME + 1];
    ZKDSObjectInfo info = {};
    ASSERT_EQ(ZK_OK, ZKDSReadObjectInfo(context(), "acme", name, &info));
    EXPECT_EQ(1u, info.subordinateCount);
}

TEST_F(Reading, Streams) {
    uint32_t handle = context();
    EXPECT_EQ("WRITE \"acme\"\n", stream(handle, "acme", "Login Script")) << "from a file beside the tree's";
    EXPECT_EQ("WRITE \"profile\"\n", stream(handle, "staff.acme", "login_script"));
    EXPECT_EQ("WRITE \"hello\"", stream(handle, "john.acme", "Login Script"));
    EXPECT_EQ("", stream(handle, "empty.sales.acme", "Login Script"));
    EXPECT_EQ(ZK_OK, lastCode) << "an empty script is a script";
    EXPECT_EQ("", stream(handle, "sales.acme", "Login Script"));
    EXPECT_EQ(ZKE_NO_SUCH_VALUE, lastCode);
    EXPECT_EQ("", stream(handle, "nobody.acme", "Login Script"));
    EXPECT_EQ(ZKE_NO_SUCH_ENTRY, lastCode);
    EXPECT_EQ("", stream(handle, "acme", "No Such Thing"));
    EXPECT_EQ(ZKE_NO_SUCH_ATTRIBUTE, lastCode);
    EXPECT_EQ("", stream(handle, "acme", "O"));
    EXPECT_EQ(ZKE_BAD_PARAMETER, lastCode) << "no stream";
}

TEST_F(Reading, AStreamKeepsWhichConnectionServedIt) {
    uint32_t handle = context(), connection = 0;
    EXPECT_NE("", stream(handle, "acme", "Login Script"));
    ASSERT_EQ(ZK_OK, ZKDSGetContext(handle, DCK_LAST_CONNECTION, &connection));
    EXPECT_EQ("SRV1", text_info(connection, ZK_INFO_SERVER_NAME));
}

TEST_F(Reading, StreamsAreReadBesideEachOther) {
    uint32_t first = 0, second = 0, got = 0;
    char data[6] = "";
    ASSERT_EQ(ZK_OK, ZKDSOpenStream(context(), jdoe, "Login Script", 0, &first));
    ASSERT_EQ(ZK_OK, ZKDSOpenStream(context(), "staff.acme", "Login Script", 0, &second));
    EXPECT_NE(first, second);
    EXPECT_EQ(ZK_OK, ZKReadFile(first, 5, &got, data));
    EXPECT_EQ(ZK_OK, ZKReadFile(second, 5, &got, data));
    EXPECT_STREQ("WRITE", data);
    EXPECT_EQ(ZK_OK, ZKCloseFile(first));
    EXPECT_EQ(ZK_OK, ZKReadFile(second, 5, &got, data));
    EXPECT_STREQ(" \"pro", data);
    EXPECT_EQ(ZK_OK, ZKCloseFile(second));
}

TEST_F(Reading, AStreamThatIsExactlyReadEndsWithNothing) {
    uint32_t file = 0, got = 99;
    char data[64];
    ASSERT_EQ(ZK_OK, ZKDSOpenStream(context(), jdoe, "Login Script", 0, &file));
    EXPECT_EQ(ZK_OK, ZKReadFile(file, 13, &got, data));
    EXPECT_EQ(13u, got);
    EXPECT_EQ(ZK_OK, ZKReadFile(file, 13, &got, data));
    EXPECT_EQ(0u, got);
    EXPECT_EQ(ZK_OK, ZKCloseFile(file));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKCloseFile(file));
    EXPECT_EQ(ZKE_BAD_HANDLE, ZKReadFile(file, 13, &got, data));
}

} // namespace
