#include <fcntl.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <sys/utsname.h>

#include <map>
#include <set>
#include <tuple>

#include "tests/unit/session_fixture.h"

namespace {

static time_t now;

class IdentifiersTest : public DirectoryTest {
  protected:
    IdentifiersTest() {
        setenv("TZ", "UTC", 1);
        tzset();
        clock_now = [] { return now; };
        at("2026-03-01 12:00:00"); // a Sunday
        spy::object(user_object);
        place_module_status = "/nonexistent/Version";
        place_network_interface = "nosuch0";
    }
    static void at(const char *local) {
        tm parts = {};
        strptime(local, "%Y-%m-%d %H:%M:%S", &parts);
        now = mktime(&parts);
    }
    // "(none)" when the identifier has no value.
    static std::string value(const char *identifier) {
        char *text = nullptr;
        uint32_t code = qrt_GetIdentifierValue(session_handle, user_object, identifier, &text);
        EXPECT_EQ(code, text ? 0u : 0xFFFFFFFFu) << identifier;
        return text ? taken(text) : "(none)";
    }
};

TEST_F(IdentifiersTest, ClockIsReadInTheLocalTime) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"GREETING_TIME", "2026-03-01 00:00:00", "morning"},
        {"GREETING_TIME", "2026-03-01 11:59:59", "morning"},
        {"GREETING_TIME", "2026-03-01 12:00:00", "afternoon"},
        {"GREETING_TIME", "2026-03-01 16:59:59", "afternoon"},
        {"GREETING_TIME", "2026-03-01 17:00:00", "evening"},
        {"GREETING_TIME", "2026-03-01 23:59:59", "evening"},
        {"HOUR", "2026-03-01 09:05:07", " 9"},
        {"HOURS", "2026-03-01 00:05:07", "12"},
        {"HOUR", "2026-03-01 21:05:07", " 9"},
        {"HOUR24", "2026-03-01 09:05:07", "09"},
        {"24HOUR", "2026-03-01 21:05:07", "21"},
        {"MINUTE", "2026-03-01 09:05:07", "05"},
        {"MINUTES", "2026-03-01 09:05:07", "05"},
        {"SECOND", "2026-03-01 09:05:07", "07"},
        {"SECONDS", "2026-03-01 09:05:07", "07"},
        {"AM_PM", "2026-03-01 09:05:07", "AM"},
        {"AM_PM", "2026-03-01 12:00:00", "PM"},
        {"DAY", "2026-03-01 09:05:07", "01"},
        {"MONTH", "2026-03-01 09:05:07", "03"},
        {"MONTH_NAME", "2026-03-01 09:05:07", "March"},
        {"DAY_OF_WEEK", "2026-03-01 09:05:07", "Sunday"},
        {"NDAY_OF_WEEK", "2026-03-01 09:05:07", "1"},
        {"NDAY_OF_WEEK", "2026-03-07 09:05:07", "7"},
        {"YEAR", "2026-03-01 09:05:07", "2026"},
        {"SHORT_YEAR", "2026-03-01 09:05:07", "26"},
        {"SHORT_YEAR", "2000-03-01 09:05:07", "00"}};
    for (const auto &[identifier, local, expected] : rows) {
        at(local);
        EXPECT_EQ(value(identifier), expected) << identifier << " at " << local;
    }
}

TEST_F(IdentifiersTest, ClockReturnsTheTimeOfTheLocalZone) {
    at("2026-02-28 22:30:00");
    setenv("TZ", "EAST-3", 1);
    tzset();
    EXPECT_EQ(value("HOUR24"), "01");
    EXPECT_EQ(value("DAY"), "01");
    EXPECT_EQ(value("MONTH"), "03");
    EXPECT_EQ(value("NDAY_OF_WEEK"), "1");
    EXPECT_EQ(value("GREETING_TIME"), "morning");
}

