// Atoms, atom lists and argument sets: typed values, their text, strictness.

#include "libxipc/xrl_args.hh"
#include "libxipc/xrl_args_packing.hh"
#include "libxipc/xrl_atom.hh"
#include "libxipc/xrl_atom_list.hh"

#include <gtest/gtest.h>

namespace {

XrlAtom
reparse(const XrlAtom& a)
{
    return XrlAtom(a.str().c_str());
}

TEST(XrlAtomTest, EveryTypePrintsAndParsesBack)
{
    const uint8_t blob[] = { 0x00, 0x41, 0x20, 0xff, '&' };
    XrlAtomList ports;
    ports.append(XrlAtom(uint32_t(22)));
    ports.append(XrlAtom(uint32_t(23)));

    struct { XrlAtom atom; const char* text; } cases[] = {
        { XrlAtom("n", int32_t(-2147483647 - 1)), "n:i32=-2147483648" },
        { XrlAtom("n", uint32_t(4294967295u)),    "n:u32=4294967295" },
        { XrlAtom("n", int64_t(-9000000000LL)),   "n:i64=-9000000000" },
        { XrlAtom("n", uint64_t(18446744073709551615ULL)),
          "n:u64=18446744073709551615" },
        { XrlAtom("flag", true),                  "flag:bool=true" },
        { XrlAtom("flag", false),                 "flag:bool=false" },
        { XrlAtom("host", IPv4("10.1.2.3")),      "host:ipv4=10.1.2.3" },
        { XrlAtom("prefix", IPv4Net("10.1.2.3/8")), "prefix:ipv4net=10.0.0.0/8" },
        { XrlAtom("a6", IPv6("2001:db8::1")),     "a6:ipv6=2001:db8::1" },
        { XrlAtom("p6", IPv6Net("2001:db8:1:2::5/32")), "p6:ipv6net=2001:db8::/32" },
        { XrlAtom("key", "a b&c"),                "key:txt=a+b%26c" },
        { XrlAtom("empty", ""),                   "empty:txt=" },
        { XrlAtom("data", std::vector<uint8_t>(blob, blob + sizeof(blob))),
          "data:binary=%00A+%FF%26" },
        { XrlAtom("ports", ports),                "ports:list=:u32=22,:u32=23" },
        { XrlAtom("none", XrlAtomList()),         "none:list=" },
        { XrlAtom("unset", xrlatom_uint32),       "unset:u32" },
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.text, c.atom.str());
        XrlAtom back = reparse(c.atom);
        EXPECT_EQ(c.atom, back) << c.text;
        EXPECT_EQ(c.text, back.str());
    }
}

TEST(XrlAtomTest, AccessorsCheckTypeAndData)
{
    XrlAtom a("limit", uint32_t(5));
    EXPECT_EQ(5u, a.uint32());
    EXPECT_STREQ("u32", a.type_name());
    EXPECT_THROW(a.int32(), XrlAtom::WrongType);
    EXPECT_THROW(a.text(), XrlAtom::WrongType);
    EXPECT_THROW(XrlAtom("limit", xrlatom_uint32).uint32(), XrlAtom::NoData);
    EXPECT_THROW(XrlAtom("bad name", uint32_t(1)), XrlAtom::BadName);
    // A string argument means text, not bool.
    EXPECT_EQ(xrlatom_text, XrlAtom("t", "x").type());
}

