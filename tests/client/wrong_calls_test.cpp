// Calls that leave a pointer out, and calls with a handle that is none: each is refused with its code, one at a time,
// with everything else right.

#include "tests/support/client_fixture.h"

namespace {

constexpr const char *jdoe = "jdoe.sales.acme";
constexpr uint32_t nothing = 4711;
constexpr uint32_t user_type = 256;
constexpr uint32_t by_name = ZK_OPEN_BY_NAME;

class WrongCalls : public ClientTest {
  protected:
    WrongCalls() : handle(context()), connection(open_server("SRV1")) {
        setenv("HOME", folder.path().c_str(), 1); // whoever runs the tests may have drives
        EXPECT_EQ(ZK_OK, ZKDSAllocBuf(4096, &request));
        EXPECT_EQ(ZK_OK, ZKDSAllocBuf(4096, &reply));
        EXPECT_EQ(ZK_OK, ZKDSInitBuf(handle, ZK_OPERATION_READ, request));
        EXPECT_EQ(ZK_OK, ZKDSPutAttrName(handle, request, "Title"));
        EXPECT_EQ(ZK_OK, ZKDSOpenStream(handle, jdoe, "Login Script", 0, &file));
        EXPECT_EQ(ZK_OK, ZKDSRead(handle, jdoe, 1, 0, request, &iteration, reply));
    }
    ~WrongCalls() override {
        ZKDSFreeBuf(request);
        ZKDSFreeBuf(reply);
        ZKCloseFile(file);
    }

    struct Answer {
        const char *call;
        uint32_t code;
    };
    // Calls in the order of the table; none of them may do its work.
    static void expect_all(uint32_t code, const std::vector<Answer> &answers) {
        for (const Answer &answer : answers) EXPECT_EQ(code, answer.code) << answer.call;
    }

    uint32_t handle, connection, file = 0, number = 0, syntax = 0, cursor = 0;
    int32_t iteration = ZK_NO_MORE_ITERATIONS;
    ZKDSBuffer *request = nullptr, *reply = nullptr;
    ZKDSObjectInfo info = {};
    char text[ZK_MAX_NAME + 1] = "untouched";
};

} // namespace

TEST_F(WrongCalls, OfContextsAndNamesWithoutAPointerAreRefused) {
    expect_all(ZKE_BAD_PARAMETER, {{"CreateContextHandle", ZKDSCreateContextHandle(nullptr)},
                                   {"SetContext", ZKDSSetContext(handle, DCK_NAME_CONTEXT, nullptr)},
                                   {"SetContext flags", ZKDSSetContext(handle, DCK_FLAGS, nullptr)},
                                   {"GetContext", ZKDSGetContext(handle, DCK_NAME_CONTEXT, nullptr)},
                                   {"WhoAmI", ZKDSWhoAmI(handle, nullptr)},
                                   {"LoginEx object", ZKDSLoginEx(handle, nullptr, 2, "secret")},
                                   {"LoginEx password", ZKDSLoginEx(handle, jdoe, 2, nullptr)},
                                   {"LoginEx option", ZKDSLoginEx(handle, jdoe, 1, "secret")},
                                   {"LoginNeedsPassword", ZKDSLoginNeedsPassword(handle, nullptr)},
                                   {"LoginPasswordIsShared", ZKDSLoginPasswordIsShared(handle, nullptr)},
                                   {"GetPasswordInfo", ZKDSGetPasswordInfo(handle, nullptr)},
                                   {"ChangePassword old", ZKDSChangePassword(handle, jdoe, nullptr, "new")},
                                   {"ChangePassword new", ZKDSChangePassword(handle, jdoe, "secret", nullptr)},
                                   {"CanonicalizeName name", ZKDSCanonicalizeName(handle, nullptr, text)},
                                   {"CanonicalizeName result", ZKDSCanonicalizeName(handle, jdoe, nullptr)},
                                   {"AbbreviateName name", ZKDSAbbreviateName(handle, nullptr, text)},
                                   {"AbbreviateName result", ZKDSAbbreviateName(handle, jdoe, nullptr)},
                                   {"GetLastErrorText", ZKGetLastErrorText(10, nullptr)},
                                   {"GetLastErrorText size", ZKGetLastErrorText(0, text)},
                                   {"SetPreferredDSTree", ZKSetPreferredDSTree(4, nullptr)},
                                   {"SetPreferredDSTree length", ZKSetPreferredDSTree(0, "ACME")}});
    EXPECT_STREQ("untouched", text);
}

