// XrlError and XrlCmdError: codes, texts and the str() forms callers print.

#include "libxipc/xrl_error.hh"

#include <gtest/gtest.h>

namespace {

TEST(XrlErrorTest, EveryCodeHasItsNumberAndText)
{
    struct { const XrlError& e; uint32_t code; const char* text; } cases[] = {
        { XrlError::OKAY(),                  100, "Okay" },
        { XrlError::BAD_ARGS(),              101, "Bad argument(s)" },
        { XrlError::COMMAND_FAILED(),        102, "Command failed" },
        { XrlError::NO_FINDER(),             200, "Finder not present/ready" },
        { XrlError::RESOLVE_FAILED(),        201, "Resolve failed" },
        { XrlError::NO_SUCH_METHOD(),        202, "No such method" },
        { XrlError::SEND_FAILED(),           210, "Transport failed" },
        { XrlError::REPLY_TIMED_OUT(),       211, "Reply timed out" },
        { XrlError::SEND_FAILED_TRANSIENT(), 212, "Transient transport failure" },
        { XrlError::INTERNAL_ERROR(),        220, "Internal error" },
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.code, static_cast<uint32_t>(c.e.error_code()));
        EXPECT_STREQ(c.text, c.e.error_msg());
        EXPECT_EQ(std::to_string(c.code) + " " + c.text, c.e.str());
        EXPECT_TRUE(XrlError::known_code(c.code));
        EXPECT_EQ(c.code == 100, c.e.isOK());
    }
    EXPECT_FALSE(XrlError::known_code(0));
    EXPECT_FALSE(XrlError::known_code(103));
}

TEST(XrlErrorTest, NotesAndUnknownCodes)
{
    XrlError e(COMMAND_FAILED, "bad level");
    EXPECT_EQ("102 Command failed bad level", e.str());
    EXPECT_EQ("bad level", e.note());

    XrlError unknown(static_cast<XrlErrorCode>(999));
    EXPECT_EQ(INTERNAL_ERROR, unknown.error_code());
    EXPECT_EQ("220 Internal error Errorcode 999 unknown", unknown.str());
    XrlError unknown_note(static_cast<XrlErrorCode>(7), "from peer");
    EXPECT_EQ("Errorcode 7 unknown from peer", unknown_note.note());

    EXPECT_TRUE(XrlError().isOK());
    // Comparison looks at the code only.
    EXPECT_TRUE(e == XrlError::COMMAND_FAILED());
    EXPECT_TRUE(e != XrlError::BAD_ARGS());
}

TEST(XrlCmdErrorTest, FactoriesTextsAndConversion)
{
    EXPECT_TRUE(XrlCmdError::OKAY().isOK());
    EXPECT_EQ("XrlCmdError 100 Okay", XrlCmdError::OKAY().str());

    XrlCmdError bad = XrlCmdError::BAD_ARGS("expected level:txt");
    EXPECT_EQ(BAD_ARGS, bad.error_code());
    EXPECT_EQ("expected level:txt", bad.note());
    EXPECT_EQ("XrlCmdError 101 Bad argument(s) expected level:txt", bad.str());

    XrlCmdError failed = XrlCmdError::COMMAND_FAILED("Set user class failed, x");
    EXPECT_FALSE(failed.isOK());
    XrlError as_error = failed;
    EXPECT_EQ("102 Command failed Set user class failed, x", as_error.str());
    EXPECT_TRUE(failed != XrlCmdError::OKAY());
    EXPECT_TRUE(XrlCmdError::COMMAND_FAILED() == XrlError::COMMAND_FAILED());
    EXPECT_EQ("XrlCmdError 102 Command failed", XrlCmdError::COMMAND_FAILED().str());
}

}  // namespace
