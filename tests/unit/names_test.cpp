#include "directory/names.h"

#include "tests/unit/session_fixture.h"

namespace {

struct Split {
    const char *name, *parent, *leaf, *typedLeaf;
};

class NameSplit : public testing::TestWithParam<Split> {};

TEST_P(NameSplit, FillsAllThreeOuts) {
    const Split &row = GetParam();
    char parent[64] = "?", leaf[64] = "?", typedLeaf[64] = "?";
    EXPECT_EQ(qrt_DSRemoveNameFromFullName(row.name, parent, leaf, typedLeaf), leaf);
    EXPECT_STREQ(parent, row.parent);
    EXPECT_STREQ(leaf, row.leaf);
    EXPECT_STREQ(typedLeaf, row.typedLeaf);
}

INSTANTIATE_TEST_SUITE_P(Names, NameSplit,
                         testing::Values(Split{".CN=jdoe.OU=sales.O=acme", "OU=sales.O=acme", "jdoe", "CN=jdoe"},
                                         Split{"jdoe.sales.acme", "sales.acme", "jdoe", "jdoe"},
                                         Split{"jdoe", "[Root]", "jdoe", "jdoe"},
                                         Split{"jdoe.", "[Root]", "jdoe", "jdoe"}, Split{"jdoe..", ".", "jdoe", "jdoe"},
                                         Split{"a\\.b.c", "c", "a\\.b", "a\\.b"},
                                         Split{"a\\=b=c.d", "d", "c", "a\\=b=c"}, Split{"=x.y", "y", "x", "=x"},
                                         Split{"CN=a=b.c", "c", "a=b", "CN=a=b"}, Split{"..a", "a", "", ""},
                                         Split{"", "[Root]", "", ""}, Split{".", "[Root]", "", ""}));

TEST(NameSplitOuts, MayEachBeNull) {
    char parent[32], leaf[32], typedLeaf[32];
    EXPECT_EQ(qrt_DSRemoveNameFromFullName("CN=a.b", parent, nullptr, nullptr), nullptr);
    EXPECT_STREQ(parent, "b");
    EXPECT_EQ(qrt_DSRemoveNameFromFullName("CN=a.b", nullptr, leaf, nullptr), leaf);
    EXPECT_STREQ(leaf, "a");
    qrt_DSRemoveNameFromFullName("CN=a.b", nullptr, nullptr, typedLeaf);
    EXPECT_STREQ(typedLeaf, "CN=a");
}

TEST(NameSplitOuts, MayBeTheBufferOfTheName) {
    char name[32] = "CN=jdoe.sales.acme";
    char leaf[32];
    qrt_DSRemoveNameFromFullName(name, name, leaf, nullptr);
    EXPECT_STREQ(name, "sales.acme");
    EXPECT_STREQ(leaf, "jdoe");
}

struct Delimiter {
    const char *text, *delimiter;
    int position; // -1: none
};

class FindDelimiter : public testing::TestWithParam<Delimiter> {};

TEST_P(FindDelimiter, ReturnsThePosition) {
    const Delimiter &row = GetParam();
    const char *expected = row.position < 0 ? nullptr : row.text + row.position;
    EXPECT_EQ(qrt_DSFindDelimiter(row.text, row.delimiter), expected);
}

INSTANTIATE_TEST_SUITE_P(Names, FindDelimiter,
                         testing::Values(Delimiter{".x", ".", 0}, Delimiter{"a.b", ".", 1},
                                         Delimiter{"a\\.b.c", ".", 4}, Delimiter{"a\\.b", ".", -1},
                                         Delimiter{"a\\\\.b", ".", -1}, // only one character back is looked at
                                         Delimiter{"\\.b", ".", -1}, Delimiter{"a\\..b", ".", 3}, // the next one counts
                                         Delimiter{"ab", ".", -1}, Delimiter{"", ".", -1}, Delimiter{"x::y", "::", 1},
                                         Delimiter{"aaab", "ab", 2}));

TEST(FindDelimiterAt, TheStartOfTheTextWhateverStandsBeforeIt) {
    const char escaped[] = "\\.x";
    EXPECT_EQ(qrt_DSFindDelimiter(escaped + 1, "."), escaped + 1);
}

TEST(NameCopy, RefusesWhatDoesNotFit) {
    char out[4] = "???";
    EXPECT_TRUE(names_copy(out, sizeof out, "abc"));
    EXPECT_STREQ(out, "abc");
    EXPECT_FALSE(names_copy(out, sizeof out, "abcd"));
    EXPECT_STREQ(out, "");
}

} // namespace