// The C library would read such a file, whatever it is.
TEST_F(IdentifiersTest, ATimeZoneIsNoFileOfAScriptsChoice) {
    std::string folder = "/tmp/zone_XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    // One zone, five hours east of Greenwich, in the form of RFC 8536.
    std::string zone("TZif" + std::string(28, '\0') + std::string("\0\0\0\1\0\0\0\4", 8) +
                     std::string("\0\0\x46\x50\0\0XYZ\0", 10));
    std::ofstream(folder + "/zone", std::ios::binary) << zone;
    unsetenv("TZ");
    const std::string usual = value("HOUR24");
    for (const std::string &name : {folder + "/zone", ":" + folder + "/zone", "../../.." + folder + "/zone"}) {
        setenv("TZ", name.c_str(), 1);
        EXPECT_EQ(value("HOUR24"), usual) << name;
        EXPECT_STREQ(getenv("TZ"), name.c_str());
    }
    setenv("TZDIR", folder.c_str(), 1);
    setenv("TZ", "zone", 1);
    EXPECT_NE(value("HOUR24"), "17");
    EXPECT_STREQ(getenv("TZDIR"), folder.c_str());
    unsetenv("TZDIR");
    std::filesystem::remove_all(folder);
}

TEST_F(IdentifiersTest, ClockIsReadAnewForEachIdentifier) {
    clock_now = [] { return now++; };
    at("2026-03-01 09:05:07");
    EXPECT_EQ(value("SECOND"), "07");
    EXPECT_EQ(value("SECOND"), "08");
}

TEST(Clock, IsTheSystemsUnlessReplaced) {
    time_t before = time(nullptr);
    EXPECT_LE(before, clock_now());
    EXPECT_LE(clock_now(), time(nullptr));
}

TEST_F(IdentifiersTest, ConstantsNeverChange) {
    for (const auto &[name, constant] : std::map<std::string, const char *>{{"OS", "Linux"},
                                                                            {"WINVER", "000000"},
                                                                            {"ACCESS_SERVER", "0"},
                                                                            {"DIALUP", "0"},
                                                                            {"OFFLINE", "0"},
                                                                            {"COMSPEC", "Not_Available_For_Linux"},
                                                                            {"ERROR_LEVEL", "0"},
                                                                            {"NEW_MAIL", "No"}})
        EXPECT_EQ(value(name.c_str()), constant) << name;
}

// The names in the table's order, each with its code.
TEST_F(IdentifiersTest, TableKeepsItsOrder) {
    std::string table;
    for (const QrtIdentifier *row = itable; row->name; row++)
        table += row->name + (" " + std::to_string(row->code)) + " ";
    EXPECT_EQ(
        table,
        "DAY 1 DAY_OF_WEEK 2 MONTH 3 MONTH_NAME 4 NDAY_OF_WEEK 5 SHORT_YEAR 6 YEAR 7 AM_PM 8 GREETING_TIME 9 HOUR "
        "10 HOURS 10 HOUR24 11 24HOUR 11 MINUTE 12 MINUTES 12 SECOND 13 SECONDS 13 MACHINE 14 FERROX_REQUESTER 15 "
        "REQUESTER 15 DOS_REQUESTER 15 REQUESTER_VERSION 15 OS 16 OS_VERSION 17 P_STATION 18 PHYSICAL_STATION 18 "
        "PLATFORM 19 SHELL_TYPE 21 SHELL_VERSION 21 FERROX_SHELL 21 SMACHINE 22 STATION 23 CONNECTION 23 SLOT 23 "
        "WINVER 24 LAST_NAME 25 ACCESS_SERVER 26 DIALUP 27 OFFLINE 28 FILE_SERVER 29 FILESERVER 29 "
        "NETWORK_ADDRESS 30 NETWORK 30 FULL_NAME 31 LOGIN_CONTEXT 33 LOGIN_NAME 34 LANGUAGE 44 PASSWORD_EXPIRES "
        "35 REQUESTER_CONTEXT 36 USER_ID 37 USERID 37 LOGIN_ALIAS_CONTEXT 38 CN 39 NEW_MAIL 42 COMSPEC 40 "
        "ERROR_LEVEL 41 HOME_DIRECTORY 43 MESSAGE_SERVER 29 ");
}

