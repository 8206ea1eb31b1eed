// What scripts set does not count for what the client asks of libraries; what the process started with does.
#include "platform/client/core/start_environment.h"

#include <iconv.h>
#include <cstdlib>

#include "tests/support/client_fixture.h"

namespace {

using StartEnvironmentTest = ClientTest;

class EachVariable : public ClientTest, public ::testing::WithParamInterface<const char *> {};

std::string value_of(const char *name) {
    const char *value = getenv(name);
    return value == nullptr ? "not set" : value;
}

TEST_P(EachVariable, CountsAsItWasWhenTheClientStarted) {
    setenv(GetParam(), "/of/the/user", 1);
    ASSERT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    setenv(GetParam(), "/of/a/script", 1);
    {
        const StartEnvironment started;
        EXPECT_EQ(value_of(GetParam()), "/of/the/user");
    }
    EXPECT_EQ(value_of(GetParam()), "/of/a/script");
    unsetenv(GetParam());
    const StartEnvironment started;
    EXPECT_EQ(value_of(GetParam()), "/of/the/user");
}

TEST_P(EachVariable, IsNotThereIfItWasNot) {
    unsetenv(GetParam());
    ASSERT_EQ(ZK_OK, ZKCLXInit(nullptr, nullptr));
    setenv(GetParam(), "/of/a/script", 1);
    const StartEnvironment started;
    EXPECT_EQ(value_of(GetParam()), "not set");
}

INSTANTIATE_TEST_SUITE_P(Names, EachVariable,
                         ::testing::Values("RES_OPTIONS", "LOCALDOMAIN", "HOSTALIASES", "RESOLV_HOST_CONF",
                                           "KRB5_CONFIG", "KRB5CCNAME", "KRB5_KTNAME", "KRB5_TRACE", "GSS_MECH_CONFIG",
                                           "SASL_PATH", "SASL_CONF_PATH", "LDAPCONF", "LDAPRC", "LDAPTLS_REQCERT",
                                           "LDAPTLS_CACERT", "SSLKEYLOGFILE", "GCONV_PATH", "NLSPATH", "LOCPATH"));

// Where a script says which conversions there are, it says which libraries are loaded.
TEST_F(StartEnvironmentTest, ConversionsOfAScriptAreNotLoaded) {
    folder.write("gconv-modules", "alias X-SCRIPTS// ISO-10646/UTF8/\n");
    ASSERT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    setenv("GCONV_PATH", folder.path().c_str(), 1);
    EXPECT_EQ(iconv_open("UTF-16", "X-SCRIPTS"), reinterpret_cast<iconv_t>(-1));
}

TEST_F(StartEnvironmentTest, WhatIsSetLaterSurvives) {
    ASSERT_EQ(ZK_OK, ZKCallsInit(nullptr, nullptr));
    setenv("LATER", "1", 1);
    { const StartEnvironment outer, inner; }
    setenv("LATER_STILL", "2", 1);
    EXPECT_EQ(value_of("LATER"), "1");
    EXPECT_EQ(value_of("LATER_STILL"), "2");
}

} // namespace