TEST_F(WrongCalls, OfTheVersionWithoutAPointerAreRefused) {
    uint8_t part = 99;
    for (int missing = 0; missing < 4; missing++) {
        uint8_t *parts[4];
        for (int i = 0; i < 4; i++) parts[i] = i == missing ? nullptr : &part;
        EXPECT_EQ(ZKE_BAD_PARAMETER, ZKGetZKNetVersion(parts[0], parts[1], parts[2], parts[3])) << missing;
    }
    EXPECT_EQ(99, part);
}

TEST_F(WrongCalls, OfReadingWithoutAPointerAreRefused) {
    uint32_t count = 0;
    ASSERT_EQ(ZK_OK, ZKDSGetAttrName(handle, reply, text, &count, &syntax));
    expect_all(ZKE_BAD_PARAMETER,
               {{"AllocBuf", ZKDSAllocBuf(10, nullptr)},
                {"FreeBuf", ZKDSFreeBuf(nullptr)},
                {"InitBuf", ZKDSInitBuf(handle, ZK_OPERATION_READ, nullptr)},
                {"PutAttrName buffer", ZKDSPutAttrName(handle, nullptr, "CN")},
                {"PutAttrName name", ZKDSPutAttrName(handle, request, nullptr)},
                {"Read object", ZKDSRead(handle, nullptr, 1, 0, request, &iteration, reply)},
                {"Read request", ZKDSRead(handle, jdoe, 1, 0, nullptr, &iteration, reply)},
                {"Read iteration", ZKDSRead(handle, jdoe, 1, 0, request, nullptr, reply)},
                {"Read reply", ZKDSRead(handle, jdoe, 1, 0, request, &iteration, nullptr)},
                {"Read into its request", ZKDSRead(handle, jdoe, 1, 0, request, &iteration, request)},
                {"ReadAttrDef request", ZKDSReadAttrDef(handle, 1, 0, nullptr, &iteration, reply)},
                {"ReadAttrDef iteration", ZKDSReadAttrDef(handle, 1, 0, request, nullptr, reply)},
                {"ReadAttrDef reply", ZKDSReadAttrDef(handle, 1, 0, request, &iteration, nullptr)},
                {"GetAttrCount buffer", ZKDSGetAttrCount(handle, nullptr, &number)},
                {"GetAttrCount count", ZKDSGetAttrCount(handle, reply, nullptr)},
                {"GetAttrName buffer", ZKDSGetAttrName(handle, nullptr, text, &number, &syntax)},
                {"GetAttrName name", ZKDSGetAttrName(handle, reply, nullptr, &number, &syntax)},
                {"GetAttrName values", ZKDSGetAttrName(handle, reply, text, nullptr, &syntax)},
                {"GetAttrName syntax", ZKDSGetAttrName(handle, reply, text, &number, nullptr)},
                {"ComputeAttrValSize buffer", ZKDSComputeAttrValSize(handle, nullptr, syntax, &number)},
                {"ComputeAttrValSize size", ZKDSComputeAttrValSize(handle, reply, syntax, nullptr)},
                {"GetAttrVal buffer", ZKDSGetAttrVal(handle, nullptr, syntax, text)},
                {"GetAttrVal value", ZKDSGetAttrVal(handle, reply, syntax, nullptr)},
                {"ReadObjectInfo object", ZKDSReadObjectInfo(handle, nullptr, text, &info)},
                {"ReadObjectInfo name", ZKDSReadObjectInfo(handle, jdoe, nullptr, &info)},
                {"OpenStream object", ZKDSOpenStream(handle, nullptr, "Login Script", 0, &number)},
                {"OpenStream attribute", ZKDSOpenStream(handle, jdoe, nullptr, 0, &number)},
                {"OpenStream file", ZKDSOpenStream(handle, jdoe, "Login Script", 0, nullptr)},
                {"OpenStream flags", ZKDSOpenStream(handle, jdoe, "Login Script", 1, &number)},
                {"ReadFile count", ZKReadFile(file, 1, nullptr, text)},
                {"ReadFile data", ZKReadFile(file, 1, &number, nullptr)}});
    EXPECT_EQ(0u, number);
    EXPECT_STREQ("Title", text);
    EXPECT_EQ(ZK_NO_MORE_ITERATIONS, iteration);
}