TEST_F(IdentifiersTest, EveryNameButTheHomeDirectoryHasAValueAtOnce) {
    for (const QrtIdentifier *row = itable; row->name; row++)
        EXPECT_EQ(value(row->name) == "(none)", row->code == 43) << row->name;
}

TEST_F(IdentifiersTest, NamesAreMetInAnyLetterCaseAndUnknownOnesLeaveTheOutAlone) {
    char mark = 'x';
    char *text = &mark;
    EXPECT_EQ(qrt_GetIdentifierValue(session_handle, user_object, "NO_SUCH", &text), QRT_NOT_FOUND);
    EXPECT_EQ(qrt_GetIdentifierValue(session_handle, user_object, "", &text), QRT_NOT_FOUND);
    EXPECT_EQ(qrt_GetIdentifierValue(session_handle, user_object, "HOME_DIRECTORY", &text), QRT_NOT_FOUND);
    EXPECT_EQ(text, &mark);
    qrt_SetLoginName("jdoe");
    EXPECT_EQ(value("login_name"), "jdoe");
    EXPECT_EQ(value("Login_Name"), "jdoe");
}

TEST_F(IdentifiersTest, WalkDoesNotStopAtAMatch) {
    QrtIdentifier kept = itable[1];
    itable[1] = {"DAY", 16};
    EXPECT_EQ(value("DAY"), "Linux");
    itable[1] = kept;
}

TEST_F(IdentifiersTest, MachineAndRequesterAreWhatTheSystemAndTheClientReturn) {
    utsname names;
    ASSERT_EQ(uname(&names), 0);
    EXPECT_EQ(value("MACHINE"), names.machine);
    EXPECT_EQ(value("SMACHINE"), names.machine);
    EXPECT_EQ(value("OS_VERSION"), names.release);
    EXPECT_EQ(value("PLATFORM"), names.sysname);
    for (const char *name : {"FERROX_REQUESTER", "REQUESTER", "DOS_REQUESTER", "REQUESTER_VERSION"})
        EXPECT_EQ(value(name), "1.2.3.4");
    spy::client_version(255, 0, 128, 10);
    EXPECT_EQ(value("REQUESTER"), "255.0.128.10");
    spy::fail("ZKGetZKNetVersion", 1);
    EXPECT_EQ(value("REQUESTER"), "0.0.0.0");
}

TEST_F(IdentifiersTest, WithoutTheInterfaceAddressesAreZeros) {
    for (const char *name : {"P_STATION", "PHYSICAL_STATION"}) EXPECT_EQ(value(name), "000000000000");
    for (const char *name : {"NETWORK_ADDRESS", "NETWORK"}) EXPECT_EQ(value(name), "00000000");
    place_network_interface = "a name far longer than the kernel takes";
    EXPECT_EQ(value("NETWORK_ADDRESS"), "00000000");
}

TEST_F(IdentifiersTest, AddressesAreThoseOfTheInterface) {
    ifaddrs *all = nullptr;
    ASSERT_EQ(getifaddrs(&all), 0);
    std::set<std::string> seen; // an interface's first address is its own
    for (ifaddrs *row = all; row; row = row->ifa_next) {
        if (!row->ifa_addr || row->ifa_addr->sa_family != AF_INET || !seen.insert(row->ifa_name).second) continue;
        place_network_interface = row->ifa_name;
        sockaddr_in address;
        memcpy(&address, row->ifa_addr, sizeof address);
        char digits[9];
        snprintf(digits, sizeof digits, "%08X", ntohl(address.sin_addr.s_addr));
        EXPECT_EQ(value("NETWORK_ADDRESS"), digits) << row->ifa_name;
        std::string hardware, station = value("P_STATION");
        std::ifstream("/sys/class/net/" + std::string(row->ifa_name) + "/address") >> hardware;
        for (size_t i = 2; i < station.size(); i += 3) station.insert(i, ":");
        if (hardware.size() != station.size()) continue;
        EXPECT_TRUE(equal_nocase(station, hardware)) << station << hardware;
    }
    freeifaddrs(all);
    place_network_interface = "nosuch0";
}