TEST(XrlAtomTest, ValuesAreParsedStrictly)
{
    const char* bad[] = {
        "n:u32=abc", "n:u32=-1", "n:u32=4294967296", "n:u32=", "n:u32=1.5",
        "n:u32=+5", "n:u32=0x10", "n:u32=%201",
        "n:i32=2147483648", "n:i32=-2147483649", "n:i32=-", "n:i32=1-",
        "n:u64=18446744073709551616", "n:i64=9223372036854775808",
        "n:bool=yes", "n:bool=True", "n:bool=", "n:bool=2",
        "n:ipv4=1.2.3", "n:ipv4=1.2.3.256", "n:ipv4=", "n:ipv4=1.2.3.4%00",
        "n:ipv4net=10.0.0.0", "n:ipv4net=10.0.0.0/33", "n:ipv6=2001:db8::g",
        "n:ipv6net=::/129",
        "n:txt=%", "n:txt=%4", "n:txt=%G0", "n:txt=ab%2",
        "n:mac=0:1:2:3:4", "n:mac=0:1:2:3:4:123", "n:fp64=1.0x", "n:fp64= 1",
        "n:int=1", "n:=1", "n",
        "bad name:u32=1", "n.x:u32=1",
        "n:list=:u32=1,:txt=a", "n:list=:u32=1,", "n:list=,:u32=1",
        "n:list=:u32", "n:list=:list=", "n:list=:u32=x",
    };
    for (const char* text : bad)
        EXPECT_THROW(XrlAtom a(text), InvalidString) << text;

    EXPECT_EQ(7u, XrlAtom("n:u32=007").uint32());
    EXPECT_EQ(0, XrlAtom("n:i32=-0").int32());
    EXPECT_EQ(-2147483647 - 1, XrlAtom("n:i32=-2147483648").int32());
    EXPECT_TRUE(XrlAtom("n:bool=1").boolean());
    EXPECT_FALSE(XrlAtom("n:bool=0").boolean());
    EXPECT_FALSE(XrlAtom("n:bool").has_data());
    EXPECT_EQ("", XrlAtom(":txt=").name());
}

TEST(XrlAtomListTest, ItemsShareOneTypeAndKeepOrder)
{
    XrlAtomList l;
    l.append(XrlAtom(uint32_t(8)));
    l.append(XrlAtom(uint32_t(10)));
    EXPECT_THROW(l.append(XrlAtom(std::string("x"))), XrlAtomList::BadAtomType);
    EXPECT_THROW(l.append(XrlAtom(XrlAtomList())), XrlAtomList::BadAtomType);
    EXPECT_THROW(l.append(XrlAtom("", xrlatom_uint32)), XrlAtomList::BadAtomType);
    ASSERT_EQ(2u, l.size());
    EXPECT_EQ(8u, l.get(0).uint32());
    EXPECT_EQ(10u, l.get(1).uint32());
    EXPECT_THROW(l.get(2), XrlAtomList::InvalidIndex);
    EXPECT_EQ(":u32=8,:u32=10", l.str());
    EXPECT_EQ(l, XrlAtomList(l.str()));
}

TEST(XrlAtomListTest, TextItemsWithSeparatorsRoundTrip)
{
    XrlAtomList l;
    l.append(XrlAtom(std::string("a,b")));
    l.append(XrlAtom(std::string("c+d e")));
    l.append(XrlAtom(std::string("")));
    XrlAtom atom("words", l);
    EXPECT_EQ("words:list=:txt=a%2Cb,:txt=c%2Bd+e,:txt=", atom.str());
    XrlAtom back(atom.str().c_str());
    ASSERT_EQ(3u, back.list().size());
    EXPECT_EQ("a,b", back.list().get(0).text());
    EXPECT_EQ("c+d e", back.list().get(1).text());
    EXPECT_EQ("", back.list().get(2).text());
}

TEST(XrlAtomListTest, DeeplyNestedListTextIsRefusedWithoutCrashing)
{
    // Well inside one message: a peer can send it to any router.
    std::string nested = "n:list=";
    for (int i = 0; i < 100000; i++)
        nested += ":list=";
    nested += ":u32=1";
    EXPECT_THROW(XrlAtom a(nested.c_str()), InvalidString);
    EXPECT_THROW(XrlArgs args(("a:u32=1&" + nested).c_str()), InvalidString);
    EXPECT_THROW(XrlAtom a("n:list=:u32=1,:list"), InvalidString);
}

