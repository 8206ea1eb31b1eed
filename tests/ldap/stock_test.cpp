// Logins at a slapd that has never heard of this client.

#include "tests/ldap/stock_site.h"

TEST_F(StockSite, TakesTheRightPasswordOfAFullName) {
    Slapd server(stock());
    onStock(server);
    const Outcome outcome = login("uid=anna.staff", "sunflower");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::HasSubstr("User: anna\n"));
}

TEST_F(StockSite, RefusesAWrongPassword) {
    Slapd server(stock());
    onStock(server);
    EXPECT_EQ(login("uid=anna.staff", "wrong"),
              (Outcome{2, "", "qrtlogin: cannot log in as uid=anna.staff to tree ACME: wrong password\n"}));
}
