// The textual XRL form: escaping of values, parsing, canonical printing.

#include "libxipc/xrl.hh"
#include "libxipc/xrl_atom_encoding.hh"

#include <gtest/gtest.h>

namespace {

std::string
decode(const std::string& s)
{
    std::string out;
    EXPECT_TRUE(xrlatom_decode_value(s, out)) << s;
    return out;
}

TEST(XrlEncodingTest, EscapesExactlyTheReservedBytes)
{
    EXPECT_EQ("a%26b%3Dc%2Bd%25e", xrlatom_encode_value("a&b=c+d%e"));
    EXPECT_EQ("caf%C3%A9", xrlatom_encode_value("caf\xc3\xa9"));
    EXPECT_EQ("two+words", xrlatom_encode_value("two words"));
    EXPECT_EQ("%5B%5D%26%3D%2B%25%24%2C%3B%7B%7D%23",
              xrlatom_encode_value("[]&=+%$,;{}#"));
    EXPECT_EQ("%00%01%0A%1F%7F%80%FF",
              xrlatom_encode_value(std::string("\0\x01\n\x1f\x7f\x80\xff", 7)));
    // Left alone, as XORP does.
    const std::string plain = "/:?!\"'<>@~^*()|\\-_.azAZ09";
    EXPECT_EQ(plain, xrlatom_encode_value(plain));
}

TEST(XrlEncodingTest, DecodesEitherCaseAndRejectsBadEscapes)
{
    EXPECT_EQ("caf\xc3\xa9", decode("caf%c3%a9"));
    EXPECT_EQ("raw space", decode("raw space"));

    std::string out;
    for (const char* bad : { "%", "%4", "ab%", "%G1", "%1G", "%%41", "x%-1" })
        EXPECT_FALSE(xrlatom_decode_value(bad, out)) << bad;

    for (int c = 0; c < 256; c++) {
        std::string one(1, static_cast<char>(c));
        EXPECT_EQ(one, decode(xrlatom_encode_value(one))) << c;
    }
}

TEST(XrlTest, ParsesAndPrintsCanonicalText)
{
    Xrl x("finder://login/login/0.1/set_hostname?hostname:txt=sw+1%26x");
    EXPECT_EQ("finder", x.protocol());
    EXPECT_EQ("login", x.target());
    EXPECT_EQ("login/0.1/set_hostname", x.command());
    EXPECT_EQ("sw 1&x", x.args().get_string("hostname"));
    EXPECT_EQ("finder://login/login/0.1/set_hostname?hostname:txt=sw+1%26x",
              x.str());
    EXPECT_EQ("finder://login/login/0.1/set_hostname", x.string_no_args());

    // The protocol is optional; raw spaces and lower-case escapes are
    // accepted and printed canonically.
    Xrl y("login/login/0.1/set_login_message?message:txt=hi there%2c%c3%a9");
    EXPECT_EQ("finder://login/login/0.1/set_login_message"
              "?message:txt=hi+there%2C%C3%A9", y.str());

    Xrl z("finder://login-0123abcd@127.0.0.1/common/0.1/get_status");
    EXPECT_EQ("login-0123abcd@127.0.0.1", z.target());
    EXPECT_EQ(0u, z.args().size());
    EXPECT_EQ("finder://login-0123abcd@127.0.0.1/common/0.1/get_status", z.str());
    EXPECT_EQ(0u, Xrl("finder://x/a/0.1/m?").args().size());
}

TEST(XrlTest, RejectsMalformedText)
{
    const char* bad[] = {
        "",
        "finder://",
        "finder://login",                        // no command
        "finder://login/",
        "finder://login/common/0.1",             // no method
        "finder://login/common/0.1/",
        "finder://login/common//get_status",     // no version
        "finder://login/common/1/get_status",
        "finder://login/common/0.1/get_status/x",
        "finder:///common/0.1/get_status",       // no target
        "://login/common/0.1/get_status",
        "fin der://login/common/0.1/get_status",
        "finder://lo gin/common/0.1/get_status",
        "finder://login/com mon/0.1/get_status",
        "finder://login/common/0.1/get status",
        "finder://login/common/0.1/get_status?x",              // no type
        "finder://login/common/0.1/get_status?x:u32=abc",  // the arguments' own rules: xrl_atom_test
    };
    for (const char* text : bad)
        EXPECT_THROW(Xrl x(text), InvalidString) << text;
}

}  // namespace