TEST(XrlArgsTest, AddGetByNameAndType)
{
    XrlArgs args;
    args.add("status", uint32_t(3)).add("reason", "Process running");
    args.add_bool("on", true).add_ipv4net("net", IPv4Net("192.168.0.0/16"));
    EXPECT_EQ("status:u32=3&reason:txt=Process+running&on:bool=true"
              "&net:ipv4net=192.168.0.0/16", args.str());
    EXPECT_EQ(4u, args.size());
    EXPECT_EQ(3u, args.get_uint32("status"));
    EXPECT_EQ("Process running", args.get_string("reason"));
    EXPECT_EQ("on", args[2].name());

    EXPECT_THROW(args.add("status", uint32_t(4)), XrlArgs::XrlAtomFound);
    EXPECT_THROW(args.get_string("status"), XrlArgs::BadArgs);
    EXPECT_THROW(args.get_uint32("missing"), XrlArgs::XrlAtomNotFound);
    EXPECT_THROW(args[4], XrlArgs::BadArgs);

    XrlArgs unset;
    unset.add(XrlAtom("n", xrlatom_uint32));
    EXPECT_THROW(unset.get_uint32("n"), XrlArgs::BadArgs);
}

TEST(XrlArgsTest, ParsesItsOwnText)
{
    XrlArgs args("a:u32=1&b:txt=x+y&c:list=:i32=-1,:i32=2");
    EXPECT_EQ(3u, args.size());
    EXPECT_EQ("x y", args.get_string("b"));
    EXPECT_EQ(2u, args.get_list("c").size());
    EXPECT_EQ(args, XrlArgs(args.str().c_str()));
    EXPECT_EQ(0u, XrlArgs("").size());
    EXPECT_THROW(XrlArgs("a:u32=1&a:u32=2"), InvalidString);
    EXPECT_THROW(XrlArgs("a:u32=1&&b:u32=2"), InvalidString);
    EXPECT_THROW(XrlArgs("a:u32=1&"), InvalidString);
}

// An XrlArgs cleared and filled again (as the transport's, once a message)
// fills the atoms left by the last message in place: what it holds must be
// exactly what was added since, whatever was there before.
TEST(XrlArgsTest, FilledAgainHoldsOnlyWhatWasAddedSince)
{
    XrlArgs args;
    args.add("status", uint32_t(3)).add("reason", std::string(40, 'r'))
        .add("third", true);
    args.clear();
    EXPECT_TRUE(args.empty());
    EXPECT_EQ(args.begin(), args.end());
    EXPECT_EQ(nullptr, args.find("third"));
    args.add("reason", uint32_t(7)).add("status", "ok");   // other names and types
    EXPECT_EQ("reason:u32=7&status:txt=ok", args.str());
    EXPECT_EQ(nullptr, args.find("third"));
    EXPECT_THROW(args[2], XrlArgs::BadArgs);
    EXPECT_THROW(args.get_bool("third"), XrlArgs::XrlAtomNotFound);
    XrlArgs copy = args;
    EXPECT_EQ(args, copy);
    EXPECT_EQ(XrlArgs("reason:u32=7&status:txt=ok"), args);
    EXPECT_NE(XrlArgs("reason:u32=7&status:txt=ok&third:bool=true"), args);

    // Packed and read back into it: only the message's atoms.
    std::string packed;
    xrl_args_pack(packed, XrlArgs("a:i32=-1"));
    ASSERT_TRUE(xrl_args_unpack(reinterpret_cast<const uint8_t*>(packed.data()),
                                packed.size(), args));
    EXPECT_EQ("a:i32=-1", args.str());
    args.add("reason", "later");
    EXPECT_EQ("a:i32=-1&reason:txt=later", args.str());
}

// --- Packed form: every field, cut short or overlong, at its boundary.

// Unpacked from a buffer of exactly `bytes`, so that a read past it is one
// past the allocation.
bool
unpacks(const std::string& bytes, bool with_head = false)
{
    std::vector<uint8_t> buf(bytes.begin(), bytes.end());
    XrlArgs args;
    std::string head;
    return xrl_args_unpack(buf.data(), buf.size(), args, with_head ? &head : NULL);
}

