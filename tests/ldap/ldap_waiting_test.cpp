// The steps in which somebody waits, without any server.
#include "platform/client/core/waiting.h"

#include <gmock/gmock.h>
#include <future>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> notices;

void note(const char *what) {
    notices.push_back(what != nullptr ? what : "(over)");
}

class LdapWaitingSteps : public testing::Test {
  protected:
    LdapWaitingSteps() {
        notices.clear();
        ldap_waiting_notice(std::chrono::hours(1), note);
    }
    ~LdapWaitingSteps() override { ldap_waiting_notice({}, nullptr); }

    const LdapDeadline later = LdapClock::now() + std::chrono::hours(2), soon = LdapClock::now();
};

} // namespace

TEST_F(LdapWaitingSteps, TheFirstEndsWhenTheNoticeIsDue) {
    EXPECT_EQ(ldap_waiting_step(later), later) << "nobody waits";
    LdapWaiting waiting;
    const LdapDeadline due = ldap_waiting_step(later);
    EXPECT_LT(due, later);
    EXPECT_GT(due, soon + std::chrono::minutes(59));
    EXPECT_EQ(ldap_waiting_step(soon), soon);
    ldap_waiting_for("a");
    EXPECT_EQ(ldap_waiting_step(later), due);
    ldap_waiting_tell();
    EXPECT_EQ(ldap_waiting_step(later), later) << "it is reported once";
    EXPECT_THAT(notices, ElementsAre("a"));
}

TEST_F(LdapWaitingSteps, OnceReportedEveryChangeIsReportedAndTheEnd) {
    {
        LdapWaiting waiting;
        ldap_waiting_for("a");
        ldap_waiting_for("b");
        ldap_waiting_tell();
        ldap_waiting_tell();
        ldap_waiting_for("b");
        ldap_waiting_for("c");
        { LdapWaiting within; }
        ldap_waiting_for("d");
    }
    EXPECT_THAT(notices, ElementsAre("b", "c", "d", "(over)"));
    ldap_waiting_for("e");
    EXPECT_EQ(notices.size(), 4u) << "nobody waits any more";
    notices.clear();
    {
        LdapWaiting next;
        EXPECT_LT(ldap_waiting_step(later), later) << "it may be reported again";
        ldap_waiting_for("d");
    }
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(LdapWaitingSteps, EachBeginsWithNothing) {
    {
        LdapWaiting waiting;
        ldap_waiting_for("a");
    }
    LdapWaiting next;
    ldap_waiting_tell();
    EXPECT_THAT(notices, ElementsAre(""));
}

TEST_F(LdapWaitingSteps, WithoutANoticeNothingIsReported) {
    LdapWaiting waiting;
    ldap_waiting_for("a");
    ldap_waiting_notice(std::chrono::hours(1), nullptr);
    EXPECT_EQ(ldap_waiting_step(later), later);
    ldap_waiting_tell();
    ldap_waiting_for("b");
    EXPECT_THAT(notices, IsEmpty());
    ldap_waiting_notice(std::chrono::hours(1), note);
    ldap_waiting_tell();
    ldap_waiting_notice(std::chrono::hours(1), nullptr);
    ldap_waiting_for("c");
    EXPECT_THAT(notices, ElementsAre("b"));
}

TEST_F(LdapWaitingSteps, WorkThatIsDoneInTimeIsNotReported) {
    LdapWaiting waiting;
    EXPECT_TRUE(ldap_waiting_done(Bounded([]() {}), later));
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(LdapWaitingSteps, WorkThatTakesLongerIsReportedAndWaitedFor) {
    ldap_waiting_notice({}, note);
    LdapWaiting waiting;
    ldap_waiting_for("a");
    std::promise<void> end;
    std::shared_future<void> ended = end.get_future().share();
    const Bounded work([ended]() { ended.wait(); });
    EXPECT_FALSE(ldap_waiting_done(work, LdapClock::now() + std::chrono::milliseconds(20)));
    EXPECT_THAT(notices, ElementsAre("a"));
    EXPECT_FALSE(ldap_waiting_done(work, LdapClock::now()));
    end.set_value();
    EXPECT_TRUE(ldap_waiting_done(work, later));
}
