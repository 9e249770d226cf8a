#include "libxorp/timeval.hh"

#include <gtest/gtest.h>

#include <ostream>
#include <type_traits>

// A bare number is ambiguous (seconds? microseconds?) and must not compile.
static_assert(!std::is_constructible<TimeVal, int>::value, "TimeVal(int) must not compile");
static_assert(!std::is_convertible<int, TimeVal>::value, "int must not become a TimeVal");

// Readable failure messages.
void PrintTo(const TimeVal& t, std::ostream* os)
{
    *os << t.str();
}

namespace {

TEST(TimeVal, ArithmeticTextAndMilliseconds)
{
    TimeVal a(1, 700000), b(0, 600000);
    EXPECT_EQ(TimeVal(2, 300000), a + b);
    EXPECT_EQ(TimeVal(1, 100000), a - b);
    EXPECT_EQ(TimeVal(-2, 900000), b - a);  // -1.1 s
    EXPECT_EQ(TimeVal(-1, -100000), b - a);
    EXPECT_EQ(TimeVal(3, 400000), a * 2);
    EXPECT_EQ(TimeVal(0, 850000), a / 2);
    EXPECT_EQ(TimeVal(2, 500000), TimeVal(0, 2500000));
    EXPECT_EQ(TimeVal(1, 500000), TimeVal(1.5));
    EXPECT_LT(b, a);
    EXPECT_GE(a, a);
    EXPECT_TRUE(TimeVal().is_zero());
    EXPECT_EQ(TimeVal::ZERO(), TimeVal(0, 0));

    EXPECT_EQ("1.000005", TimeVal(1, 5).str());
    EXPECT_EQ("240.000000", TimeVal(240, 0).str());
    EXPECT_EQ(1500, TimeVal(1, 500000).to_ms());
    EXPECT_EQ(1, TimeVal(0, 1).to_ms());  // a positive delay is never 0 ms
    EXPECT_EQ(0, TimeVal::ZERO().to_ms());
    TimeVal t;
    t.set_ms(2750);
    EXPECT_EQ(TimeVal(2, 750000), t);
}

}  // namespace