std::string
packed(const XrlArgs& args, const std::string* head = NULL)
{
    std::string out;
    xrl_args_pack(out, args, head);
    return out;
}

// Unpacked and packed again ("" when it does not unpack).
std::string
repacked(const std::string& bytes, bool with_head)
{
    XrlArgs args;
    std::string head;
    if (!xrl_args_unpack(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                         args, with_head ? &head : NULL))
        return "";
    return packed(args, with_head ? &head : NULL);
}

TEST(XrlArgsPackingTest, WholeMessagesOnlyAreRead)
{
    const uint8_t blob[] = { 0x00, 0xff };
    XrlAtomList ports;
    ports.append(XrlAtom(uint32_t(22)));
    ports.append(XrlAtom(uint32_t(23)));
    XrlArgs each;
    each.add("i", int32_t(-1)).add("u", uint32_t(7)).add("a4", IPv4("10.1.2.3"))
        .add("n4", IPv4Net("10.0.0.0/32")).add("a6", IPv6("2001:db8::1"))
        .add("n6", IPv6Net("2001:db8::1/128")).add("t", "text")
        .add("b", std::vector<uint8_t>(blob, blob + 2)).add_bool("on", true)
        .add("i64", int64_t(-5)).add("u64", uint64_t(5)).add(XrlAtom("f", 0.5))
        .add("l", ports).add("e", "");
    each.add(XrlAtom("unset", xrlatom_uint32));
    const std::string head = "finder://x/y/0.1/z";
    const struct { std::string bytes; bool head; } whole[] = {
        {packed(each), false},
        {packed(each, &head), true},
        {packed(XrlArgs(), &head), true},
        {packed(XrlArgs()), false},
        {packed(XrlArgs("m:mac=00:11:22:33:44:55")), false},
    };
    for (const auto& w : whole) {
        EXPECT_EQ(w.bytes, repacked(w.bytes, w.head)) << "types and values kept";
        // Every cut, down to nothing, ends inside a field or a count.
        for (size_t n = 0; n < w.bytes.size(); n++)
            EXPECT_FALSE(unpacks(w.bytes.substr(0, n), w.head)) << n << " of " << w.bytes.size();
        for (char extra : {'\0', '\xcc'})
            EXPECT_FALSE(unpacks(w.bytes + extra, w.head)) << "a byte after the last argument";
    }
}

