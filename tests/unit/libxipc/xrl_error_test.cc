// XrlError: notes, unknown codes from peers and the str() form callers print.
// The texts of the codes are checked where they are printed (call_xrl's
// error lines, generated_target_test).

#include "libxipc/xrl_error.hh"

#include <gtest/gtest.h>

namespace {

TEST(XrlErrorTest, NotesAndUnknownCodes)
{
    XrlError e(COMMAND_FAILED, "bad level");
    EXPECT_EQ("102 Command failed bad level", e.str());
    EXPECT_EQ("bad level", e.note());
    EXPECT_TRUE(XrlError::known_code(220));
    EXPECT_FALSE(XrlError::known_code(103));

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

}  // namespace
