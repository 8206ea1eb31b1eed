#include "commands/include.h"

#include "tests/unit/session_fixture.h"

namespace {

class IncludeTest : public SessionTest {
  protected:
    std::string printed(const std::string &script) {
        result_ = run(script);
        return output();
    }
    int result_ = 0;
};

TEST_F(IncludeTest, AFilesOrObjectsLinesRunInPlace) {
    folder_.file("more", "WRITE \"2\"\nWRITE \"3\"");
    EXPECT_EQ(printed("WRITE \"1\"\nINCLUDE " + folder_.path("more") + "\nWRITE \"4\"\n"), "1\n2\n3\n4\n");
    EXPECT_EQ(result_, 0);
    spy::stream("sales.acme", "WRITE \"2\"");
    EXPECT_EQ(printed("WRITE \"1\"\nINCLUDE .sales.acme\nWRITE \"3\"\n"), "1\n2\n3\n");
    EXPECT_EQ(result_, 0);
    spy::stream("a", "WRITE \"a1\"\nINCLUDE .b\nWRITE \"a2\"");
    spy::stream("b", "WRITE \"b\"");
    EXPECT_EQ(printed("INCLUDE .a\n"), "a1\nb\na2\n");
}

TEST_F(IncludeTest, ARelativeNameGetsTheCurrentContext) {
    set(CurrentContext, ".sales.acme");
    spy::stream("news.sales.acme", "WRITE \"relative\"");
    spy::stream("news", "WRITE \"complete\"");
    EXPECT_EQ(printed("INCLUDE news\nINCLUDE .news\n"), "relative\ncomplete\n");
    EXPECT_THAT(spy::calls("ZKDSAbbreviateName"),
                ElementsAre("ZKDSAbbreviateName(77, \"news.sales.acme\")", "ZKDSAbbreviateName(77, \".news\")"));
}

TEST_F(IncludeTest, AnUnknownObjectIsAFileByItsNameAsWritten) {
    set(CurrentContext, ".sales.acme");
    driveDir = text_copy(folder_.path("")).release();
    folder_.file("more", "WRITE \"from the file\"");
    EXPECT_EQ(printed("INCLUDE more\n"), "from the file\n");
}

TEST_F(IncludeTest, WhatIsMissingOrEmptyIsReportedAndTheScriptGoesOn) {
    set(CurrentContext, ".sales.acme");
    EXPECT_EQ(printed("INCLUDE news\nWRITE \"on\"\n"), "Unable to find file: news\non\n");
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(printed("INCLUDE /nowhere/x\nWRITE \"on\"\n"), "Unable to find file:/nowhere/x\non\n");
    EXPECT_EQ(result_, 0);
    folder_.file("empty", "");
    EXPECT_EQ(printed("INCLUDE " + folder_.path("empty") + "\nWRITE \"on\"\n"),
              "Unable to find file:" + folder_.path("empty") + "\non\n");
}

TEST_F(IncludeTest, InASkippedBranchNothingIsIncluded) {
    spy::stream("a", "WRITE \"a\"");
    EXPECT_EQ(printed("IF \"a\" = \"b\" THEN\nINCLUDE .a\nEND\n"), "");
    EXPECT_THAT(spy::calls("ZKDSOpenStream"), IsEmpty());
    folder_.file("more", "WRITE \"more\"");
    EXPECT_EQ(printed("IF \"a\" = \"b\" THEN\nINCLUDE " + folder_.path("more") + "\nINCLUDE /nowhere/x\nEND\n"),
              "Unable to find file:/nowhere/x\n");
}

} // namespace