TEST(XrlArgsPackingTest, LengthsAndValuesAtTheirLimits)
{
    // One text atom "t" of 4 bytes: cc count(3) | 0xc8 | name length(2) "t" |
    // text length(4) | bytes.
    auto text = [](uint32_t declared, const std::string& data) {
        std::string s("\xcc\x00\x00\x01\xc8\x00\x01t", 8);
        for (int i = 3; i >= 0; i--)
            s += static_cast<char>(declared >> (8 * i));
        return s + data;
    };
    auto named = [](uint16_t declared, const std::string& name) {
        return std::string("\xcc\x00\x00\x01\x88", 5) + char(declared >> 8)
            + char(declared) + name;
    };
    auto net = [](int type, size_t addr_len, int prefix) {
        return std::string("\xcc\x00\x00\x01", 4) + char(0x40 | type)
            + std::string(addr_len, '\0') + char(prefix);
    };
    const struct { std::string bytes; bool ok; } cases[] = {
        {text(4, "abcd"), true},
        {text(5, "abcd"), false}, {text(0x80000000u, "abcd"), false},
        {text(0xffffffffu, "abcd"), false},
        {text(3, "abcd"), false},   // the last byte left over
        {text(0, ""), true},
        {named(1, "t"), true}, {named(2, "t"), false}, {named(0xffff, "t"), false},
        {named(0, ""), true}, {named(1, "t "), false},
        {net(xrlatom_ipv4net, 4, 32), true}, {net(xrlatom_ipv4net, 4, 33), false},
        {net(xrlatom_ipv4net, 4, 255), false},
        {net(xrlatom_ipv6net, 16, 128), true}, {net(xrlatom_ipv6net, 16, 129), false},
        // Count 2, one atom; count 0, one atom.
        {std::string("\xcc\x00\x00\x02\x42\x00\x00\x00\x01", 9), false},
        {std::string("\xcc\x00\x00\x00\x42\x00\x00\x00\x01", 9), false},
        {std::string("\xcd\x00\x00\x01\x42\x00\x00\x00\x01", 9), false},
        // Type numbers: the last one, one beyond, none.
        {std::string("\xcc\x00\x00\x01\x4e", 5) + std::string(8, '\0'), true},
        {std::string("\xcc\x00\x00\x01\x4f", 5) + std::string(8, '\0'), false},
        {std::string("\xcc\x00\x00\x01\x40", 5), false},
        {std::string("\xcc\x00\x00\x01\x0e", 5), true},
        {std::string("\xcc\x00\x00\x01\x0f", 5), false},
        // Any byte but 0 is true.
        {std::string("\xcc\x00\x00\x01\x4a\x02", 6), true},
        // A list in a list; an unnamed list of one u32.
        {std::string("\xcc\x00\x00\x01\x49\x00\x00\x00\x01\x49\x00\x00\x00\x00", 14), false},
        {std::string("\xcc\x00\x00\x01\x49\x00\x00\x00\x01\x42\x00\x00\x00\x07", 14), true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.ok, unpacks(c.bytes)) << ::testing::PrintToString(c.bytes);
}

TEST(XrlArgsPackingTest, NamesAndHead)
{
    // Duplicates are found by a scan below 16 names and by a set above.
    for (int n : {2, 16, 17, 40}) {
        XrlArgs args;
        for (int i = 0; i < n; i++)
            args.add(XrlAtom((i == n - 1 ? "a0x" : "a" + std::to_string(i)).c_str(), uint32_t(i)));
        std::string bytes = packed(args);
        EXPECT_TRUE(unpacks(bytes)) << n;
        // The last name made equal to the first ("a0"), one byte shorter.
        size_t at = bytes.rfind("a0x");
        bytes[at - 1] = 2;
        bytes.erase(at + 2, 1);
        EXPECT_FALSE(unpacks(bytes)) << n;
    }
    // Two unnamed atoms share the empty name.
    EXPECT_FALSE(unpacks(std::string("\xcc\x00\x00\x02\x42\0\0\0\x01\x42\0\0\0\x02", 14)));
    // The head: the first atom, unnamed text with data.
    const std::string head = "x";
    XrlArgs one("a:u32=1");
    EXPECT_TRUE(unpacks(packed(one, &head), true));
    EXPECT_FALSE(unpacks(packed(one), true));
    EXPECT_TRUE(unpacks(packed(XrlArgs(":txt=x")), true));
    EXPECT_FALSE(unpacks(packed(XrlArgs("h:txt=x&a:u32=1")), true));
    EXPECT_FALSE(unpacks(packed(XrlArgs(":u32=1&a:u32=1")), true));
    EXPECT_FALSE(unpacks(std::string("\xcc\x00\x00\x00", 4), true));
    EXPECT_FALSE(unpacks(std::string("\xcc\x00\x00\x01\x08", 5), true));
    EXPECT_FALSE(unpacks(std::string("\xcc\x00\x00\x02\x08\x42\0\0\0\x01", 10), true));
}

TEST(XrlArgsPackingTest, DeeplyNestedListsAreRefusedWithoutCrashing)
{
    // A million lists of one, each in the last: 5 MB, well inside one packet.
    std::string bytes("\xcc\x00\x00\x01", 4);
    for (int i = 0; i < 1000000; i++)
        bytes += std::string("\x49\x00\x00\x00\x01", 5);
    bytes += std::string("\x42\0\0\0\x01", 5);
    EXPECT_FALSE(unpacks(bytes));
}

}  // namespace
