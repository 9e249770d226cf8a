// The frame format: what a writer produces is what a reader takes back, and
// every way a frame can be cut or oversized is caught.

#include <string>

#include <gtest/gtest.h>

#include "libxipc/xrl_wire.hh"

using namespace xrlwire;

namespace {

TEST(XrlWire, FieldsComeBackAsWrittenInBigEndianFrames)
{
    std::string buf = "prefix";
    FrameWriter w(buf, MSG_REPLY);
    w.u32(0x01020304);
    w.str(std::string("note"));
    w.str(std::string("a\0b", 3));
    ASSERT_TRUE(w.finish());
    ASSERT_EQ(6u + 4 + 1 + 4 + 8 + 7, buf.size());
    EXPECT_EQ(std::string("\x00\x00\x00\x14\x05\x01\x02\x03\x04", 9),
	      buf.substr(6, 9));

    uint32_t len = 0;
    ASSERT_EQ(FRAME_READY, next_frame(buf.data() + 6, buf.size() - 6, len));
    ASSERT_EQ(20u, len);
    PayloadReader r(buf.data() + 6 + kHeaderSize, len);
    uint8_t type;
    uint32_t v;
    std::string a, b;
    ASSERT_TRUE(r.u8(type) && r.u32(v) && r.str(a) && r.str(b));
    EXPECT_EQ(MSG_REPLY, type);
    EXPECT_EQ(0x01020304u, v);
    EXPECT_EQ("note", a);
    EXPECT_EQ(std::string("a\0b", 3), b);
    EXPECT_TRUE(r.at_end());
}

TEST(XrlWire, PartialOversizedAndEmptyFramesAreTold)
{
    std::string buf;
    FrameWriter w(buf, MSG_REQUEST);
    w.str(std::string(100, 'x'));
    ASSERT_TRUE(w.finish());
    uint32_t len;
    for (size_t cut = 0; cut < buf.size(); cut++)
	EXPECT_EQ(FRAME_INCOMPLETE, next_frame(buf.data(), cut, len)) << cut;
    EXPECT_EQ(FRAME_READY, next_frame(buf.data(), buf.size(), len));

    const char limit[] = { 0x00, 0x10, 0x00, 0x00 };	// exactly 1 MiB
    EXPECT_EQ(FRAME_INCOMPLETE, next_frame(limit, 4, len));
    const char over[] = { 0x00, 0x10, 0x00, 0x01 };
    EXPECT_EQ(FRAME_TOO_LARGE, next_frame(over, 4, len));
    const char huge[] = { '\xff', '\xff', '\xff', '\xff' };
    EXPECT_EQ(FRAME_TOO_LARGE, next_frame(huge, 4, len));
    const char empty[] = { 0, 0, 0, 0 };
    EXPECT_EQ(FRAME_EMPTY, next_frame(empty, 4, len));
}

TEST(XrlWire, WriterTakesBackAFrameOverTheLimit)
{
    std::string buf = "kept";
    FrameWriter w(buf, MSG_REQUEST);
    w.str(std::string(kMaxPayload, 'x'));
    EXPECT_FALSE(w.finish());
    EXPECT_EQ("kept", buf);

    std::string fits;
    FrameWriter f(fits, MSG_REQUEST);
    f.str(std::string(kMaxPayload - 1 - 4, 'x'));
    EXPECT_TRUE(f.finish());
}

TEST(XrlWire, ReaderRefusesFieldsThatRunPastThePayload)
{
    const char str_too_long[] = { 0, 0, 0, 9, 'a', 'b' };
    PayloadReader r(str_too_long, sizeof(str_too_long));
    std::string s;
    EXPECT_FALSE(r.str(s));
    uint8_t b;
    EXPECT_FALSE(r.u8(b));		// stays failed
    EXPECT_FALSE(r.at_end());

    PayloadReader short_u32("\x01\x02", 2);
    uint32_t v;
    EXPECT_FALSE(short_u32.u32(v));

    PayloadReader extra("\x01\x02", 2);
    ASSERT_TRUE(extra.u8(b));
    EXPECT_FALSE(extra.at_end());
}

TEST(XrlWire, RequestsAndRepliesAreReadWholeOrNotAtAll)
{
    std::string buf;
    FrameWriter w(buf, MSG_REQUEST);
    w.u32(7);
    w.str(std::string("login"));
    w.str(std::string("common/0.1/get_status"));
    w.str(std::string(""));
    ASSERT_TRUE(w.finish());
    const char* payload = buf.data() + kHeaderSize;
    size_t len = buf.size() - kHeaderSize;

    RequestView req;
    ASSERT_TRUE(read_request(payload, len, req));
    EXPECT_EQ(7u, req.seq);
    EXPECT_EQ("login", std::string(req.target, req.target_len));
    EXPECT_EQ("common/0.1/get_status",
	      std::string(req.command, req.command_len));
    EXPECT_EQ(0u, req.args_len);
    EXPECT_FALSE(read_request(payload, len - 1, req));	// cut short
    // A request is not a reply: its fields do not fill one exactly.
    ReplyView rep;
    EXPECT_FALSE(read_reply(payload, len, rep));

    std::string more = buf + "x";
    EXPECT_FALSE(read_request(more.data() + kHeaderSize,
			      more.size() - kHeaderSize, req));	// trailing byte
}

}  // namespace