// The descriptor that the next file opened would get.
static int next_descriptor() {
    int descriptor = open("/dev/null", O_RDONLY);
    close(descriptor);
    return descriptor;
}

TEST_F(IdentifiersTest, SocketsAndFilesAreClosedAgain) {
    place_module_status = "/dev/null";
    const int before = next_descriptor();
    for (const char *interface : {"nosuch0", "lo"}) {
        place_network_interface = interface;
        for (const char *name : {"P_STATION", "NETWORK_ADDRESS", "SHELL_TYPE"}) value(name);
        EXPECT_EQ(next_descriptor(), before) << interface;
    }
}

class ModuleVersionTest : public IdentifiersTest {
  protected:
    ModuleVersionTest() { place_module_status = status_.c_str(); }
    std::string version_in(const std::string &status) {
        folder_.file("Version", status);
        return value("SHELL_TYPE");
    }
};

TEST_F(ModuleVersionTest, ModuleVersionIsReadFromTheStatusFile) {
    EXPECT_EQ(value("SHELL_TYPE"), "0.0.0");
    EXPECT_EQ(version_in("marfsd version=1\n"), "0.0.0");
    EXPECT_EQ(version_in(""), "0.0.0");
    EXPECT_EQ(version_in("Marfs mount=/mnt\nMarfsd Version=2.1.7\nMore=1\n"), "2.1.7");
    EXPECT_EQ(value("SHELL_VERSION"), "2.1.7");
    EXPECT_EQ(value("FERROX_SHELL"), "2.1.7");
    EXPECT_EQ(version_in("Marfsd Version=3 beta"), "3 beta");
    EXPECT_EQ(version_in(std::string(1024, '.') + "Marfsd Version=1\n"), "0.0.0");
    EXPECT_EQ(version_in(std::string(1000, '.') + "Marfsd Version=123456789012\n"), "123456789");
}

TEST_F(IdentifiersTest, ConnectionNumbersComeFromTheDefaultConnection) {
    EXPECT_EQ(value("STATION"), "-1");
    EXPECT_EQ(value("USER_ID"), "0");
    spy::server("SRV1", "ACME_TREE");
    spy::default_server("SRV1");
    for (const char *name : {"STATION", "CONNECTION", "SLOT"}) EXPECT_EQ(value(name), "7");
    for (const char *name : {"USER_ID", "USERID"}) EXPECT_EQ(value(name), "42");
    spy::connection_number(0x80000000);
    spy::user_number(0xFFFFFFFE);
    EXPECT_EQ(value("STATION"), "-2147483648") << "returned with its sign";
    EXPECT_EQ(value("USER_ID"), "-2");
}

TEST_F(IdentifiersTest, SessionTexts) {
    for (const char *name : {"FILE_SERVER", "FILESERVER", "MESSAGE_SERVER", "LOGIN_NAME"}) EXPECT_EQ(value(name), "");
    qrt_SetUserVar(0, "SRV1");
    qrt_SetLoginName("jdoe");
    for (const char *name : {"FILE_SERVER", "FILESERVER", "MESSAGE_SERVER"}) EXPECT_EQ(value(name), "SRV1");
    EXPECT_EQ(value("LOGIN_NAME"), "jdoe");
    EXPECT_EQ(value("REQUESTER_CONTEXT"), ".sales.acme");
    set(InitialContext, nullptr);
    EXPECT_EQ(value("REQUESTER_CONTEXT"), "");
    EXPECT_EQ(value("LOGIN_ALIAS_CONTEXT"), "N");
    LoginAliasContext[0] = 'Y';
    EXPECT_EQ(value("LOGIN_ALIAS_CONTEXT"), "Y");
    LoginAliasContext[0] = 'N';
}

