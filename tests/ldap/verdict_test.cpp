// What servers say of passwords and accounts, in controls and in texts, and what is made of nonsense there.
#include "platform/client/ldap/verdict.h"

#include <gmock/gmock.h>

#include "platform/client/ldap/connection.h"
#include "tests/ldap/hostile_server.h"

namespace {

using namespace std::string_literals;

const std::string policy = "1.3.6.1.4.1.42.2.27.8.5.1";
const std::string expired_control = "2.16.840.1.113730.3.4.4";
const std::string expiring_control = "2.16.840.1.113730.3.4.5";

// The answer to a login, after it has crossed the wire.
LdapAnswer answered(int code, const std::string &text,
                    const std::vector<std::pair<std::string, std::string>> &controls = {}) {
    const std::string bound = Scripted::bound(code, text) + (controls.empty() ? "" : Scripted::controls(controls));
    HostileServer server(Scripted{{{bound}}, {}, {{Scripted::unknown()}}});
    ConfigLdap config;
    config.cleartextLoopback = true;
    const LdapDeadline soon = LdapClock::now() + std::chrono::minutes(10);
    LdapConnection connection(config, server.uri(), soon);
    return connection.bindWithPassword({"cn=jdoe,o=acme", "secret"}, soon);
}

std::string data(const std::string &number) {
    return "80090308: LdapErr: DSID-0C0903A9, comment: AcceptSecurityContext error, data " + number + ", v1db1";
}

struct Refusal {
    int code;
    std::string text;
    std::vector<std::pair<std::string, std::string>> controls;
    Verdict::State state;
};

void PrintTo(const Refusal &one, std::ostream *stream) {
    *stream << one.code << " " << one.text;
}

class LdapVerdict : public testing::TestWithParam<Refusal> {};

struct Acceptance {
    std::string name;
    std::vector<std::pair<std::string, std::string>> controls;
    Verdict::State state;
    int64_t expiresIn, graceLogins;
};

void PrintTo(const Acceptance &one, std::ostream *stream) {
    *stream << one.name;
}

class LdapNews : public testing::TestWithParam<Acceptance> {};

} // namespace

TEST_P(LdapVerdict, OfARefusal) {
    const Refusal &one = GetParam();
    EXPECT_EQ(ldap_verdict(answered(one.code, one.text, one.controls)).state, one.state);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, LdapVerdict,
    testing::Values(
        // draft-behera-ldap-password-policy, with short lengths and with long ones
        Refusal{49, "", {{policy, "\x30\x00"s}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x03\x81\x01\x00"s}}, Verdict::passwordExpired},
        Refusal{49, "", {{policy, "\x30\x03\x81\x01\x01"}}, Verdict::locked},
        Refusal{49, "", {{policy, "\x30\x84\x00\x00\x00\x03\x81\x01\x01"s}}, Verdict::locked},
        Refusal{49, "", {{policy, "\x30\x84\x00\x00\x00\x07\x81\x84\x00\x00\x00\x01\x00"s}}, Verdict::passwordExpired},
        Refusal{49, "", {{policy, "\x30\x03\x81\x01\x02"}}, Verdict::mustChange},
        // 389 Directory Server
        Refusal{49, "password expired!", {}, Verdict::passwordExpired},
        Refusal{49, "", {{expired_control, "0"}}, Verdict::passwordExpired},
        Refusal{19, "Exceed password retry limit. Please try later.", {}, Verdict::locked},
        Refusal{53, "Account inactivated. Contact system administrator.", {}, Verdict::disabled},
        Refusal{53,
                "Account inactivated. Contact system administrator.",
                {{policy, "\x30\x03\x81\x01\x01"}},
                Verdict::disabled},
        // Active Directory
        Refusal{49, data("525"), {}, Verdict::wrongPassword}, Refusal{49, data("52e"), {}, Verdict::wrongPassword},
        Refusal{49, data("530"), {}, Verdict::notNow}, Refusal{49, data("531"), {}, Verdict::notHere},
        Refusal{49, data("532"), {}, Verdict::passwordExpired}, Refusal{49, data("533"), {}, Verdict::disabled},
        Refusal{49, data("701"), {}, Verdict::accountExpired}, Refusal{49, data("773"), {}, Verdict::mustChange},
        Refusal{49, data("775"), {}, Verdict::locked},
        // neither
        Refusal{49, data("5321"), {}, Verdict::wrongPassword}, Refusal{49, data(""), {}, Verdict::wrongPassword},
        Refusal{49, data("-1"), {}, Verdict::wrongPassword},
        Refusal{49, data("ffffffffffffffffffff532"), {}, Verdict::wrongPassword},
        Refusal{49, "error, data 532", {}, Verdict::wrongPassword},
        // what is not as it should be has said nothing
        Refusal{49, "", {{policy, ""}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30"}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x7F\x81\x01\x01"}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x84\xFF\xFF\xFF\xFF\x81\x01\x01"}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x03\x81\x02\x01"}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x03\x81\x01\x63"}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x03\x81\x01\xFF"}}, Verdict::wrongPassword},
        Refusal{49, "", {{policy, "\x30\x0B\x81\x09\x01\x01\x01\x01\x01\x01\x01\x01\x01"}}, Verdict::wrongPassword},
        Refusal{49, "", {{"1.2.3", "\x30\x03\x81\x01\x01"}}, Verdict::wrongPassword}));

