#include "libxorp/ipv4.hh"
#include "libxorp/ipv4net.hh"
#include "libxorp/ipv6.hh"
#include "libxorp/ipv6net.hh"

#include <gtest/gtest.h>
#include <arpa/inet.h>

#include <set>
#include <string>

namespace {

template <class T>
std::string why_of(const char* text)
{
    try {
        T t(text);
        return "parsed as " + t.str();
    } catch (const InvalidString& e) {
        return e.why();
    } catch (const InvalidNetmaskLength& e) {
        return e.why();
    }
}

TEST(IPAddr, ParsesPrintsAndCompares)
{
    IPv4 a("10.1.2.3");
    EXPECT_EQ("10.1.2.3", a.str());
    EXPECT_EQ(htonl(0x0a010203u), a.addr());
    EXPECT_EQ("0.0.0.0", IPv4().str());
    EXPECT_LT(IPv4("9.255.255.255"), IPv4("10.0.0.0"));  // numeric, not byte-swapped
    EXPECT_EQ(IPv4("255.255.240.0"), IPv4::make_prefix(20));
    EXPECT_EQ(20u, IPv4::make_prefix(20).mask_len());
    EXPECT_EQ("Bad IPv4 \"1.2.3.999\"", why_of<IPv4>("1.2.3.999"));
    EXPECT_EQ("Bad IPv4 \"host\"", why_of<IPv4>("host"));
    EXPECT_EQ("Bad IPv4 \"\"", why_of<IPv4>(""));

    // IPv6: compressed, lower case.
    EXPECT_EQ("2001:db8::1", IPv6("2001:DB8:0:0:0:0:0:1").str());
    EXPECT_EQ("::", IPv6().str());
    EXPECT_EQ("::ffff:10.1.2.3", IPv6("::ffff:10.1.2.3").str());
    EXPECT_LT(IPv6("2001:db8::1"), IPv6("2001:db8::2"));
    EXPECT_EQ("Bad IPv6 \"2001:db8::g\"", why_of<IPv6>("2001:db8::g"));
    EXPECT_EQ("Bad IPv6 \"10.1.2.3\"", why_of<IPv6>("10.1.2.3"));
}

TEST(IPNet, TextIsMaskedAddressAndLengthBadInputRefused)
{
    EXPECT_EQ("10.0.0.0/8", IPv4Net("10.1.2.3/8").str());
    EXPECT_EQ("0.0.0.0/0", IPv4Net().str());
    EXPECT_EQ("192.168.1.7/32", IPv4Net("192.168.1.7/32").str());
    EXPECT_EQ("2001:db8::/32", IPv6Net("2001:db8:1:2::5/32").str());
    EXPECT_EQ("::/0", IPv6Net("2001:db8::1/0").str());

    IPv4Net n(IPv4("172.16.5.9"), 12);
    EXPECT_EQ(IPv4("172.16.0.0"), n.masked_addr());
    EXPECT_EQ(12, n.prefix_len());
    EXPECT_TRUE(n.contains(IPv4("172.31.255.255")));
    EXPECT_FALSE(n.contains(IPv4("172.32.0.0")));
    EXPECT_EQ(IPv4Net("172.16.0.0/12"), n);

    EXPECT_EQ("Missing slash", why_of<IPv4Net>("10.0.0.0"));
    EXPECT_EQ("Missing prefix length", why_of<IPv4Net>("10.0.0.0/"));
    EXPECT_EQ("Bad prefix length", why_of<IPv4Net>("10.0.0.0/8x"));
    EXPECT_EQ("Bad prefix length", why_of<IPv4Net>("10.0.0.0/-1"));
    EXPECT_EQ("Invalid netmask length - 33", why_of<IPv4Net>("10.0.0.0/33"));
    EXPECT_EQ("Invalid netmask length - 129", why_of<IPv6Net>("::/129"));
    EXPECT_EQ("Bad IPv4 \"10.0.0\"", why_of<IPv4Net>("10.0.0/8"));
    EXPECT_EQ("Bad IPv6 \"10.0.0.1\"", why_of<IPv6Net>("10.0.0.1/8"));
    EXPECT_THROW(IPv4Net(IPv4("1.2.3.4"), 40), InvalidNetmaskLength);
}

TEST(IPNet, OrderedSetsHoldEachPrefixOnce)
{
    std::set<IPv4Net> s{IPv4Net("10.0.0.0/8"), IPv4Net("10.9.9.9/8"), IPv4Net("10.0.0.0/16"),
                        IPv4Net("9.0.0.0/8")};
    ASSERT_EQ(3u, s.size());
    EXPECT_EQ("9.0.0.0/8", s.begin()->str());
    EXPECT_EQ("10.0.0.0/16", s.rbegin()->str());
}

}  // namespace