TEST_F(IdentifiersTest, LoginContextLosesOneLeadingDot) {
    EXPECT_EQ(value("LOGIN_CONTEXT"), "sales.acme");
    set(CurrentContext, "..acme");
    EXPECT_EQ(value("LOGIN_CONTEXT"), ".acme");
    set(CurrentContext, ".a");
    EXPECT_EQ(value("LOGIN_CONTEXT"), "a");
    set(CurrentContext, ".");
    EXPECT_EQ(value("LOGIN_CONTEXT"), ".");
    set(CurrentContext, "acme");
    EXPECT_EQ(value("LOGIN_CONTEXT"), "acme");
    set(CurrentContext, nullptr);
    EXPECT_EQ(value("LOGIN_CONTEXT"), "");
}

TEST_F(IdentifiersTest, AttributesOfTheObject) {
    spy::text_attribute(user_object, "Full Name", {"John Doe"});
    spy::text_attribute(user_object, "Surname", {"Doe"});
    spy::text_attribute(user_object, "Language", {"DEUTSCH"});
    spy::attribute(user_object, "Password Expiration Time",
                   {spy::number(ZK_SYNTAX_TIME, static_cast<int32_t>(now + 36 * 3600))});
    EXPECT_EQ(value("FULL_NAME"), "John Doe");
    EXPECT_EQ(value("LAST_NAME"), "Doe");
    EXPECT_EQ(value("LANGUAGE"), "DEUTSCH");
    EXPECT_EQ(value("PASSWORD_EXPIRES"), "1");
    EXPECT_THAT(spy::calls("ZKDSPutAttrName"),
                ElementsAre("ZKDSPutAttrName(40, buf1, \"FULL_NAME\")", "ZKDSPutAttrName(40, buf3, \"Surname\")",
                            "ZKDSPutAttrName(40, buf5, \"LANGUAGE\")",
                            "ZKDSPutAttrName(40, buf7, \"PASSWORD_EXPIRATION_TIME\")"));
}

TEST_F(IdentifiersTest, AttributesThatCannotBeReadHaveFixedValues) {
    EXPECT_EQ(value("FULL_NAME"), "not set");
    EXPECT_EQ(value("LAST_NAME"), "not set");
    EXPECT_EQ(value("PASSWORD_EXPIRES"), "32767");
    EXPECT_EQ(value("LANGUAGE"), "ENGLISH");
    spy::text_attribute(user_object, "Language", {""});
    EXPECT_EQ(value("LANGUAGE"), "ENGLISH");
    spy::text_attribute(user_object, "Full Name", {""});
    EXPECT_EQ(value("FULL_NAME"), "");
}

TEST_F(IdentifiersTest, CommonNameAsksWithWidenedFlagsAndMakesAllItsCalls) {
    uint32_t flags = 0x40;
    ZKDSSetContext(session_handle, DCK_FLAGS, &flags);
    spy::forget_calls();
    spy::logged_in("CN=jdoe.OU=sales.O=acme");
    EXPECT_EQ(value("CN"), "jdoe");
    EXPECT_THAT(spy::calls(), ElementsAre("ZKDSGetContext(40, DCK_FLAGS)", "ZKDSSetContext(40, DCK_FLAGS, 0x57)",
                                          "ZKDSWhoAmI(40)", "ZKDSSetContext(40, DCK_FLAGS, 0x40)"));
    spy::logged_in("jdoe\\.x.sales.acme");
    EXPECT_EQ(value("CN"), "jdoe\\.x");
    spy::forget_calls();
    for (const char *name : {"ZKDSGetContext", "ZKDSSetContext", "ZKDSWhoAmI"}) spy::fail(name, ZKE_BAD_HANDLE);
    EXPECT_EQ(value("CN"), "");
    EXPECT_THAT(spy::call_names(), ElementsAre("ZKDSGetContext", "ZKDSSetContext", "ZKDSWhoAmI", "ZKDSSetContext"));
}

