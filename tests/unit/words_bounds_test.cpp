// The edges of splitting a line into words: sections that touch, and a report that must not wait.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "base/words.h"
#include "include/exported.h"

namespace {

using Words = std::vector<std::string>;

TEST(WordsBounds, AnEmptySectionClosesBeforeTheNextOneOpens) {
    EXPECT_EQ(words_split("p \"\" a \"b c\" d"), (Words{"p", "\"\"", "a", "\"b c\"", "d"}));
}

TEST(WordsBounds, ASectionMayFollowAnotherAtOnce) {
    EXPECT_EQ(words_split("p \"a b\"\"c d\" e"), (Words{"p", "\"a b\"\"c d\"", "e"}));
}

// What a process has written is otherwise lost when it ends without a flush, or comes behind its children's output.
TEST(WordsBounds, ANullIsReportedAtOnce) {
    FILE *file = tmpfile();
    fflush(stdout);
    const int before = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    getQuote(nullptr);
    char seen[64] = "";
    const ssize_t length = pread(fileno(file), seen, sizeof seen - 1, 0);
    fflush(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);
    fclose(file);
    EXPECT_EQ(length, 29);
    EXPECT_STREQ(seen, "ERROR, called getQuote(NULL)\n");
}

} // namespace
