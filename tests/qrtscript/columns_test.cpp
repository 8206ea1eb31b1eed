#include "tools/columns.h"

#include <gtest/gtest.h>
#include <clocale>

TEST(Columns, CountLettersAsATerminalShowsThem) {
    const struct {
        const char *text;
        size_t columns;
    } rows[] = {{"", 0}, {"add", 3}, {"\u00E4ndern", 6}, {"\u8FFD\u52A0", 4}, {"a\u0308", 1}, {"\xFF\xFE", 2}};
    ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    for (const auto &row : rows) EXPECT_EQ(columns_of(row.text), row.columns) << row.text;
    EXPECT_EQ(columns_padded("\u8FFD\u52A0", 7), "\u8FFD\u52A0   ");
    EXPECT_EQ(columns_padded("\u00E4ndern", 7), "\u00E4ndern ");
    EXPECT_EQ(columns_padded("longer", 3), "longer");
    setlocale(LC_CTYPE, "C");
}
