#include "libxorp/exceptions.hh"

#include <gtest/gtest.h>

namespace {

// Shaped as a daemon's own exception class.
struct LoginException : public XorpReasonedException {
    LoginException(const char* file, size_t line, const std::string& why = "")
        : XorpReasonedException("LoginException", file, line, why) {}
};

TEST(Exceptions, StrNamesClassPlaceAndReasonOrNotSpecified)
{
    LoginException e("login_main.cc", 42, "Permission denied");
    EXPECT_EQ("LoginException", e.what());
    EXPECT_EQ("line 42 of login_main.cc", e.where());
    EXPECT_EQ("Permission denied", e.why());
    EXPECT_EQ("LoginException from line 42 of login_main.cc: Permission denied", e.str());
    const XorpException& base = e;  // why() is virtual
    EXPECT_EQ("Permission denied", base.why());

    LoginException empty("f.cc", 1);
    EXPECT_EQ("Not specified", empty.why());
    EXPECT_EQ("LoginException from line 1 of f.cc: Not specified", empty.str());
    XorpException plain("Plain", "g.cc", 7);
    EXPECT_EQ("Plain from line 7 of g.cc: Not specified", plain.str());
}

TEST(Exceptions, ThrowMacroRecordsFileAndLine)
{
    size_t line = 0;
    try {
        line = __LINE__ + 1;
        xorp_throw(InvalidString, "bad thing");
        FAIL();
    } catch (const XorpException& e) {
        EXPECT_EQ("InvalidString", e.what());
        EXPECT_EQ(std::string("line ") + std::to_string(line) + " of " + __FILE__, e.where());
        EXPECT_EQ("bad thing", e.why());
    }
}

}  // namespace