TEST(LdapPasswordLasts, UntilTheMomentThatTheDirectoryHasComputed) {
    constexpr time_t now = 1'800'000'000;
    EXPECT_EQ(ldap_password_lasts("134444736000000000", now), 0 + 134444736000000000 / 10000000 - 11644473600 - now);
    EXPECT_EQ(ldap_password_lasts("130000000000000000", now), 0);
    for (const char *none :
         {"", "0", "-1", "9223372036854775807", "9223372036854775808", "soon", "134444736000000000 "})
        EXPECT_EQ(ldap_password_lasts(none, now), Verdict::not_said) << none;
}

TEST_P(LdapNews, OfALogin) {
    const Acceptance &one = GetParam();
    const Verdict verdict = ldap_verdict(answered(0, "", one.controls));
    EXPECT_EQ(verdict.state, one.state);
    EXPECT_EQ(verdict.expiresIn, one.expiresIn);
    EXPECT_EQ(verdict.graceLogins, one.graceLogins);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, LdapNews,
    testing::Values(
        Acceptance{"nothing", {}, Verdict::accepted, -1, -1},
        Acceptance{"no news", {{policy, "\x30\x00"s}}, Verdict::accepted, -1, -1},
        Acceptance{"expiring", {{policy, "\x30\x06\xA0\x04\x80\x02\x0D\xF0"}}, Verdict::accepted, 3568, -1},
        Acceptance{"expiring, long lengths",
                   {{policy, "\x30\x84\x00\x00\x00\x0E\xA0\x84\x00\x00\x00\x08\x80\x84\x00\x00\x00\x02\x0D\xF0"s}},
                   Verdict::accepted,
                   3568,
                   -1},
        Acceptance{"grace", {{policy, "\x30\x05\xA0\x03\x81\x01\x01"}}, Verdict::accepted, 0, 1},
        Acceptance{"the last grace login", {{policy, "\x30\x05\xA0\x03\x81\x01\x00"s}}, Verdict::accepted, 0, 0},
        Acceptance{"must change", {{policy, "\x30\x03\x81\x01\x02"}}, Verdict::mustChange, -1, -1},
        Acceptance{"has been reset", {{expired_control, "0"}}, Verdict::mustChange, -1, -1},
        Acceptance{"grace, in both",
                   {{expired_control, "0"}, {policy, "\x30\x05\xA0\x03\x81\x01\x02"}},
                   Verdict::accepted,
                   0,
                   2},
        Acceptance{"seconds as text", {{expiring_control, "86400"}}, Verdict::accepted, 86400, -1},
        Acceptance{"no number", {{expiring_control, "soon"}}, Verdict::accepted, -1, -1},
        Acceptance{"no text", {{expiring_control, ""}}, Verdict::accepted, -1, -1},
        Acceptance{"half a number", {{expiring_control, "86400 "}}, Verdict::accepted, -1, -1},
        Acceptance{"a negative number", {{expiring_control, "-5"}}, Verdict::accepted, -1, -1},
        Acceptance{"too large", {{expiring_control, "99999999999999999999"}}, Verdict::accepted, -1, -1},
        Acceptance{"negative seconds", {{policy, "\x30\x06\xA0\x04\x80\x02\x80\x00"s}}, Verdict::accepted, -1, -1},
        Acceptance{"negative grace", {{policy, "\x30\x05\xA0\x03\x81\x01\xFF"}}, Verdict::accepted, -1, -1}));
