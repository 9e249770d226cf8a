#include "libxorp/callback.hh"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Target {
    std::string log;
    int base = 10;

    void plain() { log += "plain;"; }
    bool with_bound(int late, std::string tag) {
        log += tag + "=" + std::to_string(late) + ";";
        return late > 0;
    }
    int constant(int late) const { return base + late; }
    void two_late(const std::string& a, int* out, std::string bound) {
        *out = static_cast<int>(a.size() + bound.size());
    }
};

std::string joined(std::string late, std::string bound1, int bound2)
{
    return late + "/" + bound1 + "/" + std::to_string(bound2);
}

TEST(Callback, MemberFunctionsThroughPointerAndReferenceConstToo)
{
    Target t;
    XorpCallback0<void>::RefPtr p = callback(&t, &Target::plain);
    XorpCallback1<bool, int>::RefPtr r = callback(t, &Target::with_bound, std::string("x"));
    p->dispatch();
    EXPECT_TRUE(r->dispatch(3));
    EXPECT_FALSE(r->dispatch(-1));
    EXPECT_EQ("plain;x=3;x=-1;", t.log);

    int out = 0;
    XorpCallback2<void, const std::string&, int*>::RefPtr two =
        callback(&t, &Target::two_late, std::string("bound"));
    two->dispatch("late", &out);
    EXPECT_EQ(9, out);

    const Target& ct = t;
    XorpCallback1<int, int>::RefPtr byptr = callback(&ct, &Target::constant);
    XorpCallback1<int, int>::RefPtr byref = callback(ct, &Target::constant);
    t.base = 100;  // the callback holds the object, not a copy of it
    EXPECT_EQ(101, byptr->dispatch(1));
    EXPECT_EQ(102, byref->dispatch(2));
}

TEST(Callback, BoundArgumentsAreStoredByValue)
{
    std::string tag = "first";
    int n = 7;
    XorpCallback1<std::string, std::string>::RefPtr f = callback(&joined, tag, n);
    tag = "changed";
    n = 0;
    EXPECT_EQ("late/first/7", f->dispatch("late"));

    XorpCallback3<std::string, std::string, std::string, int>::RefPtr unbound = callback(&joined);
    EXPECT_EQ("a/b/1", unbound->dispatch("a", "b", 1));
}

}  // namespace
