// The exact limits of a substitution that would not end.
#include <cstdlib>

#include "directory/substitution.h"
#include "tests/unit/session_fixture.h"

namespace {

class SubstitutionBounds : public DirectoryTest {
  protected:
    // How long a text gets that grows by so many bytes with each replacement.
    static size_t grown_by(size_t bytes) {
        const std::string reference = "%<SELF>";
        setenv("SELF", (std::string(bytes, 'x') + reference).c_str(), 1);
        return taken(qrt_find_replace_ids(session_handle, reference.c_str())).size() - reference.size();
    }
};

TEST_F(SubstitutionBounds, ATextThatHasGrownToTheLimitIsReplacedOnceMore) {
    static_assert(substitution_most_growth % 1024 == 0);
    EXPECT_EQ(grown_by(1024), substitution_most_growth + 1024);
}

TEST_F(SubstitutionBounds, AByteOverTheLimitIsTheEnd) {
    constexpr size_t bytes = 61681;
    static_assert((substitution_most_growth + 1) % bytes == 0);
    EXPECT_EQ(grown_by(bytes), substitution_most_growth + 1);
}

TEST_F(SubstitutionBounds, AVariableWithoutItsBracketOrNameIsEmpty) {
    EXPECT_EQ(taken(qrt_find_replace_ids(session_handle, "a%<")), "a");
    EXPECT_EQ(taken(qrt_find_replace_ids(session_handle, "a%<>b")), "ab");
    EXPECT_EQ(taken(qrt_find_replace_ids(session_handle, "%<")), "");
}

} // namespace