TEST_F(WrongCalls, OfConnectionsAndFilesWithoutAPointerAreRefused) {
    uint32_t needed = 64;
    char list[64];
    uint32_t at = 0;
    expect_all(
        ZKE_BAD_PARAMETER,
        {{"OpenConnByName name", ZKCCOpenConnByName(0, nullptr, ZK_NAME_ANY, by_name, ZK_TRANSPORT_ANY, &number)},
         {"OpenConnByName connection", ZKCCOpenConnByName(0, "SRV1", ZK_NAME_ANY, by_name, ZK_TRANSPORT_ANY, nullptr)},
         {"OpenConnByName start", ZKCCOpenConnByName(1, "SRV1", ZK_NAME_ANY, by_name, ZK_TRANSPORT_ANY, &number)},
         {"OpenConnByName format", ZKCCOpenConnByName(0, "SRV1", 7777, by_name, ZK_TRANSPORT_ANY, &number)},
         {"OpenConnByName state", ZKCCOpenConnByName(0, "SRV1", ZK_NAME_ANY, 7777, ZK_TRANSPORT_ANY, &number)},
         {"OpenConnByName transport",
          ZKCCOpenConnByName(0, "SRV1", ZK_NAME_ANY, by_name, ZK_TRANSPORT_ANY + 1, &number)},
         {"OpenConnByRef", ZKCCOpenConnByRef(0, by_name, 0, nullptr)},
         {"OpenConnByRef state", ZKCCOpenConnByRef(0, 7777, 0, &number)},
         {"OpenConnByRef reserved", ZKCCOpenConnByRef(0, by_name, 1, &number)},
         {"ScanConnInfo iteration", ZKCCScanConnInfo(nullptr, 0, nullptr, 0, by_name, 0, nullptr, &number)},
         {"ScanConnInfo connection", ZKCCScanConnInfo(&at, 0, nullptr, 0, by_name, 0, nullptr, nullptr)},
         {"ScanConnInfo item", ZKCCScanConnInfo(&at, 1, "SRV1", 0, by_name, 0, nullptr, &number)},
         {"ScanConnInfo state", ZKCCScanConnInfo(&at, 0, nullptr, 0, 7777, 0, nullptr, &number)},
         {"GetConnInfo", ZKCCGetConnInfo(connection, ZK_INFO_SERVER_NAME, 49, nullptr)},
         {"UnlicenseConn unlicensed", ZKCCUnlicenseConn(connection)},
         {"GetDefaultConnRef", ZKGetDefaultConnRef(nullptr)},
         {"LoginToFileServer user", ZKLoginToFileServer(connection, nullptr, user_type, "secret")},
         {"LoginToFileServer password", ZKLoginToFileServer(connection, "jdoe", user_type, nullptr)},
         {"LoginToFileServer type", ZKLoginToFileServer(connection, "jdoe", user_type + 1, "secret")},
         {"ParsePath", ZKParsePath(nullptr, text, &number, text, text)},
         {"GetMappedDrives", ZKGetMappedDrives(list, nullptr)}});
    ASSERT_EQ(ZK_OK, ZKGetMappedDrives(list, &needed));
    expect_all(ZKE_BAD_PARAMETER,
               {{"EnumMappedDrives list", ZKEnumMappedDrives(nullptr, &cursor, &number, 9, text, 9, text)},
                {"EnumMappedDrives cursor", ZKEnumMappedDrives(list, nullptr, &number, 9, text, 9, text)},
                {"EnumMappedDrives path", ZKEnumMappedDrives(list, &cursor, &number, 9, nullptr, 9, text)},
                {"EnumMappedDrives target", ZKEnumMappedDrives(list, &cursor, &number, 9, text, 9, nullptr)}});
    EXPECT_EQ(0u, number);
}

