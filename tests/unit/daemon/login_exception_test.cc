// LoginException: the reason, and the text main() logs.

#include <gtest/gtest.h>

#include "core/login_exception.hh"

namespace {

TEST(LoginExceptionTest, ReasonAndText)
{
    LoginException e("login_main.cc", 42, "Permission denied");
    EXPECT_EQ("Permission denied", e.why());
    EXPECT_EQ("LoginException from line 42 of login_main.cc: Permission denied",
              e.str());

    // A copy keeps the class name, place and reason.
    LoginException copy(e);
    EXPECT_EQ(e.str(), copy.str());
}

TEST(LoginExceptionTest, EmptyReasonIsNotSpecified)
{
    LoginException e("login_main.cc", 7, "");
    EXPECT_EQ("Not specified", e.why());
    EXPECT_EQ("LoginException from line 7 of login_main.cc: Not specified",
              e.str());
}

TEST(LoginExceptionTest, CaughtAsItsBases)
{
    try {
        throw LoginException("login_main.cc", 3, "No such file or directory");
    } catch (const XorpReasonedException& e) {
        EXPECT_EQ("LoginException", e.what());
        EXPECT_EQ("No such file or directory", e.why());
    }
    try {
        throw LoginException("login_main.cc", 3, "x");
    } catch (const XorpException& e) {
        // why() is virtual: the base reference gives the reason.
        EXPECT_EQ("x", e.why());
    }
}

} // namespace
