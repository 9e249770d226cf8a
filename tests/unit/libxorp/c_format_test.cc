#include "libxorp/c_format.hh"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(CFormat, FormatsLikePrintfGrowingTheBuffer)
{
    EXPECT_EQ("line 42 of login_main.cc", c_format("line %u of %s", 42u, "login_main.cc"));
    EXPECT_EQ("100% -5 0x1f", c_format("100%% %d %#x", -5, 31));
    EXPECT_EQ("[   ab]", c_format("[%*s]", 5, "ab"));
    EXPECT_EQ("3.14", c_format("%.*f", 2, 3.14159));
    EXPECT_EQ("no conversions", c_format("no conversions"));

    std::string big(5000, 'z');
    std::string r = c_format("<%s>%d", big.c_str(), 7);
    EXPECT_EQ(5003u, r.size());
    EXPECT_EQ('<', r.front());
    EXPECT_EQ("z>7", r.substr(r.size() - 3));
}

TEST(CFormatDeathTest, WrongArgumentCountAborts)
{
    // The check runs on the format actually given, so route it through a variable.
    const char* two = "%d and %s";
    const char* star = "%*d";
    const char* percent = "%%d";
    EXPECT_DEATH(c_format(two, 1), "argument count mismatch");
    EXPECT_DEATH(c_format(two, 1, "x", 3), "argument count mismatch");
    EXPECT_DEATH(c_format_validate(star, 1), "argument count mismatch");
    EXPECT_DEATH(c_format_validate(percent, 1), "argument count mismatch");
    EXPECT_DEATH(c_format_validate("%n", 1), "%n detected");
    c_format_validate(two, 2);
    c_format_validate(star, 2);
    c_format_validate(percent, 0);
    c_format_validate("%-08.3lf %hhu %zu %lld", 4);
}

}  // namespace
