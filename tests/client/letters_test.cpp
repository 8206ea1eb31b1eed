#include "platform/client/core/letters.h"

#include <gtest/gtest.h>

namespace {

TEST(Letters, AreFoldedWithoutALookAtWhatStandsBehindThem) {
    EXPECT_EQ("\xC3\xB6", letters_fold(std::string_view("\xC3\x96\xFF", 2)));
    EXPECT_EQ("\xC3\x96\xFF", letters_fold("\xC3\x96\xFF")) << "what is no UTF-8 stays as it is";
}

} // namespace
