// Attributes outside of the client's own schema.

#include "platform/client/core/other_attributes.h"

#include <gtest/gtest.h>

#include "platform/zk.h"

TEST(OtherAttributes, AreFoundInAnyLetterCaseAndWithUnderscores) {
    OtherAttributes all;
    all.add("employeeID", {"17", "18"}, schema_text, {});
    for (const char *name : {"employeeID", "EMPLOYEE_ID", "employeeid"}) {
        const OtherAttribute *found = all.find(name);
        ASSERT_NE(found, nullptr) << name;
        EXPECT_EQ(found->values, (std::vector<std::string>{"17", "18"}));
        EXPECT_STREQ(found->row->ldap, "employeeID");
    }
    EXPECT_EQ(all.find("employee"), nullptr);
}

TEST(OtherAttributes, LeaveOutWhatIsNeverHandedOut) {
    OtherAttributes all;
    const struct {
        const char *name;
        uint32_t syntax;
        std::string value;
    } rows[] = {{"userPassword", schema_text, "x"},
                {"sshPublicKey", schema_text, "x"},
                {"sambaNTHash", schema_text, "x"},
                {"photo", schema_stream, "x"},
                {"other", 99, "x"},
                {"aNameOfMoreThanThirtyTwoLettersIsTooLong", schema_text, "x"},
                {"since", ZK_SYNTAX_TIME, "yesterday"},
                {"empty", schema_text, ""},
                {"nul", schema_text, std::string("a\0b", 3)},
                {"large", schema_text, std::string(size_t{64} * 1024 + 1, 'x')}};
    for (const auto &row : rows) {
        all.add(row.name, {row.value}, row.syntax, {});
        EXPECT_EQ(all.find(row.name), nullptr) << row.name;
    }
}

TEST(OtherAttributes, OfAnotherUserAreOthersOfTheSameRow) {
    OtherAttributes all;
    all.add("employeeID", {"17"}, schema_text, {});
    const SchemaAttribute *row = all.find("employeeID")->row;
    all.forget();
    EXPECT_EQ(all.find("employeeID"), nullptr);
    all.add("employeeID", {"18"}, schema_text, {});
    EXPECT_EQ(all.find("employeeID")->row, row);
}
