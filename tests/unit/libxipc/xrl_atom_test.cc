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
    EXPECT_THROW(args.add("status", int32_t(1)), XrlArgs::XrlAtomFound);
    EXPECT_THROW(args.add("bad name", int32_t(1)), XrlAtom::BadName);
    EXPECT_EQ("reason:u32=7&status:txt=ok", args.str());
    EXPECT_EQ(nullptr, args.find("third"));
    EXPECT_THROW(args[2], XrlArgs::BadArgs);
    EXPECT_THROW(args.get_bool("third"), XrlArgs::XrlAtomNotFound);
    XrlArgs copy = args;
    EXPECT_EQ(args, copy);
    EXPECT_EQ(XrlArgs("reason:u32=7&status:txt=ok"), args);
    EXPECT_NE(XrlArgs("reason:u32=7&status:txt=ok&third:bool=true"), args);
    copy.clear();
    copy.add(XrlAtom("n", uint64_t(1))).add("m", std::string("x"));
    EXPECT_EQ("n:u64=1&m:txt=x", copy.str());
    EXPECT_EQ("reason:u32=7&status:txt=ok", args.str());

    // Packed and read back into it: only the message's atoms.
    std::string packed;
    xrl_args_pack(packed, XrlArgs("a:i32=-1"));
    ASSERT_TRUE(xrl_args_unpack(reinterpret_cast<const uint8_t*>(packed.data()),
                                packed.size(), args));
    EXPECT_EQ("a:i32=-1", args.str());
    args.add("reason", "later");
    EXPECT_EQ("a:i32=-1&reason:txt=later", args.str());
}

}  // namespace
