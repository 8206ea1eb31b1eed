// What the tests of names, attributes, identifiers and contexts start from: nobody logged in, an empty client, a user
// "jdoe" in ".sales.acme".
#ifndef TESTS_UNIT_DIRECTORY_FIXTURE_H
#define TESTS_UNIT_DIRECTORY_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/clock.h"
#include "base/text.h"
#include "qrtscript.h"
#include "tests/client_spy/client_spy.h"

inline constexpr char user_object[] = "jdoe.sales.acme";
inline constexpr uint32_t session_handle = 40;

class DirectoryTest : public testing::Test {
  protected:
    void SetUp() override {
        spy::reset();
        clock_before = clock_now;
        set(CurrentObject, "jdoe");
        set(CurrentContext, ".sales.acme");
        set(InitialContext, ".sales.acme");
        for (char *&variable : uservars) set(variable, nullptr);
    }
    void TearDown() override {
        for (char **global : {&CurrentObject, &CurrentContext, &InitialContext, &LoginName, &CurrentTree})
            set(*global, nullptr);
        for (char *&variable : uservars) set(variable, nullptr);
        clock_now = clock_before;
        EXPECT_THAT(spy::mistakes(), testing::IsEmpty());
        EXPECT_EQ(spy::open_buffers(), 0);
        spy::reset();
    }

    static void set(char *&global, const char *value) {
        free(global);
        global = text_copy_or_null(value).release();
    }
    // Makes a heap result a string, "(null)" for none.
    static std::string taken(char *text) {
        OwnedText owned(text);
        return text ? text : "(null)";
    }

  private:
    time_t (*clock_before)() = nullptr;
};

#endif
