#include "tools/qrtlogin/run_patience.h"

#include <gtest/gtest.h>

TEST(InterruptSeries, IsCompleteWithTheThirdInTwoSeconds) {
    InterruptSeries series;
    EXPECT_FALSE(series.add(1000));
    EXPECT_FALSE(series.add(2000));
    EXPECT_TRUE(series.add(3000));
}

TEST(InterruptSeries, OlderInterruptsDoNotCount) {
    InterruptSeries series;
    EXPECT_FALSE(series.add(0));
    EXPECT_FALSE(series.add(1000));
    EXPECT_FALSE(series.add(2001));
    EXPECT_FALSE(series.add(3001));
    EXPECT_TRUE(series.add(4000));
}

TEST(TimeAllowance, IsUsedUpAfterItsLength) {
    TimeAllowance allowance(1000, 50);
    EXPECT_EQ(allowance.left(50), 1000);
    EXPECT_EQ(allowance.left(1049), 1);
    EXPECT_EQ(allowance.left(1050), 0);
    EXPECT_EQ(allowance.left(9000), 0);
}

TEST(TimeAllowance, StandsStillWhileAPersonIsAsked) {
    TimeAllowance allowance(1000, 0);
    allowance.questionBegins(400);
    EXPECT_EQ(allowance.left(5000), std::nullopt);
    allowance.questionEnds(9400);
    EXPECT_EQ(allowance.left(9400), 600);
    allowance.questionBegins(9900);
    allowance.questionEnds(20000);
    EXPECT_EQ(allowance.left(20100), 0);
}

TEST(TimeAllowance, AQuestionWithinAQuestionEndsWithTheOuterOne) {
    TimeAllowance allowance(1000, 0);
    allowance.questionBegins(0);
    allowance.questionBegins(10);
    allowance.questionEnds(20);
    EXPECT_EQ(allowance.left(5000), std::nullopt);
    allowance.questionEnds(5000);
    EXPECT_EQ(allowance.left(5000), 1000);
}

TEST(TimeAllowance, WithoutALengthThereIsNoEnd) {
    TimeAllowance allowance(std::nullopt, 0);
    EXPECT_EQ(allowance.left(INT64_MAX), std::nullopt);
}

TEST(TimeAllowance, IsTheUsualOneWhereNobodyCanInterrupt) {
    EXPECT_EQ(time_limit_of(std::nullopt, false), 300000);
    EXPECT_EQ(time_limit_of(std::nullopt, true), std::nullopt);
    EXPECT_EQ(time_limit_of(0, false), std::nullopt);
    EXPECT_EQ(time_limit_of(7, false), 7000);
    EXPECT_EQ(time_limit_of(7, true), 7000);
}