TEST_F(IdentifiersTest, HomeDirectoryIsAServerPath) {
    spy::attribute(user_object, "Home Directory", {spy::path("USERVOL.acme", "home/jdoe")});
    spy::text_attribute("USERVOL.acme", "Host Server", {"CN=SRV1.O=acme"});
    spy::text_attribute("USERVOL.acme", "Host Resource Name", {"USERS"});
    EXPECT_EQ(value("HOME_DIRECTORY"), "SRV1/USERS:home/jdoe");
    EXPECT_THAT(spy::calls("ZKDSReadObjectInfo"), ElementsAre("ZKDSReadObjectInfo(40, \"USERVOL.acme\")"));
    spy::text_attribute(user_object, "Home Directory", {"SYS:home:old"});
    spy::parsed_path("SYS:", "SRV2", 0, "SYS", "");
    EXPECT_EQ(value("HOME_DIRECTORY"), "SRV2/SYS:home:old");
    spy::text_attribute(user_object, "Home Directory", {"USERVOL"});
    spy::parsed_path("USERVOL", "SRV2", 0, "SYS", "");
    EXPECT_EQ(value("HOME_DIRECTORY"), "SRV2/SYS:");
}

TEST_F(IdentifiersTest, HomeDirectoryKeepsItsOwnPathBehindTheVolume) {
    spy::text_attribute(user_object, "Home Directory", {"HOMES:jdoe"});
    spy::object("HOMES", "Directory Map");
    spy::attribute("HOMES", "Path", {spy::path("USERVOL", "below/the/map")});
    spy::text_attribute("USERVOL", "Host Server", {"SRV1.acme"});
    spy::text_attribute("USERVOL", "Host Resource Name", {"USERS"});
    EXPECT_EQ(value("HOME_DIRECTORY"), "SRV1/USERS:jdoe");
    spy::text_attribute(user_object, "Home Directory", {"SYS:home"});
    spy::parsed_path("SYS:", "SRV2", 0, "SYS", "given/by/the/client");
    EXPECT_EQ(value("HOME_DIRECTORY"), "SRV2/SYS:home");
}

TEST_F(IdentifiersTest, HomeDirectorysVolumeMayHave513Characters) {
    const std::string volume(512, 'v');
    spy::text_attribute(user_object, "Home Directory", {volume + ":home"});
    spy::parsed_path(volume + ":", "SRV2", 0, "SYS", "");
    EXPECT_EQ(value("HOME_DIRECTORY"), "SRV2/SYS:home");
}

TEST_F(IdentifiersTest, HomeDirectoryThatCannotBeResolvedStaysAsItIs) {
    spy::attribute(user_object, "Home Directory", {spy::path("GONE", "home/jdoe")});
    EXPECT_EQ(value("HOME_DIRECTORY"), "GONE:home/jdoe");
    std::string large(3000, 'v');
    spy::text_attribute(user_object, "Home Directory", {large + ":home"});
    EXPECT_EQ(value("HOME_DIRECTORY"), large + ":home");
    spy::text_attribute(user_object, "Home Directory", {""});
    EXPECT_EQ(value("HOME_DIRECTORY"), "");
}

TEST_F(IdentifiersTest, EnvironmentVariablesAreLookedUpByTheBareName) {
    setenv("QRT_TEST", "found", 1);
    unsetenv("QRT_UNSET");
    for (const char *name : {"QRT_TEST", "<QRT_TEST>", "%<QRT_TEST>", "<%<<QRT_TEST>", "QRT_TEST>tail", "%<QRT_TEST"})
        EXPECT_EQ(taken(qrt_GetEnvVar(name)), "found") << name;
    for (const char *name : {"QRT_UNSET", "%<>", ""}) EXPECT_EQ(qrt_GetEnvVar(name), nullptr) << name;
    unsetenv("QRT_TEST");
}

} // namespace
