// The user-name rule and the look-ups in the user and group databases.

#include "core/login_module.h"

#include <grp.h>

#include <string>

#include "tests/unit/accounts/account_test_env.hh"

namespace account_test {
namespace {

std::string name_failure(const std::string& name) {
    return failure_of([&] { login().validate_user_name(name); });
}

TEST(UserNameRule, LettersDigitsUnderscoreDashAndOneFinalDollarUpTo32Bytes) {
    for (const char* name : {"_", "a", "A1", "a-b", "a_b", "machine$", "a$", "Z9_-x",
                             "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"})
        EXPECT_EQ("no exception", name_failure(name)) << name;
    for (const char* name : {"1a", "-a", "$", "a.b", "a b", "a$$", "a$b", "", "a/b", "a:b",
                             "a;b", "\xc3\xa9t\xc3\xa9", "ab\x80"})
        EXPECT_EQ("User name is invalid", name_failure(name)) << name;
    // The length is tested first: 33 bytes that also break the rule get its text.
    for (char c : {'a', '.'})
        EXPECT_EQ("User name is too long, max is 32", name_failure(std::string(33, c)));
}

// Adds a line to /etc/passwd.
void add_passwd_line(const std::string& user, unsigned gid) {
    write_file("/etc/passwd", read_file("/etc/passwd") + user + ":x:" +
               std::to_string(gid + 100000) + ":" + std::to_string(gid) +
               "::/tmp/home/" + user + ":/bin/false\n");
}

// Sets the member list of the group xorp.
void set_xorp_members(const std::string& members) {
    ASSERT_TRUE(shell("sed -i 's/^\\(xorp:[^:]*:[^:]*:\\).*/\\1" + members +
                      "/' /etc/group"));
}

unsigned xorp_gid() {
    struct group* gr = getgrnam("xorp");
    return gr == nullptr ? 0 : gr->gr_gid;
}

using UserLookupTest = AccountFilesTest;

TEST_F(UserLookupTest, NamesMatchWholeAndCaseSensitive) {
    add_passwd_line("bobby", 6001);
    add_passwd_line("bob", 6002);
    for (const char* name : {"bobby", "bob"})
        EXPECT_TRUE(login().user_exists(name)) << name;
    for (const char* name : {"bobb", "bo", "BOB", ""})
        EXPECT_FALSE(login().user_exists(name)) << name;

    uint32_t gid = 777;
    EXPECT_TRUE(login().get_user_gid("bob", gid));
    EXPECT_EQ(6002u, gid);
    gid = 777;
    EXPECT_FALSE(login().get_user_gid("bo", gid));
    EXPECT_EQ(777u, gid) << "written although the user was not found";
}

TEST_F(UserLookupTest, XorpMembershipByMemberListOrPrimaryGroup) {
    ASSERT_NE(0u, xorp_gid()) << "the sandbox provides the group xorp";
    set_xorp_members("other1,member,ghost,other2");
    add_passwd_line("plain", 6101);
    add_passwd_line("member", 6102);
    add_passwd_line("primary", xorp_gid());

    // ghost is not in the user database, but the member list names it.
    for (const char* name : {"member", "primary", "ghost"})
        EXPECT_TRUE(login().is_user_in_xorp_group(name)) << name;
    for (const char* name : {"plain", "membe", "nobody-here"})
        EXPECT_FALSE(login().is_user_in_xorp_group(name)) << name;

    set_xorp_members("");
    EXPECT_FALSE(login().is_user_in_xorp_group("member"));
    EXPECT_TRUE(login().is_user_in_xorp_group("primary"));
}

}  // namespace
}  // namespace account_test
