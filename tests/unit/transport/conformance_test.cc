// XORP's wire protocol against the traffic captured between real XORP
// processes (captures/, described in captures/README.md).

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "libxipc/finder_server.hh"
#include "libxipc/finder_wire.hh"
#include "libxipc/stcp_wire.hh"
#include "libxipc/xrl.hh"
#include "libxipc/xrl_args_packing.hh"
#include "libxipc/xrl_std_router.hh"
#include "raw_peer.hh"

namespace {

// One dump of a capture file, or one "closes its side" event.
struct Message {
    std::string from, to;	// roles; `to` empty for an event
    std::string bytes;
    bool stcp() const { return from != "finder" && to != "finder"; }
};

std::vector<Message>
read_capture(const std::string& name)
{
    std::ifstream in(std::string(CAPTURE_DIR) + "/" + name);
    std::vector<Message> out;
    std::string line;
    const std::string dir = "# dir=", event = "# event: ";
    while (std::getline(in, line)) {
	if (line.compare(0, dir.size(), dir) == 0) {
	    size_t arrow = line.find("->");
	    Message m;
	    m.from = line.substr(dir.size(), arrow - dir.size());
	    m.to = line.substr(arrow + 2, line.find(' ', arrow) - arrow - 2);
	    out.push_back(m);
	} else if (line.compare(0, event.size(), event) == 0) {
	    Message m;
	    m.from = line.substr(event.size(), line.find(' ', event.size()) - event.size());
	    out.push_back(m);
	} else if (line.size() > 6 && isxdigit(line[0]) && line[4] == ' ') {
	    std::istringstream hex(line.substr(6, line.find("  |") - 6));
	    std::string b;
	    while (hex >> b)
		out.back().bytes += static_cast<char>(std::stoi(b, NULL, 16));
	}
    }
    return out;
}

std::vector<std::string>
capture_files()
{
    std::vector<std::string> names;
    for (const auto& f : std::filesystem::directory_iterator(CAPTURE_DIR))
	if (f.path().extension() == ".hex")
	    names.push_back(f.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// Decodes one message and encodes what it says again; false (with the
// reason) when it does not decode.
bool
reencode(const Message& m, std::string& out, std::string& why)
{
    const char* w = "";
    size_t len = 0;
    if (m.stcp()) {
	if (stcp::split(m.bytes.data(), m.bytes.size(), len, w) != FRAME_READY
	    || len != m.bytes.size())
	    return (why = std::string("STCP framing: ") + w), false;
	stcp::Header h;
	stcp::read_header(m.bytes.data(), h);
	std::string note = m.bytes.substr(stcp::kHeaderSize, h.note_len);
	const uint8_t* data = reinterpret_cast<const uint8_t*>(m.bytes.data())
	    + stcp::kHeaderSize + h.note_len;
	XrlArgs args;
	std::string head;
	bool request = h.type == stcp::REQUEST;
	if (h.data_len != 0
	    && !xrl_args_unpack(data, h.data_len, args, request ? &head : NULL))
	    return (why = "packed arguments"), false;
	size_t at = out.size();
	stcp::append_header(out, h.seq, stcp::Type(h.type), h.code, h.note_len, 0);
	out += note;
	if (h.data_len != 0)
	    xrl_args_pack(out, args, request ? &head : NULL);
	stcp::set_data_len(out, at, out.size() - at - stcp::kHeaderSize - h.note_len);
	return true;
    }
    finderwire::Message f;
    if (finderwire::split(m.bytes.data(), m.bytes.size(), len, w) != FRAME_READY
	|| len != m.bytes.size() || !finderwire::parse(m.bytes.data(), len, f))
	return (why = "finder framing"), false;
    std::string body(f.body, f.body_len);
    try {
	if (f.request)
	    return finderwire::append_request(out, f.seq, Xrl(body.c_str()).str());
	uint32_t code;
	std::string note, args;
	if (!finderwire::parse_reply(f.body, f.body_len, code, note, args))
	    return (why = "reply body"), false;
	return finderwire::append_reply(out, f.seq, code, note,
					XrlArgs(args.c_str()).str());
    } catch (const XorpException& e) {
	why = e.str();
	return false;
    }
}

// Every captured message decodes, and encoding it again gives the same
// bytes; the two malformed frames the probe sent on purpose do not decode.
TEST(Conformance, EveryCapturedMessageDecodesAndEncodesBackByteForByte)
{
    std::vector<std::string> files = capture_files();
    ASSERT_EQ(17u, files.size());
    size_t checked = 0, refused = 0;
    for (const std::string& file : files) {
	for (const Message& m : read_capture(file)) {
	    if (m.to.empty())
		continue;
	    std::string out, why;
	    bool broken = m.bytes.compare(0, 4, "XTCP") == 0
		|| m.bytes.find("Finder 0.3") != std::string::npos;
	    bool ok = reencode(m, out, why);
	    if (broken) {
		EXPECT_FALSE(ok) << file;
		refused++;
		continue;
	    }
	    ASSERT_TRUE(ok) << file << " " << m.from << "->" << m.to << ": " << why;
	    EXPECT_EQ(m.bytes, out) << file << " " << m.from << "->" << m.to;
	    checked++;
	}
    }
    EXPECT_EQ(2u, refused);
    EXPECT_LT(300u, checked);
}

// The framing and header readers at each of their limits.
TEST(Conformance, FramesAtTheirLimits)
{
    auto be32 = [](uint32_t n) {
	return std::string{char(n >> 24), char(n >> 16), char(n >> 8), char(n)};
    };
    const char* why;
    size_t len;
    // Finder link: a 4-byte payload length of 1 to 65536.
    const struct { std::string bytes; FrameStatus status; size_t len; } finder[] = {
	{"", FRAME_INCOMPLETE, 0}, {std::string(3, '\0'), FRAME_INCOMPLETE, 0},
	{be32(0), FRAME_BAD, 0}, {be32(65537), FRAME_BAD, 0},
	{be32(0xffffffffu), FRAME_BAD, 0},
	{be32(65536), FRAME_INCOMPLETE, 65540},
	{be32(1), FRAME_INCOMPLETE, 5}, {be32(1) + "x", FRAME_READY, 5},
	{be32(2) + "x", FRAME_INCOMPLETE, 6}, {be32(1) + "xy", FRAME_READY, 5},
    };
    for (const auto& f : finder) {
	len = 0;
	EXPECT_EQ(f.status, finderwire::split(f.bytes.data(), f.bytes.size(), len, why))
	    << f.bytes.size();
	if (f.status != FRAME_BAD && f.len != 0) {
	    EXPECT_EQ(f.len, len) << f.bytes.size();
	}
    }
    // STCP: magic and version checked on what has come, then type and length.
    std::string h;
    stcp::append_header(h, 1, stcp::RESPONSE, 0, 0, 0);
    auto with = [&](size_t at, char c) { std::string s = h; s[at] = c; return s; };
    auto lengths = [&](uint32_t note, uint32_t data) {
	std::string s = h;
	s.replace(16, 4, be32(note));
	return s.replace(20, 4, be32(data));
    };
    const struct { std::string bytes; FrameStatus status; size_t len; } packets[] = {
	{"", FRAME_INCOMPLETE, 0}, {"STCP\x01", FRAME_INCOMPLETE, 0},
	{"X", FRAME_BAD, 0}, {"STCP\x02", FRAME_BAD, 0},
	{h.substr(0, 23), FRAME_INCOMPLETE, 0}, {h, FRAME_READY, 24},
	{with(3, 'X'), FRAME_BAD, 0}, {with(5, 2), FRAME_BAD, 0}, {with(11, 4), FRAME_BAD, 0},
	{lengths(1, 0), FRAME_INCOMPLETE, 25}, {lengths(0, 1) + "z", FRAME_READY, 25},
	{lengths(16 * 1024 * 1024 - 24, 0), FRAME_INCOMPLETE, 16 * 1024 * 1024},
	{lengths(16 * 1024 * 1024 - 24, 1), FRAME_BAD, 0},
	{lengths(0xffffffffu, 0xffffffffu), FRAME_BAD, 0},
    };
    for (const auto& p : packets) {
	len = 0;
	EXPECT_EQ(p.status, stcp::split(p.bytes.data(), p.bytes.size(), len, why))
	    << p.bytes.size();
	if (p.len != 0) {
	    EXPECT_EQ(p.len, len) << p.bytes.size();
	}
    }
    // Finder link headers: sequence numbers of up to ten digits, up to 2^32-1.
    const struct { std::string seq; bool ok; } seqs[] = {
	{"0", true}, {"4294967295", true}, {"4294967296", false},
	{"0000000001", true}, {"00000000001", false}, {"", false}, {"1a", false},
    };
    for (const auto& s : seqs) {
	std::string payload = "Finder 0.2\nMsgType r\nSeqNo " + s.seq + "\nMsgData 0 / x\n";
	std::string frame = be32(payload.size()) + payload;
	finderwire::Message m;
	EXPECT_EQ(s.ok, finderwire::parse(frame.data(), frame.size(), m)) << s.seq;
	uint32_t code;
	std::string note, args;
	std::string body = s.seq + " / x\n";
	EXPECT_EQ(s.ok, finderwire::parse_reply(body.data(), body.size(), code, note, args)) << s.seq;
    }
    finderwire::Message m;
    for (const char* bad : {"Finder 0.2\nMsgType r\nSeqNo 1\nMsgData", "Finder 0.2\nMsgType y\nSeqNo 1\nMsgData ",
			    "Finder 0.3\nMsgType r\nSeqNo 1\nMsgData "}) {
	std::string frame = be32(strlen(bad)) + bad;
	EXPECT_FALSE(finderwire::parse(frame.data(), frame.size(), m)) << bad;
    }
    // Frames written are at most 65536 bytes of payload.
    std::string out;
    const size_t head = strlen("Finder 0.2\nMsgType x\nSeqNo 7\nMsgData ");
    EXPECT_TRUE(finderwire::append_request(out, 7, std::string(65536 - head, 'a')));
    EXPECT_EQ(65540u, out.size());
    EXPECT_FALSE(finderwire::append_request(out, 7, std::string(65537 - head, 'a')));
    EXPECT_EQ(65540u, out.size());
}

// One replayed client's connection.
struct Client : RawPeer {
    using RawPeer::RawPeer;
    std::map<uint32_t, uint32_t> seqs;	// the captured finder's to ours
};

uint32_t
seq_of(const std::string& frame)
{
    finderwire::Message m;
    return finderwire::parse(frame.data(), frame.size(), m) ? m.seq : 0;
}

// A finder frame with what varies between runs masked: cookies, and the
// finder's own sequence numbers.
std::string
masked(const std::string& frame)
{
    static const std::regex cookie("([-=])[0-9a-f]{16}(?![0-9a-f])");
    static const std::regex seq("MsgType x\nSeqNo [0-9]+");
    std::string s = std::regex_replace(frame.substr(4), cookie, "$1<cookie>");
    return std::regex_replace(s, seq, "MsgType x\nSeqNo <seq>");
}

// The captured clients' side, replayed in order against our finder, gets
// the replies and requests the real finder sent them.
TEST(Conformance, ReplayedClientsGetTheRealFindersMessages)
{
    EventLoop e;
    FinderServer finder(e, 0);
    ASSERT_TRUE(finder.listening());
    std::map<std::string, std::unique_ptr<Client> > clients;
    const char* files[] = {
	"01-target-registration.hex", "02-call-xrl-get-status.hex",
	"03-call-xrl-echo-typed-args.hex", "04-call-xrl-all-types.hex",
	"05-error-command-failed.hex", "06-error-bad-args.hex",
	"07-argument-cache-quirks.hex", "08-resolve-failures.hex",
	"09-finder-link-direct-xrls.hex", "10-independent-client-probe.hex",
	"11-events-birth-death.hex", "12-events-existing-class.hex",
	"15-departures.hex",
    };
    size_t compared = 0;
    for (const char* file : files) {
	for (const Message& m : read_capture(file)) {
	    if (m.to.empty()) {
		// The finder sees one close before the next, as it did.
		if (clients.erase(m.from) != 0) {
		    bool later = false;
		    XorpTimer t = e.set_flag_after(TimeVal(0, 20000), &later);
		    while (!later)
			e.run();
		}
		continue;
	    }
	    if (m.stcp())
		continue;
	    if (m.to == "finder") {
		std::unique_ptr<Client>& c = clients[m.from];
		if (!c)
		    c.reset(new Client(e, finder.port()));
		std::string bytes = m.bytes;
		finderwire::Message f;
		if (finderwire::parse(bytes.data(), bytes.size(), f) && !f.request) {
		    // An answer to the finder carries our finder's number.
		    std::string our = std::to_string(c->seqs[f.seq]);
		    size_t at = bytes.find("SeqNo ") + 6;
		    bytes.replace(at, std::to_string(f.seq).size(), our);
		    uint32_t n = bytes.size() - 4;
		    bytes[0] = char(n >> 24); bytes[1] = char(n >> 16);
		    bytes[2] = char(n >> 8); bytes[3] = char(n);
		}
		c->send_bytes(bytes);
		if (bytes.find("Finder 0.3") != std::string::npos) {
		    std::string f;
		    ASSERT_TRUE(run_until_readable(e, c->fd()));
		    EXPECT_FALSE(c->read_frame(f, 4)) << "not dropped";
		    clients.erase(m.from);
		}
		continue;
	    }
	    std::unique_ptr<Client>& c = clients[m.to];
	    ASSERT_TRUE(c) << file << ": no connection of " << m.to;
	    std::string got;
	    ASSERT_TRUE(c->read_frame(got, 4)) << file << ": nothing for " << m.to
					      << ", expected " << masked(m.bytes);
	    EXPECT_EQ(masked(m.bytes), masked(got)) << file << " to " << m.to;
	    c->seqs[seq_of(m.bytes)] = seq_of(got);
	    compared++;
	}
    }
    EXPECT_LT(100u, compared);
}

const XrlCmdError
answer_ok(const XrlArgs&, XrlArgs*)
{
    return XrlCmdError::OKAY();
}

// Our router, given the captured target's class and handlers and the real
// finder's replies, sends the finder what the real target sent.
TEST(Conformance, RouterRegistersAsTheCapturedTarget)
{
    EventLoop e;
    RawListener finder_port;
    setenv("XORP_PF", "t", 1);
    XrlStdRouter r(e, "wire_target", "127.0.0.1", finder_port.port);
    for (const char* cmd : { "common/0.1/get_status", "common/0.1/get_target_name",
	    "finder_event_observer/0.1/xrl_target_birth",
	    "finder_event_observer/0.1/xrl_target_death", "wire/0.1/all_types",
	    "wire/0.1/check_args", "wire/0.1/echo", "wire/0.1/fail" })
	r.add_handler(cmd, callback(&answer_ok));
    r.finalize();
    unsetenv("XORP_PF");
    ASSERT_TRUE(run_until_readable(e, finder_port.fd));
    RawPeer finder(e, accept(finder_port.fd, NULL, NULL));
    static const std::regex names("wire_target-[0-9a-f]{32}@127\\.0\\.0\\.1|127\\.0\\.0\\.1:[0-9]+");
    for (const Message& m : read_capture("01-target-registration.hex")) {
	if (m.from == "finder") {
	    finder.send_bytes(m.bytes);
	    continue;
	}
	std::string got;
	ASSERT_TRUE(finder.read_frame(got, 4));
	EXPECT_EQ(std::regex_replace(m.bytes.substr(4), names, "<name>"),
		  std::regex_replace(got.substr(4), names, "<name>"));
    }
    EXPECT_TRUE(run_until(e, [&] { return r.ready(); }));
}

}  // namespace