TEST_F(WrongCalls, WithAHandleThatIsNoneAreRefused) {
    int needed = 0;
    ZKDSPasswordInfo password = {};
    expect_all(ZKE_BAD_HANDLE, {{"FreeContext", ZKDSFreeContext(nothing)},
                                {"SetContext", ZKDSSetContext(nothing, DCK_NAME_CONTEXT, "acme")},
                                {"SetContext alone", ZKDSSetContext(nothing, DCK_NAME_CONTEXT, nullptr)},
                                {"GetContext", ZKDSGetContext(nothing, DCK_NAME_CONTEXT, text)},
                                {"GetContext alone", ZKDSGetContext(nothing, DCK_NAME_CONTEXT, nullptr)},
                                {"WhoAmI", ZKDSWhoAmI(nothing, text)},
                                {"LoginEx", ZKDSLoginEx(nothing, jdoe, 2, "secret")},
                                {"LoginNeedsPassword", ZKDSLoginNeedsPassword(nothing, &needed)},
                                {"LoginPasswordIsShared", ZKDSLoginPasswordIsShared(nothing, &needed)},
                                {"GetPasswordInfo", ZKDSGetPasswordInfo(nothing, &password)},
                                {"ChangePassword", ZKDSChangePassword(nothing, jdoe, "secret", "new")},
                                {"ActAs", ZKDSActAs(nothing, jdoe)},
                                {"ActAs nobody", ZKDSActAs(nothing, nullptr)},
                                {"LoginState", ZKDSLoginState(nothing)},
                                {"ScanUsers", ZKDSScanUsers(
                                                  nothing, "", [](void *, const char *) {}, nullptr)},
                                {"NoteLogin", ZKDSNoteLogin(nothing)},
                                {"Logout", ZKDSLogout(nothing)},
                                {"AuthenticateConnEx", ZKDSAuthenticateConnEx(nothing, connection)},
                                {"CanonicalizeName", ZKDSCanonicalizeName(nothing, jdoe, text)},
                                {"AbbreviateName", ZKDSAbbreviateName(nothing, jdoe, text)},
                                {"Read", ZKDSRead(nothing, jdoe, 1, 0, request, &iteration, reply)},
                                {"ReadAttrDef", ZKDSReadAttrDef(nothing, 1, 0, request, &iteration, reply)},
                                {"ReadObjectInfo", ZKDSReadObjectInfo(nothing, jdoe, text, &info)},
                                {"OpenStream", ZKDSOpenStream(nothing, jdoe, "Login Script", 0, &number)},
                                {"ReadFile", ZKReadFile(nothing, 1, &number, text)},
                                {"ReadFile alone", ZKReadFile(nothing, 1, nullptr, nullptr)},
                                {"CloseFile", ZKCloseFile(nothing)}});
    EXPECT_EQ(0u, ZKDSCanDSAuthenticate(nothing));
}

TEST_F(WrongCalls, WithAConnectionThatIsNoneAreRefused) {
    const uint32_t bits = UINT32_MAX;
    expect_all(ZKE_CONN_INVALID, {{"AuthenticateConnEx", ZKDSAuthenticateConnEx(handle, nothing)},
                                  {"OpenConnByRef", ZKCCOpenConnByRef(connection, by_name, 0, &number)},
                                  {"OpenConnByRef unknown", ZKCCOpenConnByRef(bits, by_name, 0, &number)},
                                  {"GetConnInfo", ZKCCGetConnInfo(nothing, ZK_INFO_SERVER_NAME, 49, text)},
                                  {"GetConnInfo alone", ZKCCGetConnInfo(nothing, ZK_INFO_SERVER_NAME, 49, nullptr)},
                                  {"SetPrimConn", ZKCCSetPrimConn(nothing)},
                                  {"CloseConn", ZKCCCloseConn(nothing)},
                                  {"LicenseConn", ZKCCLicenseConn(nothing)},
                                  {"UnlicenseConn", ZKCCUnlicenseConn(nothing)},
                                  {"LoginToFileServer", ZKLoginToFileServer(nothing, "jdoe", user_type, "secret")}});
    EXPECT_EQ(0u, number);
}

TEST_F(WrongCalls, MayLeaveOutWhatTheyDoNotWant) {
    EXPECT_EQ(ZK_OK, ZKDSReadObjectInfo(handle, jdoe, text, nullptr));
    EXPECT_STREQ(jdoe, text);
    EXPECT_EQ(ZK_OK, ZKParsePath("SRV1/SYS:x", nullptr, nullptr, nullptr, nullptr));
    uint32_t at = UINT32_MAX;
    EXPECT_EQ(ZK_OK, ZKCCScanConnInfo(&at, 0, nullptr, 0, by_name, 49, nullptr, &number));
    EXPECT_EQ(ZK_OK, ZKDSRead(handle, jdoe, 1, 1, nullptr, &iteration, reply));
}
